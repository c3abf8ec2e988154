// SPDX-License-Identifier: Apache-2.0
// The order of the marks of the sorted lists, against that of the keys.
#include "data/containers/list_marks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

namespace {

using byod::data::LengthMark;
using byod::data::TextMark;

int Sign(int comparison) {
  return (comparison > 0) - (comparison < 0);
}

/// Few letters, the highest byte among them, so that texts share many of their first bytes.
std::string RandomText(std::mt19937& random) {
  std::string text(random() % 20, 'a');
  for (char& c : text) {
    if (random() % 12 == 0) c = "\x01zA\xFF"[random() % 4];
  }
  return text;
}

TEST(TextMark, HasTheByteOrderOfTextsThatDifferInSixteenBytes) {
  std::mt19937 random(1);
  int decided = 0;
  for (int i = 0; i < 100000; ++i) {
    const std::string one = RandomText(random);
    const std::string other = RandomText(random);
    const int comparison = TextMark(one.c_str()).Compare(TextMark(other.c_str()));
    ASSERT_EQ(Sign(comparison), Sign(std::strncmp(one.c_str(), other.c_str(), 16)))
        << one << " and " << other;
    decided += comparison != 0;
  }
  EXPECT_GT(decided, 50000);
  EXPECT_LT(decided, 100000);
}

TEST(TextMark, IsEqualForTextsThatDifferBehindSixteenBytes) {
  const TextMark mark("AppleWebKit/&&SM-G900F");
  EXPECT_EQ(mark.Compare(TextMark("AppleWebKit/&&SM-G960F")), 0);
  EXPECT_FALSE(TextMark::kIsWholeKey);
}

TEST(LengthMark, PutsTheLongestFirst) {
  EXPECT_LT((LengthMark{17}.Compare({7})), 0);
  EXPECT_GT((LengthMark{6}.Compare({7})), 0);
  EXPECT_EQ((LengthMark{7}.Compare({7})), 0);
}

}  // namespace
