// SPDX-License-Identifier: Apache-2.0
// Whether an expression matches a User-Agent.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "data/internal.h"

namespace {

bool Matches(const std::string& ua, const std::string& expression) {
  const uint32_t result = byod_data_UserAgentMatch(ua.c_str(), expression.c_str());
  EXPECT_LE(result, 1u);
  return result == 1;
}

TEST(UserAgentMatch, FindsATermAnywhereAndByCase) {
  EXPECT_TRUE(Matches("Mozilla/5.0 (iPhone; U)", "iPhone"));
  EXPECT_TRUE(Matches("iPhone", "iPhone"));
  EXPECT_FALSE(Matches("Mozilla/5.0 (iphone; U)", "iPhone"));
  EXPECT_FALSE(Matches("iPhon", "iPhone"));
}

TEST(UserAgentMatch, WantsEveryTermOfAnAlternative) {
  EXPECT_TRUE(Matches("Android 4 Mobile", "Android&&Mobile"));
  EXPECT_TRUE(Matches("Mobile Android", "Android&&Mobile"));
  EXPECT_FALSE(Matches("Android 4", "Android&&Mobile"));
  EXPECT_FALSE(Matches("android mobile", "Android&&Mobile"));
}

TEST(UserAgentMatch, WantsOneAlternative) {
  EXPECT_TRUE(Matches("iPhone Mobile", "iPhone&&Mobile||iPad"));
  EXPECT_TRUE(Matches("iPad", "iPhone&&Mobile||iPad"));
  EXPECT_FALSE(Matches("iPhone", "iPhone&&Mobile||iPad"));
  EXPECT_TRUE(Matches("c", "a||b||c"));
}

TEST(UserAgentMatch, TakesTheEmptyExpressionForAMatchOfEverything) {
  EXPECT_TRUE(Matches("Mozilla", ""));
  EXPECT_TRUE(Matches("", ""));
}

TEST(UserAgentMatch, TakesAnExpressionOfSeparatorsForAMatchOfEverything) {
  for (const char* expression : {"|", "||", "|||||", "&", "&&", "&&||&&", "|&|"})
    EXPECT_TRUE(Matches("Mozilla", expression)) << expression;
}

TEST(UserAgentMatch, TakesAnAlternativeWithoutTermsForAMatchOfEverything) {
  EXPECT_TRUE(Matches("Mozilla", "iPhone||&&"));
  EXPECT_TRUE(Matches("Mozilla", "&||iPhone"));
}

TEST(UserAgentMatch, SkipsEmptyAlternativesBetweenOthers) {
  EXPECT_FALSE(Matches("Mozilla", "iPhone||||iPad"));
  EXPECT_FALSE(Matches("Mozilla", "||iPhone||"));
  EXPECT_TRUE(Matches("iPad", "iPhone||||iPad"));
}

TEST(UserAgentMatch, TakesAnyRunOfASeparatorForOne) {
  EXPECT_TRUE(Matches("b", "a|b"));
  EXPECT_TRUE(Matches("b", "a|||b"));
  EXPECT_FALSE(Matches("b", "a&b"));
  EXPECT_TRUE(Matches("ab", "&&&a&b&"));
}

TEST(UserAgentMatch, SeparatesAlternativesBeforeTerms) {
  EXPECT_TRUE(Matches("c", "a&b|c"));
  EXPECT_FALSE(Matches("a", "a&b|c"));
  EXPECT_TRUE(Matches("a", "a|b&c"));
}

TEST(UserAgentMatch, MatchesTheEmptyUserAgentWithNoTerm) {
  EXPECT_FALSE(Matches("", "a"));
  EXPECT_TRUE(Matches("", "a||&"));
}

TEST(UserAgentMatch, ReadsTheFirst255CharactersOfAnExpression) {
  const std::string x253(253, 'x');
  EXPECT_TRUE(Matches("b", x253 + "|b"));      // 255 characters
  EXPECT_FALSE(Matches("bc", x253 + "x|bc"));  // the 255th is the separator
  EXPECT_TRUE(Matches("b", x253 + "|bc"));     // cut to b
  EXPECT_FALSE(Matches("c", x253 + "|bc||c"));
  EXPECT_TRUE(Matches(std::string(255, 'x'), std::string(300, 'x')));
  EXPECT_FALSE(Matches(std::string(254, 'x'), std::string(300, 'x')));
  EXPECT_TRUE(Matches("anything", std::string(255, '|') + "a"));
}

TEST(UserAgentMatch, ReadsAUserAgentOfAnyLength) {
  EXPECT_TRUE(Matches(std::string(255, 'x') + "iPad", "iPad"));
  EXPECT_TRUE(Matches(std::string(10000, 'x') + "iPad", "iPad"));
}

TEST(UserAgentMatch, LeavesTheExpressionAsItIs) {
  const std::string expression = "a&&b||c";
  const std::string copy = expression;
  Matches("c", expression);
  EXPECT_EQ(expression, copy);
}

TEST(UserAgentMatch, ComparesBytesAbove127) {
  EXPECT_TRUE(Matches("\xC3\xA4", "\xC3"));
  EXPECT_FALSE(Matches("\xC3", "\xE3"));
}

// The plain reading.
std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const size_t end = std::min(text.find(separator), text.size());
    if (end > 0) parts.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

bool PlainlyMatches(std::string_view ua, std::string_view expression) {
  const auto alternatives = Split(expression.substr(0, 255), '|');
  if (alternatives.empty()) return true;
  for (const std::string_view alternative : alternatives) {
    bool all = true;
    for (const std::string_view term : Split(alternative, '&'))
      all = all && ua.find(term) != std::string_view::npos;
    if (all) return true;
  }
  return false;
}

std::string RandomText(std::mt19937& random, std::string_view alphabet, size_t most) {
  std::string text(random() % (most + 1), '\0');
  for (char& c : text)
    c = alphabet[random() % alphabet.size()];
  return text;
}

TEST(UserAgentMatch, AgreesWithThePlainReadingOnRandomExpressions) {
  std::mt19937 random(11);
  size_t matched = 0;
  constexpr int kTries = 100000;
  for (int i = 0; i < kTries; ++i) {
    const std::string expression = RandomText(random, "aaAb\xC3\xFF&&|", 12);
    const std::string ua = RandomText(random, "aAb\xC3\xFF ", 8);
    const bool expected = PlainlyMatches(ua, expression);
    ASSERT_EQ(Matches(ua, expression), expected) << '"' << ua << "\" \"" << expression << '"';
    matched += expected;
  }
  EXPECT_GT(matched, kTries / 10u);
  EXPECT_LT(matched, kTries * 9u / 10u);
}

TEST(UserAgentMatch, AgreesWithThePlainReadingAroundTheGreatestLengths) {
  std::mt19937 random(12);
  size_t matched = 0;
  constexpr int kTries = 20000;
  for (int i = 0; i < kTries; ++i) {
    std::string expression;
    while (expression.size() < 250)
      expression += RandomText(random, "abc&|", 60);
    expression.resize(250 + random() % 12, 'a');
    // Nearly the whole expression is one alternative that does not match: the end decides.
    if (random() % 2 == 0) expression.replace(0, 240, std::string(240, 'Z'));
    const std::string ua = RandomText(random, "abc", 255);
    const bool expected = PlainlyMatches(ua, expression);
    ASSERT_EQ(Matches(ua, expression), expected) << '"' << ua << "\" \"" << expression << '"';
    matched += expected;
  }
  EXPECT_GT(matched, kTries / 10u);
  EXPECT_LT(matched, kTries * 19u / 20u);
}

}  // namespace
