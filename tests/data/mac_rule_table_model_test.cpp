// SPDX-License-Identifier: Apache-2.0
// The MAC rules against a plain model, over many random steps; and rules that overlap.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>

#include "support/emulation.h"
#include "support/failing_allocator.h"
#include "support/mac_rule_table_model.h"

namespace {

using namespace byod::test;

constexpr int kSteps = support::StepsHere(15000);

class MacRuleTable : public RuleStoreTest {
 protected:
  static void Run(uint32_t seed, uint32_t limit) {
    Reopen(limit);
    MacRuleTableRun run(Choices(seed), limit);
    for (int step = 0; step < kSteps; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      run.Step();
      ASSERT_NO_FATAL_FAILURE(run.ExpectSame());
      if (HasFailure()) return;
    }
    ASSERT_GT(run.size(), 30u);  // there was something to compare
  }
};

TEST_F(MacRuleTable, AgreesWithTheModelAfterEveryStep) {
  Run(1, BYOD_NO_RULE_LIMIT);
}

TEST_F(MacRuleTable, AgreesWithTheModelUnderALimit) {
  Run(2, 20);
}

TEST_F(MacRuleTable, LeavesNothingAllocatedAfterFini) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  Run(3, BYOD_NO_RULE_LIMIT);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(support::LiveAllocations(), before);
}

// With overlapping masks the order contradicts itself: a search may miss. No rule may be lost.
TEST_F(RuleStoreTest, LosesNoMacRuleWhenMasksOverlap) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  {
    std::mt19937 random(7);
    std::set<ByodMacRule*> rules;
    uint32_t custom = 0;
    const auto any_key = [&] {
      MacKey key = {0, 0};
      for (int i = 0; i < 6; ++i) {
        key.mac = key.mac << 8 | random() % 4;
        key.mask = key.mask << 8 | (random() % 3 == 0 ? random() & 0xFF : 0xFF);
      }
      return key;
    };
    const auto forget = [&](ByodMacRule* rule) {
      custom -= rule->origin == BYOD_RULE_CUSTOM;
      ASSERT_EQ(rules.erase(rule), 1u);
    };
    size_t most = 0, refused = 0;
    for (int step = 0; step < kSteps; ++step) {
      const ByodMacRule probe = any_key().Probe();
      const auto origin = static_cast<uint32_t>(random() % 2);
      if (random() % 3 != 0) {
        uint16_t created = 0;
        uint32_t err = 0;
        ByodMacRule* const rule = BYOD_data_FindOrNewMacRule(&probe, origin, &created, &err);
        if (created == 1) {
          ASSERT_TRUE(rules.insert(rule).second);
          custom += origin;
        } else {
          ASSERT_EQ(err, rule == nullptr ? AVL_ERR_EXISTS : 0u);
          ++refused;
        }
      } else if (random() % 2 == 0 && !rules.empty()) {
        ByodMacRule* const rule =
            *std::next(rules.begin(), static_cast<ptrdiff_t>(random() % rules.size()));
        ASSERT_NO_FATAL_FAILURE(forget(rule));
        BYOD_DeleteMacRule(rule);
      } else {
        ByodMacRule* const found = BYOD_data_FindMacRule(&probe);
        if (found != nullptr && found->origin == BYOD_RULE_CUSTOM) {
          ASSERT_NO_FATAL_FAILURE(forget(found));
        }
        BYOD_data_DelMacRule(&probe);
      }
      BYOD_FindRuleFromMacAvlNext(&probe);
      BYOD_ProcGetNextMacByConfig(&probe);
      most = std::max(most, rules.size());
      ASSERT_EQ(BYOD_data_GetMacRuleCount(), rules.size());
      ASSERT_EQ(BYOD_data_GetMacRuleTbl()->custom_count, custom);
      if (step % 8 == 0) {
        const auto in_tree = InTree();
        ASSERT_EQ(std::set<ByodMacRule*>(in_tree.begin(), in_tree.end()), rules);
        ASSERT_EQ(in_tree.size(), rules.size());
      }
    }
    EXPECT_GT(most, 30u);
    EXPECT_GT(refused, 100u);
  }
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(support::LiveAllocations(), before);
}

}  // namespace
