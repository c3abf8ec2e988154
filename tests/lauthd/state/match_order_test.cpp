// SPDX-License-Identifier: Apache-2.0
// User-Agent rules of one length: whatever the history of the table, they stand in one order.
#include "lauthd/state/match_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "lauthd/state/rule_cursor.h"
#include "lauthd/state/rule_state.h"
#include "support/failing_allocator.h"

namespace byod::lauthd {
namespace {

using Texts = std::vector<std::string>;

struct MatchOrder : testing::Test {
  void SetUp() override { ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u); }
  void TearDown() override { BYOD_data_GlobalInfoFini(); }

  static void Predefine(const std::string& keyword) {
    ByodDeviceInfo info = {};
    CopyText(info.name, keyword.c_str());
    BYOD_data_AddFileAgentRule(keyword.c_str(), &info);
  }

  /// Makes a custom rule whose name is its keyword.
  static ByodUserAgentRule* Add(const std::string& keyword) {
    uint16_t created = 0;
    uint32_t err = 0;
    auto* const rule =
        BYOD_data_FindOrNewUserAgentRule(keyword.c_str(), BYOD_RULE_CUSTOM, &created, &err);
    if (created == 1) {
      rule->configured = BYOD_data_CreateDeviceInfo(keyword.c_str(), "", "", "");
    }
    return rule;
  }

  static bool Set(const std::string& keyword) { return ArrangeMatchList(*Add(keyword)); }

  static void Delete(const std::string& keyword) { BYOD_data_DelUserAgentRule(keyword.c_str()); }

  /// The match list, and whether each rule has the information that it came with.
  static Texts List() {
    Texts texts;
    for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
         link = link->next) {
      const auto& rule = *reinterpret_cast<ByodUserAgentRule*>(
          reinterpret_cast<char*>(link) - offsetof(ByodUserAgentRule, match_link));
      const auto* const info = rule.origin == BYOD_RULE_CUSTOM ? rule.configured : rule.predefined;
      EXPECT_STREQ(info != nullptr ? info->name : "", rule.keyword);
      texts.push_back(rule.keyword);
    }
    return texts;
  }

  /// What the list is to be: predefined rules in the order of `loaded` behind the custom ones.
  static Texts Expected(const Texts& loaded, Texts custom) {
    std::ranges::sort(custom);
    custom.insert(custom.end(), loaded.begin(), loaded.end());
    Texts longest_first;
    for (size_t length = 20; length > 0; --length) {
      std::ranges::copy_if(custom, std::back_inserter(longest_first),
                           [length](const std::string& text) { return text.size() == length; });
    }
    return longest_first;
  }
};

TEST_F(MatchOrder, TheAdministratorsRulesStandFirstInByteOrder) {
  Predefine("mmmm");
  Predefine("aaaa");
  const Texts loaded = List();
  for (const char* const keyword : {"dddd", "zzzz", "bbbb", "longer", "cccc", "s"})
    ASSERT_TRUE(Set(keyword));
  EXPECT_EQ(List(), Expected(loaded, {"dddd", "zzzz", "bbbb", "longer", "cccc", "s"}));
}

TEST_F(MatchOrder, RandomHistoriesOfOneSetOfRulesEndInOneOrder) {
  std::mt19937 random(13);
  for (int round = 0; round < 300; ++round) {
    BYOD_data_GlobalInfoFini();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    const auto keyword = [&](char first) {
      std::string text(1 + random() % 4, first);
      text += std::to_string(random() % 90);
      return text;
    };
    for (size_t left = random() % 60; left > 0; --left)
      if (const std::string text = keyword('p'); !BYOD_data_FindUserAgentRule(text.c_str())) {
        Predefine(text);
      }
    const Texts loaded = List();
    Texts custom;
    const bool one_by_one = round % 2 == 0;
    for (int change = 0; change < 60; ++change) {
      if (!custom.empty() && random() % 3 == 0) {
        const size_t gone = random() % custom.size();
        Delete(custom[gone]);
        custom.erase(custom.begin() + static_cast<ptrdiff_t>(gone));
      } else if (const std::string text = keyword('c');
                 BYOD_data_FindUserAgentRule(text.c_str()) == nullptr) {
        custom.push_back(text);
        if (one_by_one) {
          ASSERT_TRUE(Set(text));
        } else {
          Add(text);
        }
      }
      if (one_by_one) {
        ASSERT_EQ(List(), Expected(loaded, custom));
      }
    }
    ASSERT_TRUE(ArrangeMatchList());
    ASSERT_EQ(List(), Expected(loaded, custom)) << "round " << round;
    EXPECT_EQ(BYOD_data_GetUserAgentRuleTbl()->custom_count, custom.size());
    EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), custom.size() + loaded.size());
    for (const std::string& text : custom)
      EXPECT_NE(BYOD_data_FindUserAgentRule(text.c_str()), nullptr);
  }
}

TEST_F(MatchOrder, TheLimitOfCustomRulesIsNoHindrance) {
  BYOD_data_GlobalInfoFini();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(4), 0u);
  Predefine("pppp");
  const Texts loaded = List();
  for (const char* const keyword : {"dddd", "cccc", "bbbb", "aaaa"})
    Add(keyword);
  ASSERT_TRUE(ArrangeMatchList());
  EXPECT_EQ(List(), Expected(loaded, {"dddd", "cccc", "bbbb", "aaaa"}));
  EXPECT_EQ(Byod_GetCustomRuleCount(), 4u);
  uint16_t created = 0;
  uint32_t err = 0;
  BYOD_data_FindOrNewUserAgentRule("eeee", BYOD_RULE_CUSTOM, &created, &err);
  EXPECT_EQ(err, uint32_t{BYOD_ERR_RULE_LIMIT});
}

TEST_F(MatchOrder, AListingGoesOnWhereItWas) {
  for (const char* const keyword : {"dddd", "bbbb", "cccc"})
    Add(keyword);
  RuleCursor<UserAgentKind> cursor;
  cursor.Advance();
  Add("aaaa");
  ASSERT_TRUE(ArrangeMatchList());
  Texts given;
  for (; cursor.Here() != nullptr; cursor.Advance())
    given.push_back(cursor.Here()->keyword);
  EXPECT_EQ(given, (Texts{"cccc", "dddd"}));
}

TEST_F(MatchOrder, WithoutMemoryEverythingIsAsBefore) {
  uint32_t refused = 0;
  for (uint32_t nth = 1;; ++nth) {
    BYOD_data_GlobalInfoFini();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(5), 0u);
    for (int i = 0; i < 40; ++i)
      Predefine("p" + std::to_string(100 + i));
    const Texts loaded = List();
    const Texts custom = {"dddd", "bbbb", "cccc", "aaaa", "eeee"};
    for (const std::string& keyword : custom)
      Add(keyword);
    const Texts before = List();
    support::FailingAllocation failing(nth);
    const bool arranged = ArrangeMatchList();
    failing.Disarm();
    ASSERT_EQ(List(), arranged ? Expected(loaded, custom) : before) << nth;
    ASSERT_EQ(Byod_GetCustomRuleCount(), 5u);
    ASSERT_EQ(BYOD_data_GetUserAgentRuleCount(), 45u);
    if (!failing.Failed()) break;
    refused += !arranged;
  }
  EXPECT_GT(refused, 5u);
}

}  // namespace
}  // namespace byod::lauthd
