// SPDX-License-Identifier: Apache-2.0
#include "lint/expression.h"

#include <algorithm>

#include "data/user_agent/expression_terms.h"

namespace byod::lint {
namespace {

template <typename Parts, typename Text>
std::string Joined(const Parts& parts, const char* separator, Text text_of) {
  std::string text;
  for (const auto& part : parts) {
    if (!text.empty()) text += separator;
    text += text_of(part);
  }
  return text;
}

}  // namespace

std::vector<Terms> AlternativesOf(std::string_view expression) {
  std::vector<Terms> alternatives;
  data::Pieces pieces(expression.data(), expression.size(), '|');
  while (pieces.Next()) {
    Terms& terms = alternatives.emplace_back();
    data::Pieces parts(pieces.text(), pieces.length(), '&');
    while (parts.Next())
      terms.emplace_back(parts.text(), parts.length());
  }
  if (alternatives.empty()) alternatives.emplace_back();
  return alternatives;
}

bool Implies(const Terms& narrow, const Terms& wide) {
  return std::ranges::all_of(wide, [&](std::string_view part) {
    return std::ranges::any_of(
        narrow, [&](std::string_view term) { return term.find(part) != std::string_view::npos; });
  });
}

std::string ToString(const Terms& terms) {
  return Joined(terms, "&&", [](std::string_view term) { return term; });
}

std::string ToString(const std::vector<Terms>& alternatives) {
  return Joined(alternatives, "||", [](const Terms& terms) { return ToString(terms); });
}

}  // namespace byod::lint
