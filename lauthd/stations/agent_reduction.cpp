// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/agent_reduction.h"

#include <cstring>
#include <string_view>

#include "data/user_agent/expression_terms.h"
#include "data/user_agent/first_match.h"

namespace byod::lauthd {
namespace {

/// The terms of the first alternative that a User-Agent holds.
std::string TermsIn(const std::string& user_agent, const char* expression) {
  data::Pieces alternatives(expression, std::strlen(expression), '|');
  while (alternatives.Next()) {
    std::string terms;
    bool holds_all = true;
    data::Pieces pieces(alternatives.text(), alternatives.length(), '&');
    while (holds_all && pieces.Next()) {
      const std::string_view term(pieces.text(), pieces.length());
      holds_all = user_agent.find(term) != std::string::npos;
      if (!terms.empty()) terms += ' ';
      terms += term;
    }
    if (holds_all) return terms;
  }
  return {};
}

}  // namespace

std::string MatchedPartOf(const std::string& user_agent) {
  const ByodUserAgentRule* const rule = data::FirstMatchInLibrary(user_agent.c_str());
  if (rule == nullptr) return {};
  const std::string terms = TermsIn(user_agent, rule->keyword);
  const bool says_the_same = !terms.empty() && data::FirstMatchInLibrary(terms.c_str()) == rule;
  return says_the_same ? terms : std::string();
}

}  // namespace byod::lauthd
