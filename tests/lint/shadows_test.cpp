// SPDX-License-Identifier: Apache-2.0
#include "lint/shadows.h"

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <vector>

namespace byod::lint {
namespace {

TEST(Shadows, TheFirstThatMatchesWheneverTheTermsOccurIsFound) {
  Shadows shadows;
  shadows.Add(7, {"Mobile", "Phone"});
  shadows.Add(3, {"Phone"});
  shadows.Add(5, {"iPhone"});
  EXPECT_EQ(shadows.Find({"iPhone OS", "Mobile"}), 7U);
  EXPECT_EQ(shadows.Find({"iPhone OS"}), 3U);
  EXPECT_EQ(shadows.Find({"Mobile"}), std::nullopt);
  EXPECT_EQ(shadows.Find({}), std::nullopt);
}

TEST(Shadows, WhatIsFoundIsWhatComparingWithEachFinds) {
  std::mt19937 random(5);
  const auto text = [&](size_t most) {
    std::string made;
    for (size_t length = 1 + random() % most; made.size() < length;)
      made += static_cast<char>('a' + random() % 20);
    return made;
  };
  std::vector<std::vector<std::string>> texts;
  for (size_t i = 0; i < 400; ++i) {
    auto& terms = texts.emplace_back();
    for (size_t count = 1 + random() % 3; terms.size() < count;)
      terms.push_back(text(6));
  }
  Shadows shadows;
  std::vector<Terms> added;
  size_t found = 0;
  for (size_t i = 0; i < texts.size(); ++i) {
    const Terms terms(texts[i].begin(), texts[i].end());
    std::optional<size_t> first;
    for (size_t other = 0; other < added.size() && !first; ++other) {
      if (Implies(terms, added[other])) first = other;
    }
    ASSERT_EQ(shadows.Find(terms), first) << ToString(terms);
    found += first.has_value();
    shadows.Add(i, terms);
    added.push_back(terms);
  }
  EXPECT_GT(found, 30U);
  EXPECT_LT(found, 350U);
}

}  // namespace
}  // namespace byod::lint
