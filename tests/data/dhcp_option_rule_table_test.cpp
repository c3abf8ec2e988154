// SPDX-License-Identifier: Apache-2.0
// The DHCP option rules: what only this table does.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/internal.h"
#include "support/rule_lists.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

class DhcpOptionRuleTable : public RuleStoreTest {};

TEST_F(DhcpOptionRuleTable, FindsARuleByItsWholeTextOnly) {
  auto* rule = Make<DhcpOptionRules>(std::string("1,3,6"), BYOD_RULE_PREDEFINED);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3,6"), rule);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3,6,15"), nullptr);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,6,3"), nullptr);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3"), nullptr);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3,6,"), nullptr);
}

TEST_F(DhcpOptionRuleTable, ListsByBytesNotByNumbers) {
  for (const char* text : {"12,3", "2", "1,3,6", "100"})
    Make<DhcpOptionRules>(std::string(text), BYOD_RULE_PREDEFINED);
  EXPECT_EQ(TextsOf<DhcpOptionRules>(InList<DhcpOptionRules>()),
            (std::vector<std::string>{"1,3,6", "100", "12,3", "2"}));
}

TEST_F(DhcpOptionRuleTable, DropsACustomRuleOrItsInformationByModeAndRemove) {
  for (const uint32_t mode : {0u, 1u, 2u}) {
    for (const uint16_t remove : {uint16_t{0}, uint16_t{1}, uint16_t{2}}) {
      auto* rule = MakeCustom<DhcpOptionRules>(1u, "n", "v");
      byod_data_DelDeviceInfoFromCfgDhcpoptRule(rule, mode, remove);
      auto* left = DhcpOptionRules::Find(1u);
      if (mode == 1 || remove == 1) {
        EXPECT_EQ(left, nullptr) << mode << ' ' << remove;
        EXPECT_EQ(BYOD_data_GetDhcpOptionRuleCount(), 0u);
        EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
      } else {
        ASSERT_EQ(left, rule) << mode << ' ' << remove;
        EXPECT_EQ(left->configured, nullptr);
        EXPECT_EQ(Byod_GetCustomRuleCount(), 1u);
        BYOD_DeleteDhcpOption(left);
      }
    }
  }
}

}  // namespace
