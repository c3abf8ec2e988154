// SPDX-License-Identifier: Apache-2.0
// Attacks the User-Agent index: BYOD_AddUserAgentRule, BYOD_DeleteUserAgent and the search for the
// first match. The input is a list of lines: "+expression" adds a rule, "-n" deletes the n-th of
// those added, and any other line is a User-Agent, for which the index must name the very rule
// that the walk through the match list finds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "byod_data.h"
#include "data/rule_store.h"
#include "data/user_agent/first_match.h"

namespace {

void AddRule(const std::string& expression, std::vector<ByodUserAgentRule*>& rules) {
  ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
  if (rule == nullptr) std::abort();
  expression.copy(rule->keyword, sizeof rule->keyword - 1);
  if (BYOD_AddUserAgentRule(rule) != 0) std::abort();
  rules.push_back(rule);
}

void DeleteRule(uint8_t which, std::vector<ByodUserAgentRule*>& rules) {
  if (rules.empty()) return;
  const auto place = rules.begin() + static_cast<ptrdiff_t>(which % rules.size());
  BYOD_DeleteUserAgent(*place);
  rules.erase(place);
}

void Compare(const std::string& ua) {
  if (!byod::data::store.match_list.Mirrored()) std::abort();
  if (byod::data::store.user_agent_index.Find(ua.c_str()) !=
      byod::data::FirstMatchByWalking(ua.c_str())) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT) != 0) std::abort();
  std::vector<ByodUserAgentRule*> rules;
  const std::string input(reinterpret_cast<const char*>(data), size);
  for (size_t start = 0; start < input.size();) {
    const size_t end = std::min(input.find('\n', start), input.size());
    const std::string line = input.substr(start, end - start);
    start = end + 1;
    if (!line.empty() && line[0] == '+') {
      AddRule(line.substr(1), rules);
    } else if (line.size() > 1 && line[0] == '-') {
      DeleteRule(static_cast<uint8_t>(line[1]), rules);
    } else {
      Compare(line);
    }
  }
  BYOD_data_GlobalInfoFini();
  return 0;
}
