// SPDX-License-Identifier: Apache-2.0
// MAC rules made in rows: each a separate record, and none that was not taken is left behind.
#include "data/spare_mac_rules.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "support/failing_allocator.h"
#include "support/object_bytes.h"

namespace {

using byod::data::SpareMacRules;
using support::LiveAllocations;

TEST(SpareMacRules, OfASmallTableAreMadeOneByOne) {
  const int64_t before = LiveAllocations();
  SpareMacRules spares;
  for (size_t rules = 0; rules < SpareMacRules::kFewRules; ++rules) {
    ByodMacRule* const rule = spares.Take(rules);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(LiveAllocations(), before + 1);
    BYOD_data_FreeMacRule(rule);
  }
  EXPECT_EQ(LiveAllocations(), before);
}

TEST(SpareMacRules, OfALargeTableAreZeroAndReleasedOneByOne) {
  const int64_t before = LiveAllocations();
  SpareMacRules spares;
  std::array<ByodMacRule*, 2 * SpareMacRules::kRow> taken;
  for (ByodMacRule*& rule : taken) {
    rule = spares.Take(SpareMacRules::kFewRules);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(support::BytesOf(*rule), support::ZeroBytes<ByodMacRule>());
    rule->mac[0] = 1;  // would be seen if it came twice
  }
  for (ByodMacRule* const rule : taken)
    BYOD_data_FreeMacRule(rule);
  EXPECT_EQ(LiveAllocations(), before);
}

TEST(SpareMacRules, ThatNobodyTookAreReleased) {
  const int64_t before = LiveAllocations();
  SpareMacRules spares;
  ByodMacRule* const rule = spares.Take(SpareMacRules::kFewRules);
  EXPECT_EQ(LiveAllocations(), before + int64_t{SpareMacRules::kRow});
  spares.Clear();
  EXPECT_EQ(LiveAllocations(), before + 1);
  spares.Clear();
  BYOD_data_FreeMacRule(rule);
  EXPECT_EQ(LiveAllocations(), before);
}

TEST(SpareMacRules, AreAsManyAsThereIsMemoryFor) {
  const int64_t before = LiveAllocations();
  SpareMacRules spares;
  {
    support::FailingAllocation failing(3);
    for (int i = 0; i < 2; ++i) {
      ByodMacRule* const rule = spares.Take(SpareMacRules::kFewRules);
      ASSERT_NE(rule, nullptr);
      BYOD_data_FreeMacRule(rule);
    }
    EXPECT_TRUE(failing.Failed());
  }
  EXPECT_EQ(LiveAllocations(), before);
  support::FailingAllocation failing(1);
  EXPECT_EQ(spares.Take(SpareMacRules::kFewRules), nullptr);
}

// The registry's prefixes, say: more rules than a row, and some of a row left at the end.
TEST(SpareMacRules, LeaveNothingBehindWhenTheStoreIsReleased) {
  const int64_t before = LiveAllocations();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  const ByodDeviceInfo info = {};
  ByodMacRule probe = {};
  std::memset(probe.mask, 0xFF, 3);
  constexpr uint32_t kRules = SpareMacRules::kFewRules + SpareMacRules::kRow / 2;
  for (uint32_t i = 0; i < kRules; ++i) {
    probe.mac[1] = static_cast<uint8_t>(i / 256);
    probe.mac[2] = static_cast<uint8_t>(i);
    BYOD_data_AddFileMacRule(&probe, &info);
  }
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), kRules);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(LiveAllocations(), before);
}

}  // namespace
