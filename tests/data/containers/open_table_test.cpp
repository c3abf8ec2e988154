// SPDX-License-Identifier: Apache-2.0
// The hash table in one array: hashes that also a free slot might have.
#include "data/containers/open_table.h"

#include <gtest/gtest.h>

namespace {

using byod::data::OpenTable;

class OpenTableTest : public testing::Test {
 protected:
  ~OpenTableTest() override { table_.Clear(); }

  const OpenTable::Slot* FindAny(uint32_t hash) const {
    return table_.Find(hash, [](const OpenTable::Slot&) { return true; });
  }

  OpenTable table_;
  int items_[8] = {};
};

TEST_F(OpenTableTest, AFreeSlotIsNoItemOfHashZero) {
  ASSERT_TRUE(table_.Reserve(1));
  table_.Insert(1, &items_[0], 0);  // in the same group
  EXPECT_EQ(FindAny(0), nullptr);
  table_.Insert(0, &items_[1], 0);
  ASSERT_NE(FindAny(0), nullptr);
  EXPECT_EQ(FindAny(0)->item, &items_[1]);
}

TEST_F(OpenTableTest, AllItemsOfOneHashAreMetUntilOneIsChosen) {
  ASSERT_TRUE(table_.Reserve(8));
  for (int i = 0; i < 8; ++i)
    table_.Insert(7, &items_[i], static_cast<uint32_t>(i));
  uint32_t met = 0;
  EXPECT_EQ(table_.Find(7,
                        [&met](const OpenTable::Slot& slot) {
                          met |= 1u << slot.note;
                          return false;
                        }),
            nullptr);
  EXPECT_EQ(met, 0xFFu);
  const auto* const chosen =
      table_.Find(7, [](const OpenTable::Slot& slot) { return slot.note == 5; });
  ASSERT_NE(chosen, nullptr);
  EXPECT_EQ(chosen->item, &items_[5]);
}

}  // namespace
