// SPDX-License-Identifier: Apache-2.0
#include "lint/expression.h"

#include <gmock/gmock.h>

#include <random>

#include "byod_data.h"
#include "data/internal.h"

namespace byod::lint {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Expression, RunsOfSeparatorsSeparate) {
  EXPECT_THAT(AlternativesOf("iPhone&&Mobile||iPad"),
              ElementsAre(ElementsAre("iPhone", "Mobile"), ElementsAre("iPad")));
  EXPECT_THAT(AlternativesOf("|a&b&&&c|||d||"),
              ElementsAre(ElementsAre("a", "b", "c"), ElementsAre("d")));
}

TEST(Expression, WithoutTermsItMatchesEverything) {
  for (const char* text : {"", "|", "||"})
    EXPECT_THAT(AlternativesOf(text), ElementsAre(IsEmpty())) << text;
  EXPECT_THAT(AlternativesOf("a||&&"), ElementsAre(ElementsAre("a"), IsEmpty()));
}

TEST(Expression, IsWrittenWithDoubleSeparators) {
  EXPECT_EQ(ToString(AlternativesOf("|a&b&&&c|||d||")), "a&&b&&c||d");
}

TEST(Expression, ImpliesWhatItsTermsContain) {
  EXPECT_TRUE(Implies({"iPhone OS", "Mobile"}, {"Phone"}));
  EXPECT_TRUE(Implies({"iPhone OS", "Mobile"}, {"OS", "Mob", "iPhone"}));
  EXPECT_TRUE(Implies({"a"}, {}));
  EXPECT_FALSE(Implies({"iPhone"}, {"iPhone", "Mobile"}));
  EXPECT_FALSE(Implies({"iPhone"}, {"iphone"}));
  EXPECT_FALSE(Implies({"ab", "cd"}, {"bc"}));
}

TEST(Expression, AnImpliedAlternativeMatchesWheneverTheOtherDoes) {
  std::mt19937 random(11);
  const auto text = [&](size_t most) {
    std::string made;
    for (size_t length = 1 + random() % most; made.size() < length;)
      made += static_cast<char>('a' + random() % 3);
    return made;
  };
  size_t implied = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string narrow = text(4) + "&&" + text(4);
    const std::string wide = text(2) + "&&" + text(2);
    const std::string user_agent = text(12);
    if (!Implies(AlternativesOf(narrow)[0], AlternativesOf(wide)[0])) continue;
    ++implied;
    if (byod_data_UserAgentMatch(user_agent.c_str(), narrow.c_str()) == 1) {
      EXPECT_EQ(byod_data_UserAgentMatch(user_agent.c_str(), wide.c_str()), 1U)
          << user_agent << ' ' << narrow << ' ' << wide;
    }
  }
  EXPECT_GT(implied, 1000U);
}

}  // namespace
}  // namespace byod::lint
