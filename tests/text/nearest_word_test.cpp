// SPDX-License-Identifier: Apache-2.0
#include "text/nearest_word.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace byod::text {
namespace {

const std::vector<std::string> kNouns = {"rules",  "rule",    "order",        "counts",
                                         "status", "unknown", "authorization"};

/// The distance by its definition: no table, no rows.
size_t PlainDistance(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty()) return a.size() + b.size();
  const std::string shorter_a = a.substr(1);
  const std::string shorter_b = b.substr(1);
  size_t distance = PlainDistance(shorter_a, shorter_b) + (a[0] == b[0] ? 0 : 1);
  distance = std::min(distance, PlainDistance(shorter_a, b) + 1);
  distance = std::min(distance, PlainDistance(a, shorter_b) + 1);
  if (a.size() > 1 && b.size() > 1 && a[0] == b[1] && a[1] == b[0]) {
    distance = std::min(distance, PlainDistance(a.substr(2), b.substr(2)) + 1);
  }
  return distance;
}

TEST(EditDistance, CountsInsertionsDeletionsReplacementsAndSwapsOfNeighbours) {
  EXPECT_EQ(EditDistance("rules", "rules"), 0u);
  EXPECT_EQ(EditDistance("rule", "rules"), 1u);
  EXPECT_EQ(EditDistance("rulles", "rules"), 1u);
  EXPECT_EQ(EditDistance("rukes", "rules"), 1u);
  EXPECT_EQ(EditDistance("ruels", "rules"), 1u);
  EXPECT_EQ(EditDistance("", "rules"), 5u);
  EXPECT_EQ(EditDistance("rules", ""), 5u);
  EXPECT_EQ(EditDistance("RULES", "rules"), 0u);
}

TEST(EditDistance, IsThatOfItsDefinitionForRandomWordsAndTheSameBothWays) {
  std::mt19937 random(4);
  const auto word = [&] {
    std::string text(random() % 7, ' ');
    for (char& c : text)
      c = static_cast<char>('a' + random() % 3);
    return text;
  };
  for (int i = 0; i < 2000; ++i) {
    const std::string a = word();
    const std::string b = word();
    ASSERT_EQ(EditDistance(a, b), PlainDistance(a, b)) << a << ' ' << b;
    ASSERT_EQ(EditDistance(a, b), EditDistance(b, a)) << a << ' ' << b;
  }
}

TEST(NearestWord, OfAMisspeltWordIsTheOneThatWasMeant) {
  const std::pair<const char*, const char*> cases[] = {
      {"ruels", "rules"},
      {"rulez", "rules"},
      {"stauts", "status"},
      {"Status", "status"},
      {"ordr", "order"},
      {"oder", "order"},
      {"unkown", "unknown"},
      {"authorisation", "authorization"},
      {"coutns", "counts"},
      {"autorisaton", "authorization"},
      {"authorizations", "authorization"},
  };
  for (const auto& [wrong, meant] : cases)
    EXPECT_EQ(NearestWord(wrong, kNouns), meant) << wrong;
}

TEST(NearestWord, IsNoneWhenNoWordIsNear) {
  for (const char* const wrong : {"", "x", "xyz", "nothing", "elephant", "r", "ar", "seltur"})
    EXPECT_EQ(NearestWord(wrong, kNouns), "") << wrong;
  EXPECT_EQ(NearestWord("rules", {}), "");
  EXPECT_EQ(NearestWord("rules", {""}), "");
  EXPECT_EQ(NearestWord("x", {"y", "ox"}), "");
}

TEST(NearestWord, MayBeOneThatTheWrongOneBegins) {
  EXPECT_EQ(NearestWord("auth", kNouns), "authorization");
  EXPECT_EQ(NearestWord("AUTH", kNouns), "authorization");
  EXPECT_EQ(NearestWord("un", kNouns), "unknown");
  EXPECT_EQ(NearestWord("u", kNouns), "");
  // Two begin so and neither is near.
  EXPECT_EQ(NearestWord("exp", {"expression", "expiration"}), "");
}

TEST(NearestWord, OfEquallyNearOnesHasTheSameFirstLetterOrStandsFirst) {
  EXPECT_EQ(NearestWord("bar", {"car", "bat"}), "bat");
  EXPECT_EQ(NearestWord("bar", {"car", "far"}), "car");
  EXPECT_EQ(NearestWord("show", {"shown", "how", "snow"}), "shown");
}

TEST(NearestWord, MayHaveOneWrongLetterInThree) {
  EXPECT_EQ(NearestWord("abcxe", {"abcde"}), "abcde");
  EXPECT_EQ(NearestWord("abxxe", {"abcde"}), "");
  EXPECT_EQ(NearestWord("abxxef", {"abcdef"}), "abcdef");
  EXPECT_EQ(NearestWord("axxxef", {"abcdef"}), "");
  EXPECT_EQ(NearestWord("xxxdefghi", {"abcdefghi"}), "abcdefghi");
}

TEST(NearestWord, OfALongTextIsFoundWithoutReadingIt) {
  EXPECT_EQ(NearestWord(std::string(1 << 24, 'r'), kNouns), "");
}

TEST(DidYouMean, EndsAMessageWithTheNearestWordOrAddsNothing) {
  EXPECT_EQ(DidYouMean("ruels", kNouns), "; did you mean \"rules\"?");
  EXPECT_EQ(DidYouMean("elephant", kNouns), "");
}

}  // namespace
}  // namespace byod::text
