// SPDX-License-Identifier: Apache-2.0
// The array behind the lists against a plain vector.
#include "data/containers/tiered_array.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/failing_allocator.h"

namespace {

using Array = byod::data::TieredArray<uint32_t>;

void ExpectSame(const Array& array, const std::vector<uint32_t>& model) {
  ASSERT_EQ(array.size(), model.size());
  for (size_t i = 0; i < model.size(); ++i)
    ASSERT_EQ(array[i], model[i]) << "at " << i << " of " << model.size();
}

TEST(TieredArray, HoldsWhatAVectorHoldsWhileElementsComeAndGo) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    std::mt19937 random(seed);
    const size_t aim = seed % 3 == 0 ? 20 : seed % 3 == 1 ? 256 : 1500;
    Array array;
    std::vector<uint32_t> model;
    for (uint32_t step = 0; step < 6000; ++step) {
      const bool grow = model.empty() || random() % 4 < (model.size() < aim ? 3 : 1);
      // The ends are met often.
      const size_t last = grow ? model.size() : model.size() - 1;
      const size_t place = random() % 8 == 0 ? 0 : random() % 8 == 0 ? last : random() % (last + 1);
      if (grow) {
        ASSERT_TRUE(array.Reserve(model.size() + 1));
        array.Insert(place, step);
        model.insert(model.begin() + static_cast<ptrdiff_t>(place), step);
      } else {
        array.Erase(place);
        model.erase(model.begin() + static_cast<ptrdiff_t>(place));
      }
      if (step % 7 == 0) ExpectSame(array, model);
      if (testing::Test::HasFatalFailure()) FAIL() << "seed " << seed << ", step " << step;
    }
    array.Clear();
  }
}

TEST(TieredArray, WithoutMemoryMakesNoRoomAndKeepsWhatItHolds) {
  Array array;
  std::vector<uint32_t> model;
  while (model.size() < 3000) {
    bool made = false;
    {
      support::FailingAllocation failing(1);
      made = array.Reserve(model.size() + 1);
      EXPECT_EQ(made, !failing.Failed());
    }
    if (!made) {
      ExpectSame(array, model);
      ASSERT_TRUE(array.Reserve(model.size() + 1));
    }
    array.Insert(model.size() / 2, static_cast<uint32_t>(model.size()));
    model.insert(model.begin() + static_cast<ptrdiff_t>(model.size() / 2),
                 static_cast<uint32_t>(model.size()));
  }
  ExpectSame(array, model);
  array.Clear();
}

}  // namespace
