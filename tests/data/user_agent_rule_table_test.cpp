// SPDX-License-Identifier: Apache-2.0
// The User-Agent rules: the match list, and paging that starts at a rule of any case.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/rule_lists.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;
using Keywords = std::vector<std::string>;

class UserAgentRuleTable : public RuleStoreTest {
 protected:
  static ByodUserAgentRule* Add(const std::string& keyword) {
    ByodUserAgentRule* rule = BYOD_data_AllocUserAgentRule();
    Fill(rule->keyword, keyword);
    EXPECT_EQ(BYOD_AddUserAgentRule(rule), 0u);
    return rule;
  }
  static Keywords MatchList() { return TextsOf<UserAgentRules>(InMatchList()); }
  static ByodUserAgentRule* Next(const char* keyword) { return BYOD_data_GetNextUARule(keyword); }
  static void SetCount(uint32_t count) { BYOD_data_GetUserAgentRuleTbl()->rule_count = count; }
};

TEST_F(UserAgentRuleTable, TriesTheLongestKeywordFirst) {
  for (const char* keyword : {"iPhone", "iPhone OS&&Mobile", "Android"})
    Add(keyword);
  EXPECT_EQ(MatchList(), (Keywords{"iPhone OS&&Mobile", "Android", "iPhone"}));
}

TEST_F(UserAgentRuleTable, TriesTheLongestKeywordFirstHoweverTheRulesCome) {
  const Keywords longest_first = {"a||a||a||a", "a&&aaa", "aaaa", "aa", ""};
  for (const auto& order : {Keywords{"", "aa", "aaaa", "a&&aaa", "a||a||a||a"},
                            Keywords{"a||a||a||a", "a&&aaa", "aaaa", "aa", ""},
                            Keywords{"aaaa", "a||a||a||a", "", "a&&aaa", "aa"}}) {
    for (const std::string& keyword : order)
      Add(keyword);
    EXPECT_EQ(MatchList(), longest_first);
    Reopen(BYOD_NO_RULE_LIMIT);
  }
}

TEST_F(UserAgentRuleTable, PutsAKeywordBehindTheOneOfItsLengthThatTheSearchMeets) {
  Add("b1");
  Add("b2");  // behind b1
  EXPECT_EQ(MatchList(), (Keywords{"b1", "b2"}));
  Add("b3");  // the first of two is met first: behind b1
  EXPECT_EQ(MatchList(), (Keywords{"b1", "b3", "b2"}));
  Add("b4");  // of three the second
  EXPECT_EQ(MatchList(), (Keywords{"b1", "b3", "b4", "b2"}));
  Add("long");
  Add("b5");  // of long, b1, b3, b4, b2 the third
  EXPECT_EQ(MatchList(), (Keywords{"long", "b1", "b3", "b5", "b4", "b2"}));
}

TEST_F(UserAgentRuleTable, FindsIPhoneByIPHONEAndStillListsByByte) {
  for (const char* keyword : {"ipad", "iPhone", "Android"})
    Add(keyword);
  ASSERT_NE(BYOD_data_FindUserAgentRule("IPHONE"), nullptr);
  EXPECT_STREQ(BYOD_data_FindUserAgentRule("IPHONE")->keyword, "iPhone");
  EXPECT_EQ(TextsOf<UserAgentRules>(InList<UserAgentRules>()),
            (Keywords{"Android", "iPhone", "ipad"}));
}

TEST_F(UserAgentRuleTable, UnlinksAnErasedRuleFromTheMatchListWhereverItStands) {
  for (const size_t position : {0u, 1u, 2u}) {
    const std::vector<ByodUserAgentRule*> rules = {Add("aaa"), Add("aa"), Add("a")};
    Keywords left = {"aaa", "aa", "a"};
    BYOD_DeleteUserAgent(rules[position]);
    left.erase(left.begin() + static_cast<ptrdiff_t>(position));
    EXPECT_EQ(MatchList(), left);
    Reopen(BYOD_NO_RULE_LIMIT);
  }
}

