// SPDX-License-Identifier: Apache-2.0
// Whole identifications against a plain model: random rules in all tables, random terminals, all
// orders.
#include "support/identification_model.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace byod::test;

class IdentificationModel : public RuleStoreTest {
 protected:
  void Run(uint32_t seed) {
    Reopen(BYOD_NO_RULE_LIMIT);
    IdentificationRun run{Choices(seed)};
    for (int i = 0; i < 12; ++i)
      run.AddRules();
    for (uint32_t first = 0; first < 4; ++first) {
      for (uint32_t second = 0; second < 4; ++second) {
        for (uint32_t third = 0; third < 4; ++third) {
          run.SetOrder({Slot(run, first), Slot(run, second), Slot(run, third)});
          for (int i = 0; i < 8; ++i)
            ASSERT_NO_FATAL_FAILURE(run.CompareSomeTerminal());
        }
      }
    }
    run.SetOrder({2, 9, 0});
    for (int i = 0; i < 50; ++i)
      ASSERT_NO_FATAL_FAILURE(run.CompareSomeTerminal());
    identified_ += run.counts().identified;
    complete_ += run.counts().complete;
    typed_ += run.counts().typed;
    failed_ += run.counts().failed;
  }

  size_t identified_ = 0, complete_ = 0, typed_ = 0, failed_ = 0;

 private:
  /// A method, or any number that ends the order.
  static uint32_t Slot(IdentificationRun& run, uint32_t slot) {
    return slot < 3 ? slot : 3 + static_cast<uint32_t>(run.choices().Below(7));
  }
};

TEST_F(IdentificationModel, AgreesInAllOrders) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_NO_FATAL_FAILURE(Run(seed));
  }
  EXPECT_GT(identified_, 1000u);
  EXPECT_GT(complete_, 500u);
  EXPECT_GT(typed_, 500u);
  EXPECT_GT(failed_, 500u);
}

}  // namespace
