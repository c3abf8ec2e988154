// SPDX-License-Identifier: Apache-2.0
#include "evidence/host_patterns.h"

#include <gmock/gmock.h>

#include <random>
#include <string>

namespace byod::evidence {
namespace {

using testing::ElementsAre;

/// As MatchesPattern, by trying every length of every star.
bool MatchesPlainly(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*') {
    for (size_t taken = 0; taken <= text.size(); ++taken) {
      if (MatchesPlainly(text.substr(taken), pattern.substr(1))) return true;
    }
    return false;
  }
  return !text.empty() && (pattern[0] == '?' || pattern[0] == text[0]) &&
         MatchesPlainly(text.substr(1), pattern.substr(1));
}

TEST(MatchesPattern, IsLikeTryingEveryLengthOfEveryStar) {
  std::mt19937 random(1);
  const auto text_of = [&](std::string_view letters, size_t max) {
    std::string text;
    for (size_t size = random() % (max + 1); size > 0; --size)
      text += letters[random() % letters.size()];
    return text;
  };
  size_t matches = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = text_of("ab", 8), pattern = text_of("ab*?", 6);
    const bool expected = MatchesPlainly(text, pattern);
    ASSERT_EQ(MatchesPattern(text, pattern), expected) << text << " " << pattern;
    matches += expected;
  }
  EXPECT_GT(matches, 1000U);
}

class HostPatternsTest : public testing::Test {
 protected:
  void Add(const std::string& text, std::optional<net::Prefix> block = {}, bool is_own = false) {
    HostPattern pattern;
    pattern.rule.text = text;
    pattern.block = block;
    patterns_.Add(pattern, is_own);
  }

  std::vector<std::string> Matches(std::string_view name, std::vector<uint8_t> mac = {}) {
    patterns_.Arrange();
    std::vector<std::string> matches;
    patterns_.Find(name, mac, [&](const Rule& rule) {
      matches.push_back(rule.text);
      return false;
    });
    return matches;
  }

  HostPatterns patterns_;
};

TEST_F(HostPatternsTest, ThePatternWithTheMostBytesComesFirst) {
  Add("*phone*");
  Add("galaxy-*");
  Add("*-phone");
  Add("g?laxy-phone");
  Add("nothing");
  EXPECT_THAT(Matches("Galaxy-Phone"),
              ElementsAre("g?laxy-phone", "galaxy-*", "*-phone", "*phone*"));
}

TEST_F(HostPatternsTest, CaseDoesNotCount) {
  Add("DESKTOP-???");
  EXPECT_THAT(Matches("desktop-aB1"), ElementsAre("DESKTOP-???"));
  EXPECT_THAT(Matches("desktop-aB12"), ElementsAre());
}

TEST_F(HostPatternsTest, APatternWithABlockCountsForItsTerminalsOnly) {
  Add("hs*");
  Add("hs*", net::MakePrefix(net::MacAddress{0x50, 0xC7, 0xBF}, 24));
  EXPECT_THAT(Matches("hs110", {0x50, 0xC7, 0xBF, 1, 2, 3}), ElementsAre("hs*", "hs*"));
  EXPECT_THAT(Matches("hs110", {0x50, 0xC7, 0xBE, 1, 2, 3}), ElementsAre("hs*"));
  EXPECT_THAT(Matches("hs110"), ElementsAre("hs*"));
}

TEST_F(HostPatternsTest, AnAdministratorsPatternComesFirst) {
  Add("reception-tablet");
  Add("re*", {}, true);
  EXPECT_THAT(Matches("reception-tablet"), ElementsAre("re*", "reception-tablet"));
}

TEST_F(HostPatternsTest, ANameOfAnyBytesAndLengthIsSearched) {
  Add("*x");
  Add("*");
  EXPECT_THAT(Matches(std::string(1000, '\xFF') + "x"), ElementsAre("*"));
  EXPECT_THAT(Matches(std::string(255, '\xFF') + "x"), ElementsAre("*x", "*"));
  EXPECT_THAT(Matches(""), ElementsAre("*"));
}

}  // namespace
}  // namespace byod::evidence
