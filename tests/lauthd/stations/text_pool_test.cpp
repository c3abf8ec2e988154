// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/text_pool.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace byod::lauthd {
namespace {

TEST(TextPool, AnEmptyTextIsZeroAndNeedsNoPlace) {
  TextPool pool;
  EXPECT_EQ(pool.Acquire(""), 0u);
  EXPECT_EQ(pool.Text(0), "");
  pool.Release(0);
  EXPECT_EQ(pool.size(), 0u);
}

TEST(TextPool, EqualTextsAreOneUntilTheLastReferenceGoes) {
  TextPool pool;
  const TextId first = pool.Acquire("Android");
  EXPECT_EQ(pool.Acquire("Android"), first);
  EXPECT_EQ(pool.size(), 1u);
  pool.Release(first);
  EXPECT_EQ(pool.Text(first), "Android");
  pool.Release(first);
  EXPECT_EQ(pool.size(), 0u);
  EXPECT_EQ(pool.Find("Android"), kNoElement);
}

TEST(TextPool, ATextMayHoldNulsAndEndsWithOne) {
  TextPool pool;
  const std::string text("a\0b", 3);
  const TextId id = pool.Acquire(text);
  EXPECT_EQ(pool.Text(id), text);
  EXPECT_EQ(pool.Text(id).data()[3], '\0');
}

TEST(TextPool, AssigningTheTextThatIsThereKeepsIt) {
  TextPool pool;
  TextId id = pool.Acquire("a");
  pool.Assign(id, "a");
  EXPECT_EQ(pool.Text(id), "a");
  pool.Assign(id, "");
  EXPECT_EQ(id, 0u);
  EXPECT_EQ(pool.size(), 0u);
}

TEST(TextPool, AgreesWithAMapUnderLongChurnAtEverySmallSize) {
  std::mt19937 random(1);
  for (unsigned distinct = 1; distinct <= 40; ++distinct) {
    TextPool pool;
    std::map<std::string, unsigned> model;
    std::vector<TextId> held;
    for (int step = 0; step < 5000; ++step) {
      if (held.empty() || random() % 2 == 0) {
        const std::string text = "text " + std::to_string(random() % distinct);
        held.push_back(pool.Acquire(text));
        ++model[text];
        ASSERT_EQ(pool.Text(held.back()), text);
      } else {
        const size_t which = random() % held.size();
        const std::string text(pool.Text(held[which]));
        if (--model[text] == 0) model.erase(text);
        pool.Release(held[which]);
        held.erase(held.begin() + static_cast<ptrdiff_t>(which));
        ASSERT_EQ(pool.Find(text) == kNoElement, !model.contains(text));
      }
      ASSERT_EQ(pool.size(), model.size());
    }
  }
}

}  // namespace
}  // namespace byod::lauthd
