// SPDX-License-Identifier: Apache-2.0
// Where an administrator's User-Agent rules are stored.
#include "byodctl/rules/user_agent_band.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "byodctl/failure.h"
#include "data/internal.h"

namespace byod::ctl {
namespace {

std::string Separators(size_t count) {
  return std::string(count, '|');
}

std::string Placed(UserAgentBand& band, const std::string& text,
                   std::optional<unsigned> priority = std::nullopt) {
  band.Place(text, priority);
  return *band.Find(PlainText(text));
}

TEST(UserAgentBandKeys, ThePlainTextIsTheKeyWithoutSeparatorsAtItsEnd) {
  EXPECT_EQ(PlainText("SM-G960F" + Separators(100)), "SM-G960F");
  EXPECT_EQ(PlainText("a&&b||c&&|||"), "a&&b||c");
  EXPECT_EQ(PlainText("a"), "a");
}

TEST(UserAgentBandKeys, AnExpressionThatMatchesEverythingIsItsOwnPlainText) {
  for (const char* key : {"", "|", "&&", "a||&&", "a|&|", "&||a||"})
    EXPECT_EQ(PlainText(key), key);
}

TEST(UserAgentBandKeys, APlainTextMatchesWhatItsKeyMatches) {
  std::minstd_rand random(5);
  const auto any = [&](const char* letters, size_t length) {
    std::string text;
    for (size_t i = random() % (length + 1); i > 0; --i)
      text += letters[random() % std::char_traits<char>::length(letters)];
    return text;
  };
  for (int i = 0; i < 100'000; ++i) {
    const std::string key = any("ab|&", 8);
    const std::string user_agent = any("abc", 4);
    ASSERT_EQ(byod_data_UserAgentMatch(user_agent.c_str(), PlainText(key).c_str()),
              byod_data_UserAgentMatch(user_agent.c_str(), key.c_str()))
        << key << " for " << user_agent;
  }
}

TEST(UserAgentBand, AShortRuleIsStoredWith128BytesMoreThanItsText) {
  UserAgentBand band;
  EXPECT_EQ(Placed(band, "SM-G960F"), "SM-G960F" + Separators(128));
  EXPECT_EQ(Placed(band, std::string(127, 'x')), std::string(127, 'x') + Separators(128));
  EXPECT_EQ(PriorityOf(Placed(band, "SM-G960F")), 8U);
}

TEST(UserAgentBand, AGivenPriorityIsTheLengthBeyond128) {
  UserAgentBand band;
  EXPECT_EQ(Placed(band, "SM-G960F", 0), "SM-G960F&" + Separators(119));
  EXPECT_EQ(PriorityOf(Placed(band, "SM-G960F")), 0U);
  EXPECT_EQ(Placed(band, "SM-G960F", 127).size(), 255U);
  EXPECT_EQ(Placed(band, "SM-G960F", 8), "SM-G960F" + Separators(128));
  EXPECT_EQ(Placed(band, std::string(127, 'x'), 0), std::string(127, 'x') + "&");
}

TEST(UserAgentBand, AnExpressionOf128BytesOrThatMatchesEverythingIsStoredAsItIs) {
  UserAgentBand band;
  const std::string long_text(128, 'x');
  EXPECT_EQ(Placed(band, long_text), long_text);
  for (const char* text : {"", "&&", "a||&&"}) {
    EXPECT_EQ(Placed(band, text), text);
    EXPECT_EQ(PriorityOf(text), std::nullopt);
    EXPECT_FALSE(IsBelowBand(text));
  }
  EXPECT_EQ(PriorityOf(long_text), std::nullopt);
}

TEST(UserAgentBand, ARuleThatWasStoredShortMovesIntoTheBandWhenItIsPlacedAgain) {
  UserAgentBand band;
  band.Add("Nokia&&", true);
  EXPECT_TRUE(IsBelowBand("Nokia&&"));
  EXPECT_TRUE(band.Moves().empty());
  EXPECT_EQ(Placed(band, "Nokia"), "Nokia" + Separators(128));
  ASSERT_EQ(band.Moves().size(), 1U);
  EXPECT_EQ(band.Moves()[0].from, "Nokia&&");
}

TEST(UserAgentBand, RulesOfOneLengthGetLengthsOfTheirOwnAndTheFirstInByteOrderTheLongest) {
  UserAgentBand band;
  for (int i = 0; i < 100; ++i)
    band.Place("SM-" + std::to_string(100 + i * 37 % 100), std::nullopt);
  std::set<size_t> lengths;
  size_t before = kBandEnd + 1;
  for (int i = 0; i < 100; ++i) {
    const size_t length = band.Find("SM-" + std::to_string(100 + i))->size();
    EXPECT_LT(length, before);
    before = length;
    lengths.insert(length);
  }
  EXPECT_EQ(lengths.size(), 100U);
}

TEST(UserAgentBand, AMoreSpecificTextStaysAheadHoweverManyRulesThereAre) {
  for (const int count : {5, 60, 120, 500}) {
    UserAgentBand band;
    for (int i = 0; i < count; ++i)
      band.Place("SM-G" + std::to_string(1000 + i), std::nullopt);
    const size_t general = Placed(band, "SM-").size();
    const size_t specific = Placed(band, "SM-G1000 Build").size();
    for (int i = 0; i < count; ++i) {
      const std::string& key = *band.Find("SM-G" + std::to_string(1000 + i));
      EXPECT_LE(general, key.size());
      EXPECT_GE(specific, key.size());
      // Where they share a length the first in byte order wins.
      if (general == key.size()) {
        EXPECT_LT(key, *band.Find("SM-"));
      }
    }
    EXPECT_LT(general, specific);
  }
}

TEST(UserAgentBand, AMovableRuleGivesWayToAGivenPriority) {
  UserAgentBand band;
  band.Add("SM-G960F" + Separators(128), true);
  EXPECT_EQ(Placed(band, "Other", 8).size(), 136U);
  ASSERT_EQ(band.Moves().size(), 1U);
  EXPECT_NE(band.Moves()[0].to.size(), 136U);
  EXPECT_EQ(band.SharesLength(*band.Find("Other")), nullptr);
}

TEST(UserAgentBand, ARuleThatIsNotInEffectKeepsItsKey) {
  UserAgentBand band;
  band.Add("SM-G960F" + Separators(128), false);
  Placed(band, "SM-A520F");
  Placed(band, "Other", 8);
  EXPECT_TRUE(band.Moves().empty());
  ASSERT_NE(band.SharesLength(*band.Find("Other")), nullptr);
}

TEST(UserAgentBand, TextsThatDifferInCaseAloneHaveKeysThatDifferInMore) {
  UserAgentBand band;
  const std::string one = Placed(band, "Huawei", 5);
  const std::string other = Placed(band, "HUAWEI", 5);
  EXPECT_EQ(one, "Huawei&" + Separators(126));
  EXPECT_EQ(other, "HUAWEI&&&" + Separators(124));
  EXPECT_EQ(PriorityOf(other), 5U);
  EXPECT_EQ(PlainText(other), "HUAWEI");
  const std::string full(127, 'a');
  Placed(band, full);
  EXPECT_NO_THROW(Placed(band, std::string(127, 'A')));
}

// The Python client places its rules by the same file.
TEST(UserAgentBand, PlacesAreThoseOfEveryFrontEnd) {
  std::ifstream file(BYOD_BAND_CASES);
  ASSERT_TRUE(file);
  UserAgentBand band;
  size_t checked = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    std::istringstream fields(line);
    std::string word;
    std::string text;
    std::getline(fields, word, '\t');
    std::getline(fields, text, '\t');
    if (word == "remove") {
      ASSERT_NE(band.Find(text), nullptr) << text;
      band.Remove(std::string{*band.Find(text)});
    } else if (word == "place") {
      std::string priority;
      fields >> priority;
      band.Place(text, priority == "-"
                           ? std::nullopt
                           : std::optional(static_cast<unsigned>(std::stoul(priority))));
    } else {
      size_t length = 0;
      size_t marks = 0;
      fields >> length >> marks;
      std::string key = text + std::string(marks, '&');
      key.resize(length, '|');
      ASSERT_NE(band.Find(text), nullptr) << text;
      ASSERT_EQ(*band.Find(text), key);
      ++checked;
    }
  }
  EXPECT_GT(checked, 500U);
}

}  // namespace
}  // namespace byod::ctl
