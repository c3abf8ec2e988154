// SPDX-License-Identifier: Apache-2.0
// The two tables of rules keyed by text against a plain model, over many random steps.
#include <gtest/gtest.h>

#include <string>

#include "support/emulation.h"
#include "support/failing_allocator.h"
#include "support/rule_store_fixture.h"
#include "support/text_rule_table_model.h"

namespace {

using namespace byod::test;

constexpr int kSteps = support::StepsHere(12000);

template <typename Rules>
class TextRuleTable : public RuleStoreTest {
 protected:
  void Run(uint32_t seed, uint32_t limit, bool with_wrong_counts) {
    Reopen(limit);
    TextRuleTableRun<Rules> run(Choices(seed), limit);
    Choices chance(seed + 1000);
    for (int step = 0; step < kSteps; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      run.Step();
      if (with_wrong_counts && chance.Below(20) == 0) run.SetWrongCount();
      ASSERT_NO_FATAL_FAILURE(run.ExpectSameOrders());
      if (step % 32 == 0) {
        ASSERT_NO_FATAL_FAILURE(run.ExpectSameRules());
      }
      if (HasFailure()) return;
    }
    ASSERT_GT(run.size(), 20u);  // there was something to compare
    ASSERT_NO_FATAL_FAILURE(run.ExpectSameRules());
  }
};
TYPED_TEST_SUITE(TextRuleTable, TextTables, TableNames);

TYPED_TEST(TextRuleTable, AgreesWithTheModelAfterEveryStep) {
  this->Run(1, BYOD_NO_RULE_LIMIT, false);
}

TYPED_TEST(TextRuleTable, AgreesWithTheModelUnderALimit) {
  this->Run(2, 25, false);
}

TYPED_TEST(TextRuleTable, AgreesWithTheModelWhenTheCountIsNotTheLength) {
  this->Run(3, BYOD_NO_RULE_LIMIT, true);
}

TYPED_TEST(TextRuleTable, LeavesNothingAllocatedAfterFini) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  {
    this->Run(4, BYOD_NO_RULE_LIMIT, false);
    BYOD_data_GlobalInfoFini();
  }
  EXPECT_EQ(support::LiveAllocations(), before);
}

}  // namespace
