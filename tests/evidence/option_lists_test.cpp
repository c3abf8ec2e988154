// SPDX-License-Identifier: Apache-2.0
#include "evidence/option_lists.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace byod::evidence {
namespace {

using List = std::vector<uint8_t>;

/// The length of the longest common subsequence, by its usual table.
size_t InCommonPlainly(const List& a, const List& b) {
  std::vector<std::vector<size_t>> table(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      table[i][j] = a[i - 1] == b[j - 1] ? table[i - 1][j - 1] + 1
                                         : std::max(table[i - 1][j], table[i][j - 1]);
    }
  }
  return table[a.size()][b.size()];
}

class RandomLists {
 public:
  List Next(size_t max) {
    List list(1 + random_() % max);
    for (uint8_t& option : list)
      option = static_cast<uint8_t>(random_() % 12);
    return list;
  }

 private:
  std::mt19937 random_{3};
};

std::string TextOf(const List& list) {
  std::string text;
  for (const uint8_t option : list)
    text += (text.empty() ? "" : ",") + std::to_string(option);
  return text;
}

Rule RuleOf(const List& list, const std::string& category) {
  return {TextOf(list), {{}, {}, category, {}}, {}, {}};
}

TEST(SimilarityOfLists, IsTwiceTheCommonSubsequenceByBothLengths) {
  EXPECT_EQ(SimilarityOf(List{1, 3, 6, 15}, List{1, 3, 6, 15}), 100);
  EXPECT_EQ(SimilarityOf(List{1, 3, 6}, List{6, 3, 1}), 200.0 / 6);
  EXPECT_EQ(SimilarityOf(List{1, 3, 6}, List{1, 3, 6, 15, 28}), 75);
  EXPECT_EQ(SimilarityOf(List{}, List{1}), 0);
  RandomLists lists;
  for (int i = 0; i < 3000; ++i) {
    const List a = lists.Next(64), b = lists.Next(80);
    const double expected = 200.0 * static_cast<double>(InCommonPlainly(a, b)) /
                            static_cast<double>(a.size() + b.size());
    ASSERT_EQ(SimilarityOf(a, b), expected) << TextOf(a) << " " << TextOf(b);
  }
}

TEST(OptionLists, TheNearestListIsThatOfComparingAll) {
  RandomLists random;
  for (int round = 0; round < 50; ++round) {
    OptionLists lists;
    std::vector<List> all;
    for (int i = 0; i < 60; ++i) {
      all.push_back(random.Next(12));
      lists.Add(RuleOf(all.back(), "of " + TextOf(all.back())));
    }
    lists.Arrange();
    for (int i = 0; i < 40; ++i) {
      const List list = random.Next(12);
      if (std::ranges::find(all, list) != all.end()) continue;
      double best = 0;
      for (const List& other : all)
        best = std::max(best, SimilarityOf(list, other));
      for (const double min_similarity : {60.0, 80.0, best}) {
        const Nearest nearest = lists.Find(list, min_similarity);
        if (best < min_similarity || best == 0) {
          ASSERT_EQ(nearest.rule, nullptr);
        } else {
          ASSERT_NE(nearest.rule, nullptr) << TextOf(list);
          ASSERT_EQ(nearest.similarity, best);
          ASSERT_EQ(SimilarityOf(list, OptionsOf(nearest.rule->text)), best);
        }
      }
    }
  }
}

TEST(OptionLists, WhatEquallyNearListsDoNotSayAlikeIsOpen) {
  OptionLists lists;
  lists.Add({"1,3,6,15", {"", "Acme", "PC", "Linux"}, {}, {}});
  lists.Add({"1,3,6,42", {"", "Other", "PC", ""}, {}, {}});
  lists.Arrange();
  const Nearest nearest = lists.Find(List{1, 3, 6, 7}, 50);
  ASSERT_NE(nearest.rule, nullptr);
  EXPECT_EQ(nearest.values[kCategory], "PC");
  EXPECT_EQ(nearest.values[kVendor], "");
  EXPECT_EQ(nearest.values[kOs], "");
}

TEST(OptionLists, AListThatIsKnownItselfHasNoNearest) {
  OptionLists lists;
  lists.Add(RuleOf({1, 3, 6}, ""));
  lists.Add(RuleOf({1, 3, 6, 15}, "PC"));
  lists.Arrange();
  EXPECT_EQ(lists.Find(List{1, 3, 6}, 50).rule, nullptr);
  EXPECT_NE(lists.Find(List{1, 3, 6, 16}, 50).rule, nullptr);
}

TEST(OptionLists, ListsOfUpTo64OptionsAreCompared) {
  List longest(64);
  for (size_t i = 0; i < longest.size(); ++i)
    longest[i] = static_cast<uint8_t>(i + 1);
  OptionLists lists;
  lists.Add(RuleOf(longest, "PC"));
  lists.Arrange();
  List other = longest;
  other.back() = 200;
  EXPECT_EQ(lists.Find(other, 50).similarity, 200.0 * 63 / 128);
  other.push_back(201);
  EXPECT_EQ(lists.Find(other, 50).rule, nullptr);
}

}  // namespace
}  // namespace byod::evidence
