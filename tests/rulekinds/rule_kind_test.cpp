// SPDX-License-Identifier: Apache-2.0
// The numbers of the three kinds, as messages and databases hold them.
#include "rulekinds/rule_kind.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace byod::rulekinds {
namespace {

auto Numbers(const Messages& messages) {
  return std::tuple(messages.rule, messages.count, messages.list, messages.value,
                    messages.attribute);
}

TEST(RuleKind, EachHasItsMessages) {
  EXPECT_EQ(Numbers(DhcpOptionKind::kMessages), std::tuple(0U, 4U, 7U, 14U, 17U));
  EXPECT_EQ(Numbers(UserAgentKind::kMessages), std::tuple(1U, 5U, 8U, 15U, 18U));
  EXPECT_EQ(Numbers(MacKind::kMessages), std::tuple(2U, 6U, 9U, 16U, 19U));
}

TEST(RuleKind, EachHasItsSortListInTheDatabase) {
  const auto list = [](auto kind) {
    return std::tuple(std::string(kind.kDatabaseKey), kind.kDatabaseList, kind.kSortKeySize);
  };
  EXPECT_EQ(list(DhcpOptionKind()), std::tuple("BYOD_DhcpOptionRules", 0U, 256U));
  EXPECT_EQ(list(UserAgentKind()), std::tuple("BYOD_UserAgentRules", 1U, 256U));
  EXPECT_EQ(list(MacKind()), std::tuple("BYOD_MacRules", 2U, 15U));
}

TEST(RuleKind, IsDescribedUnderItsMethod) {
  const auto check = [](auto kind, uint16_t key_element, const char* word) {
    const Description& described = kByMethod[kind.kMethod];
    EXPECT_EQ(described.key_element, key_element);
    EXPECT_STREQ(described.word, word);
    EXPECT_EQ(Numbers(described.messages), Numbers(kind.kMessages));
  };
  check(DhcpOptionKind(), 4, "dhcp-option");
  check(UserAgentKind(), 5, "user-agent");
  check(MacKind(), 6, "mac");
}

}  // namespace
}  // namespace byod::rulekinds