TEST_F(UserAgentRuleTable, LeavesARuleOutOfTheMatchListWhenTheCountReachesPastItsEnd) {
  Add("aa");
  SetCount(10);
  ByodUserAgentRule* rule = Add("aaa");
  EXPECT_EQ(MatchList(), Keywords{"aa"});
  EXPECT_EQ(rule->match_link.prev, nullptr);
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent("aaa", &attr), 0u);  // by the rule aa
  BYOD_DeleteUserAgent(rule);
  EXPECT_EQ(MatchList(), Keywords{"aa"});
}

TEST_F(UserAgentRuleTable, SearchesTheListsWithTheSameCountButEachByItself) {
  Add("bbb");
  Add("cc");
  Add("d");
  SetCount(5);  // steps: the 3rd, then the 1st or the 4th
  Add("aaaa");  // in both lists before the first
  EXPECT_EQ(MatchList(), (Keywords{"aaaa", "bbb", "cc", "d"}));
  SetCount(6);  // steps: the 3rd, then the 1st, or the 5th that is not there
  Add("a");     // before all keywords, but behind all lengths
  EXPECT_EQ(TextsOf<UserAgentRules>(InList<UserAgentRules>()),
            (Keywords{"a", "aaaa", "bbb", "cc", "d"}));
  EXPECT_EQ(MatchList(), (Keywords{"aaaa", "bbb", "cc", "d"}));
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent("a", &attr), kFailed);
}

TEST_F(UserAgentRuleTable, SearchesOnlyAsManyLengthsAsItCounts) {
  for (const char* keyword : {"aaaa", "aaa", "aa"})
    Add(keyword);
  SetCount(1);
  Add("a");  // behind aaaa, the only one looked at
  EXPECT_EQ(MatchList(), (Keywords{"aaaa", "a", "aaa", "aa"}));
}

TEST_F(UserAgentRuleTable, PagesFromARuleOfAnyCase) {
  ByodUserAgentRule* android = Add("Android");
  ByodUserAgentRule* iphone = Add("iPhone");
  ByodUserAgentRule* ipad = Add("ipad");
  EXPECT_EQ(Next(""), android);
  EXPECT_EQ(Next("ANDROID"), iphone);
  EXPECT_EQ(Next("IPHONE"), ipad);  // by bytes alone it would be iPhone
  EXPECT_EQ(BYOD_data_GetNextUserAgentRule("IPHONE"), iphone);
  EXPECT_EQ(Next("IPAD"), nullptr);
  EXPECT_EQ(Next("B"), iphone);  // no such rule: by bytes
  EXPECT_EQ(Next("z"), nullptr);
}

TEST_F(UserAgentRuleTable, PagesFromTheNewestOfEqualRules) {
  ByodUserAgentRule* upper = Add("ABC");
  Add("abc");
  ByodUserAgentRule* z = Add("z");
  EXPECT_EQ(Next("abc"), z);
  BYOD_DeleteUserAgent(BYOD_data_FindUserAgentRule("abc"));
  ByodUserAgentRule* lower = Add("abc");
  Add("ABC");  // newest: stands next to the other ABC
  EXPECT_EQ(Next("abc"), lower);
  EXPECT_NE(Next("abc"), upper);
}

TEST_F(UserAgentRuleTable, PagesFromTheEmptyKeywordToTheFirstRuleEvenIfThatIsEmpty) {
  ByodUserAgentRule* empty = Add("");
  ByodUserAgentRule* a = Add("a");
  // The empty keyword is not looked up; it is equal to the first rule, so the next one is returned.
  EXPECT_EQ(Next(""), a);
  EXPECT_EQ(BYOD_data_GetNextUserAgentRule(""), a);
  EXPECT_EQ(BYOD_data_FindUserAgentRule(""), empty);
}

TEST_F(UserAgentRuleTable, PagesToNoneFromARuleThatWasLeftOutOfTheList) {
  Add("a");
  SetCount(10);
  Add("b");
  SetCount(2);
  Add("c");
  EXPECT_EQ(Next("B"), nullptr);
}

}  // namespace
