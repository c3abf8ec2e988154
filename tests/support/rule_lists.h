// SPDX-License-Identifier: Apache-2.0
// The two text tables' lists and chains as the tests see them: walked link by link, with every back
// pointer checked on the way.
#ifndef BYOD_TESTS_SUPPORT_RULE_LISTS_H
#define BYOD_TESTS_SUPPORT_RULE_LISTS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "lauth_hash.h"
#include "support/rule_tables.h"

namespace byod::test {

/// The rules on a list whose links are at an offset in each rule.
template <typename Rule>
std::vector<Rule*> Walk(ByodLink** head, size_t offset) {
  std::vector<Rule*> rules;
  for (ByodLink** place = head; *place != nullptr; place = &(*place)->next) {
    EXPECT_EQ((*place)->prev, place) << "the back pointer of rule " << rules.size();
    rules.push_back(reinterpret_cast<Rule*>(reinterpret_cast<char*>(*place) - offset));
    if (rules.size() > 100000) {
      ADD_FAILURE() << "the list is a ring";
      break;
    }
  }
  return rules;
}

template <typename Rules>
std::vector<typename Rules::Rule*> InList() {
  using Rule = typename Rules::Rule;
  return Walk<Rule>(Rules::List(), offsetof(Rule, list_link));
}

inline std::vector<ByodUserAgentRule*> InMatchList() {
  return Walk<ByodUserAgentRule>(BYOD_data_GetUserAgentRuleMatchList(),
                                 offsetof(ByodUserAgentRule, match_link));
}

/// The chain of a bucket, newest rule first.
template <typename Rules>
std::vector<typename Rules::Rule*> InBucket(uint32_t bucket) {
  const auto* const table = static_cast<HASH_Table*>(Rules::Table().hash);
  return Walk<typename Rules::Rule>(reinterpret_cast<ByodLink**>(&table->buckets[bucket]), 0);
}

template <typename Rules>
std::vector<std::string> TextsOf(const std::vector<typename Rules::Rule*>& rules) {
  std::vector<std::string> texts;
  for (auto* rule : rules)
    texts.emplace_back(Rules::Text(*rule));
  return texts;
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_RULE_LISTS_H
