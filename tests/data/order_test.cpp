// SPDX-License-Identifier: Apache-2.0
#include "byod_order.h"

#include <gtest/gtest.h>

#include "byod_data.h"

namespace {

void ExpectCurrent(uint32_t first, uint32_t second, uint32_t third) {
  ByodOrder order = {{77, 77, 77}};
  BYOD_order_GetOrder(&order);
  EXPECT_EQ(order.slots[0], first);
  EXPECT_EQ(order.slots[1], second);
  EXPECT_EQ(order.slots[2], third);
}

// Runs first: this program has not called Init yet.
TEST(Order, IsAllZeroBeforeInit) {
  ExpectCurrent(0, 0, 0);
}

class OrderTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(BYOD_order_Init(), 0u); }
  void TearDown() override { BYOD_order_Fini(); }
};

TEST_F(OrderTest, InitSetsTheDefault) {
  ExpectCurrent(0, 1, 2);
}

TEST_F(OrderTest, SettingTheDefaultRightAfterInitChangesNothing) {
  const ByodOrder order = {{0, 1, 2}};
  EXPECT_EQ(BYOD_order_SetOrder(&order), static_cast<uint32_t>(BYOD_ERR_NOCHANGE));
}

TEST_F(OrderTest, SettingTwiceReportsTheSecondTimeThatNothingChanged) {
  const ByodOrder order = {{2, 1, 0}};
  EXPECT_EQ(BYOD_order_SetOrder(&order), 0u);
  EXPECT_EQ(BYOD_order_SetOrder(&order), static_cast<uint32_t>(BYOD_ERR_NOCHANGE));
  ExpectCurrent(2, 1, 0);
}

TEST_F(OrderTest, OneDifferentSlotIsAChange) {
  for (size_t slot = 0; slot < 3; ++slot) {
    BYOD_order_UnSetOrder();
    ByodOrder order = {{0, 1, 2}};
    order.slots[slot] = 9;
    EXPECT_EQ(BYOD_orderIsDefault(&order), 0u) << slot;
    EXPECT_EQ(BYOD_order_SetOrder(&order), 0u) << slot;
    ExpectCurrent(order.slots[0], order.slots[1], order.slots[2]);
  }
}

TEST_F(OrderTest, SlotsAreStoredUnchecked) {
  const ByodOrder order = {{1, 5, 0}};
  EXPECT_EQ(BYOD_order_SetOrder(&order), 0u);
  ExpectCurrent(1, 5, 0);
}

TEST_F(OrderTest, UnsettingTheDefaultSucceeds) {
  EXPECT_EQ(BYOD_order_UnSetOrder(), 0u);
  ExpectCurrent(0, 1, 2);
}

TEST_F(OrderTest, UnsettingAndFiniGoBackToTheDefault) {
  const ByodOrder order = {{2, 1, 0}};
  BYOD_order_SetOrder(&order);
  EXPECT_EQ(BYOD_order_UnSetOrder(), 0u);
  ExpectCurrent(0, 1, 2);
  BYOD_order_SetOrder(&order);
  BYOD_order_Fini();
  ExpectCurrent(0, 1, 2);
}

TEST_F(OrderTest, DefaultIsRecognised) {
  ByodOrder order = {{9, 9, 9}};
  BYOD_order_SetDefaultOrder(&order);
  EXPECT_EQ(BYOD_orderIsDefault(&order), 1u);
  const ByodOrder other = {{0, 2, 1}};
  EXPECT_EQ(BYOD_orderIsDefault(&other), 0u);
}

}  // namespace
