// SPDX-License-Identifier: Apache-2.0
// The index against the walk through the match list, which it must answer like in every case.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "byod_data.h"
#include "data/containers/word_hash.h"
#include "data/rule_store.h"
#include "data/user_agent/first_match.h"
#include "data/user_agent/match_link.h"
#include "support/emulation.h"
#include "support/equal_hashes.h"
#include "support/failing_allocator.h"
#include "support/object_bytes.h"
#include "support/random_expressions.h"

namespace {

using byod::data::FirstMatch;
using byod::data::FirstMatchByWalking;
using byod::data::store;
using support::RandomExpressions;

ByodUserAgentRule* NewRule(const std::string& keyword) {
  ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
  std::strncpy(rule->keyword, keyword.c_str(), sizeof rule->keyword - 1);
  return rule;
}

ByodUserAgentRule* Add(const std::string& keyword) {
  ByodUserAgentRule* const rule = NewRule(keyword);
  EXPECT_EQ(BYOD_AddUserAgentRule(rule), 0u);
  return rule;
}

std::vector<const ByodUserAgentRule*> MatchList() {
  std::vector<const ByodUserAgentRule*> rules;
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr; link = link->next)
    rules.push_back(byod::data::RuleOfMatchLink(link));
  return rules;
}

class UserAgentIndex : public testing::Test {
 protected:
  UserAgentIndex() { EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u); }
  ~UserAgentIndex() override { BYOD_data_GlobalInfoFini(); }

  /// What the index answers, after making sure that it is the index that is asked.
  const ByodUserAgentRule* Indexed(const char* ua) {
    EXPECT_TRUE(store.match_list.Mirrored());
    return store.user_agent_index.Find(ua);
  }

  void ExpectAsByWalking(const std::string& ua) {
    const auto* const walked = FirstMatchByWalking(ua.c_str());
    const auto* const indexed = Indexed(ua.c_str());
    EXPECT_EQ(indexed, walked) << "for \"" << ua << "\": index "
                               << (indexed != nullptr ? indexed->keyword : "none") << ", walk "
                               << (walked != nullptr ? walked->keyword : "none");
  }
};

TEST_F(UserAgentIndex, KnowsNothingWhenEmpty) {
  EXPECT_EQ(Indexed("Mozilla/5.0"), nullptr);
  EXPECT_EQ(Indexed(""), nullptr);
}

TEST_F(UserAgentIndex, LongestExpressionWins) {
  Add("iPhone");
  const auto* const longer = Add("iPhone OS&&Mobile");
  Add("Android");
  EXPECT_EQ(Indexed("iPhone; CPU iPhone OS 15_0 Mobile/15E148"), longer);
}

TEST_F(UserAgentIndex, ExpressionWithoutTermsMatchesEverythingButLast) {
  const auto* const empty = Add("");
  const auto* const android = Add("Android");
  EXPECT_EQ(Indexed("Linux; Android 9"), android);
  EXPECT_EQ(Indexed("curl"), empty);
  EXPECT_EQ(Indexed(""), empty);
}

TEST_F(UserAgentIndex, AlternativeWithoutTermsMatchesEverything) {
  const auto* const rule = Add("never to be seen||&&");
  Add("curl");
  EXPECT_EQ(Indexed("curl"), rule);
}

TEST_F(UserAgentIndex, TermsOfOneToThreeBytesAreFoundAlsoAtTheEnd) {
  const auto* const three = Add("LG-");
  const auto* const two = Add("LG");
  const auto* const one = Add("x");
  EXPECT_EQ(Indexed("an LG-"), three);
  EXPECT_EQ(Indexed("LG"), two);
  EXPECT_EQ(Indexed("a box"), one);
  EXPECT_EQ(Indexed("nothing L G"), nullptr);
}

TEST_F(UserAgentIndex, CaseCountsAndBytesAbove127AreBytes) {
  const auto* const rule = Add("\xC3\x84pfel&&\xFF");
  EXPECT_EQ(Indexed("ein \xC3\x84pfel \xFF"), rule);
  EXPECT_EQ(Indexed("ein \xC3\xA4pfel \xFF"), nullptr);
  EXPECT_EQ(Indexed("ein \xC3\x84PFEL \xFF"), nullptr);
}

TEST_F(UserAgentIndex, TermAsLongAsARuleMayBeIsFoundInAStringOfAnyLength) {
  const std::string term(255, 'y');
  const auto* const rule = Add(term);
  EXPECT_EQ(Indexed(term.c_str()), rule);
  EXPECT_EQ(Indexed((std::string(700, 'x') + term).c_str()), rule);
  EXPECT_EQ(Indexed(std::string(254, 'y').c_str()), nullptr);
}

TEST_F(UserAgentIndex, TermAcrossEveryBlockBorderIsFound) {
  const auto* const rule = Add("border");
  for (size_t before = 0; before < 800; ++before)
    ASSERT_EQ(Indexed((std::string(before, '-') + "border").c_str()), rule) << before;
}

TEST_F(UserAgentIndex, TermOfEveryLengthIsFoundAtEveryPlaceAndNowhereElse) {
  // Bytes that do not repeat, so that only the whole term is the term.
  std::string letters;
  for (int i = 0; i < 40; ++i)
    letters += static_cast<char>('A' + i);
  for (size_t length = 1; length <= letters.size(); ++length) {
    const std::string term = letters.substr(0, length);
    auto* const rule = Add(term);
    for (size_t before = 0; before < 20; ++before) {
      for (size_t behind = 0; behind < 3; ++behind) {
        const std::string ua = std::string(before, '-') + term + std::string(behind, '-');
        ASSERT_EQ(Indexed(ua.c_str()), rule) << ua;
        for (size_t broken = before; broken < before + length; ++broken) {
          std::string other = ua;
          other[broken] = '~';
          ASSERT_EQ(Indexed(other.c_str()), nullptr) << other;
        }
      }
    }
    BYOD_DeleteUserAgent(rule);
  }
}

TEST_F(UserAgentIndex, TermsOfWhichEveryPieceIsCommonAreFound) {
  const auto* const whole = Add("AppleWebKit/537.36 (KHTML, like Gecko)");
  const auto* const part = Add("AppleWebKit/537.3");
  const auto* const mobile = Add("Mobile");
  const std::string ua =
      "Mozilla/5.0 (Linux; Android 4.0) AppleWebKit/537.36 (KHTML, like Gecko) Mo";
  EXPECT_EQ(Indexed(ua.c_str()), whole);
  EXPECT_EQ(Indexed(ua.substr(0, ua.find(" (KHTML")).c_str()), part);
  EXPECT_EQ(Indexed((ua.substr(0, ua.find(" Apple")) + " Mobile").c_str()), mobile);
  EXPECT_EQ(Indexed("Mozilla/5.0 (Linux; Android 4.0)"), nullptr);
}

TEST_F(UserAgentIndex, FindsWhatIsLeftAfterManyRulesHaveLeft) {
  // More leave than the filters bear before they are filled from scratch, of every kind of term.
  const auto* const stays = Add("SM-G960F||M8||q||Pi3||Nova");
  for (int i = 0; i < 2000; ++i) {
    const std::string number = std::to_string(i);
    ByodUserAgentRule* const leaves[] = {Add("model " + number), Add(number.substr(0, i % 3 + 1)),
                                         Add({static_cast<char>('A' + i % 50)})};
    ASSERT_NE(Indexed(("model " + number).c_str()), nullptr);
    for (ByodUserAgentRule* const rule : leaves)
      BYOD_DeleteUserAgent(rule);
    ASSERT_EQ(Indexed(("MODEL " + number).c_str()), nullptr) << i;
    for (const char* const ua : {"a SM-G960F", "M8", "a  M8", "sq", "Pi3", " Pi3", "Nova", "-Nova"})
      ASSERT_EQ(Indexed(ua), stays) << ua;
  }
}

TEST_F(UserAgentIndex, AnswersWithoutAllocating) {
  RandomExpressions random(3);
  for (int i = 0; i < 300; ++i)
    Add(random.Expression());
  std::vector<std::string> strings = {std::string(3000, 'x')};
  for (int i = 0; i < 300; ++i)
    strings.push_back(random.UserAgent());
  size_t found = 0;
  support::FailingAllocation none(0);
  for (const std::string& ua : strings)
    found += FirstMatch(ua.c_str()) != nullptr;
  EXPECT_EQ(none.Count(), 0u);
  none.Disarm();
  EXPECT_GT(found, 0u);
}

TEST_F(UserAgentIndex, RulesOfEqualLengthAreTriedInTheOrderOfTheList) {
  std::vector<ByodUserAgentRule*> rules;
  for (int i = 0; i < 40; ++i)
    rules.push_back(Add({static_cast<char>('a' + i % 20), static_cast<char>('A' + i / 20)}));
  std::string all;
  for (const auto* const rule : rules)
    all += rule->keyword;
  while (!rules.empty()) {
    ASSERT_EQ(Indexed(all.c_str()), MatchList().front());
    const auto* const first = MatchList().front();
    std::erase(rules, first);
    BYOD_DeleteUserAgent(const_cast<ByodUserAgentRule*>(first));
  }
  EXPECT_EQ(Indexed(all.c_str()), nullptr);
}

TEST_F(UserAgentIndex, ManyRulesBetweenTheSameNeighboursKeepTheirOrder) {
  // Equal expressions land side by side, so the labels between their neighbours run out.
  RandomExpressions random(7);
  std::vector<ByodUserAgentRule*> rules;
  for (int i = 0; i < 3000; ++i) {
    rules.push_back(Add(i % 3 == 0 ? "same" : i % 3 == 1 ? "twin" : "longer"));
    ASSERT_EQ(Indexed("same"), FirstMatchByWalking("same")) << i;
    ASSERT_EQ(Indexed("twin same"), FirstMatchByWalking("twin same")) << i;
  }
  while (!rules.empty()) {
    const size_t which = random.Below(static_cast<uint32_t>(rules.size()));
    BYOD_DeleteUserAgent(rules[which]);
    rules.erase(rules.begin() + static_cast<ptrdiff_t>(which));
    ASSERT_EQ(Indexed("same twin longer"), FirstMatchByWalking("same twin longer"));
  }
}

TEST_F(UserAgentIndex, RulesInFrontOfAListThatWasTakenOverKeepTheirOrder) {
  std::vector<ByodUserAgentRule*> foreign = {NewRule("Android"), NewRule("ndroid"),
                                             NewRule("droid")};
  for (size_t i = foreign.size(); i-- > 0;)
    byod::data::LinkAt(*BYOD_data_GetUserAgentRuleMatchList(), foreign[i]->match_link);
  BYOD_data_GetUserAgentRuleTbl()->rule_count = 3;
  const auto* const shortest = Add("id");  // takes the list over
  ASSERT_EQ(MatchList().back(), shortest);
  std::string text = "Android";
  for (int i = 0; i < 100; ++i) {
    const auto* const longest = Add(text + "&&A");
    ASSERT_EQ(MatchList().front(), longest);
    EXPECT_EQ(Indexed("Android"), longest);
    text += "&&A";
    if (text.size() > 240) break;
  }
  ExpectAsByWalking("ndroid");
  ExpectAsByWalking("droid");
  ExpectAsByWalking("id");
  for (ByodUserAgentRule* const rule : foreign)
    BYOD_DeleteUserAgent(rule);
}

TEST_F(UserAgentIndex, TermsWithEqualHashesAreDistinguished) {
  const auto pairs = byod::test::PairsWithEqualHashes('t', [](const std::string& term) {
    return byod::data::HashOfText(term.data(), term.size());
  });
  EXPECT_GT(pairs.size(), 0u);
  for (const auto& [term, other] : pairs) {
    ByodUserAgentRule* const rule = Add(term);
    EXPECT_EQ(Indexed(other.c_str()), nullptr);
    ByodUserAgentRule* const second = Add(other);
    EXPECT_EQ(Indexed(term.c_str()), rule);
    EXPECT_EQ(Indexed(other.c_str()), second);
    BYOD_DeleteUserAgent(rule);
    EXPECT_EQ(Indexed(term.c_str()), nullptr);
    EXPECT_EQ(Indexed(other.c_str()), second);
    BYOD_DeleteUserAgent(second);
  }
}

TEST_F(UserAgentIndex, AnExpressionHoldsAsManyTermsAsFitIntoIt) {
  for (const char separator : {'|', '&'}) {
    std::string keyword(BYOD_RULETEXT_SIZE - 1, separator);
    for (size_t i = 0; i < keyword.size(); i += 2)
      keyword[i] = static_cast<char>('0' + i / 2 % 70);
    ByodUserAgentRule* const rule = Add(keyword);
    EXPECT_EQ(Indexed("..0.."), separator == '|' ? rule : nullptr);
    EXPECT_EQ(Indexed("~"), nullptr);
    EXPECT_EQ(Indexed(keyword.c_str()), rule);
    BYOD_DeleteUserAgent(rule);
    EXPECT_EQ(Indexed(keyword.c_str()), nullptr);
  }
}

TEST_F(UserAgentIndex, TermsOfOneRepeatedByteComeAndGo) {
  // Both of such a term's grams are the same, so only their notes differ.
  std::mt19937 random(1);
  for (int round = 0; round < 10; ++round) {
    std::vector<std::string> terms;
    for (char c = '0'; c <= 'z'; ++c) {
      terms.emplace_back(5, c);
      if (random() % 2 == 0) terms.emplace_back(2, c);
    }
    std::shuffle(terms.begin(), terms.end(), random);
    std::vector<ByodUserAgentRule*> rules;
    for (const std::string& term : terms)
      rules.push_back(Add(term));
    std::shuffle(rules.begin(), rules.end(), random);
    for (ByodUserAgentRule* const rule : rules) {
      const std::string term = rule->keyword;
      EXPECT_EQ(Indexed(term.c_str()), rule);
      BYOD_DeleteUserAgent(rule);
      ExpectAsByWalking(term);
    }
    BYOD_data_GlobalInfoFini();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  }
}

TEST_F(UserAgentIndex, ClosingTheStoreGivesAllMemoryBack) {
  std::string many;  // terms, more than fit into the pool's pieces
  for (char c = '0'; c <= 'z'; ++c)
    many += std::string(1, c) + "||";
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  Add("Android&&Mobile");
  Add(many);
  BYOD_DeleteUserAgent(Add(many + "Android"));
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(support::LiveAllocations(), before);
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
}

TEST_F(UserAgentIndex, ReportsItsSizeWhichGrowsByEachRule) {
  EXPECT_EQ(store.user_agent_index.bytes(), 0u);
  Add("Android&&Mobile");
  const size_t one = store.user_agent_index.bytes();
  EXPECT_GE(one, std::strlen("Android") + std::strlen("Mobile"));
  ByodUserAgentRule* const second = Add(std::string(200, 'x') + "&&Android");
  const size_t two = store.user_agent_index.bytes();
  EXPECT_GE(two, one + 200);
  EXPECT_LT(two, one + 400);  // the term that both have is kept once
  BYOD_DeleteUserAgent(second);
  EXPECT_EQ(store.user_agent_index.bytes(), one);
}

TEST_F(UserAgentIndex, AnswersAsTheWalkWhileRulesComeAndGo) {
  for (uint32_t seed = 1; seed <= 12; ++seed) {
    RandomExpressions random(seed);
    std::vector<ByodUserAgentRule*> rules;
    const size_t aim = seed % 4 == 0 ? 600 : seed % 4 == 1 ? 5 : 60;
    for (int step = 0; step < support::StepsHere(10000); ++step) {
      const bool grow = rules.size() < aim ? random.Below(4) != 0 : random.Below(4) == 0;
      if (grow) {
        rules.push_back(Add(random.Expression()));
      } else if (!rules.empty()) {
        const size_t which = random.Below(static_cast<uint32_t>(rules.size()));
        BYOD_DeleteUserAgent(rules[which]);
        rules[which] = rules.back();
        rules.pop_back();
      }
      ExpectAsByWalking(random.UserAgent());
      if (HasFailure()) FAIL() << "seed " << seed << ", step " << step;
    }
    for (ByodUserAgentRule* const rule : rules)
      BYOD_DeleteUserAgent(rule);
    EXPECT_EQ(MatchList().size(), 0u);
    EXPECT_EQ(Indexed("Android iPhone LG x"), nullptr);
  }
}

TEST_F(UserAgentIndex, FollowsTheListWhenTheCountIsNotItsLength) {
  RandomExpressions random(99);
  for (int round = 0; round < 300; ++round) {
    std::vector<ByodUserAgentRule*> rules;
    for (int i = 0; i < 30; ++i) {
      rules.push_back(Add(random.Expression()));
      // Too few: the rule lands out of order. Too many: it is left out of the list.
      if (random.Below(3) == 0) BYOD_data_GetUserAgentRuleTbl()->rule_count = random.Below(40);
      ExpectAsByWalking(random.UserAgent());
    }
    for (ByodUserAgentRule* const rule : rules) {
      BYOD_DeleteUserAgent(rule);
      ExpectAsByWalking(random.UserAgent());
    }
    BYOD_data_GetUserAgentRuleTbl()->rule_count = 0;
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

TEST_F(UserAgentIndex, TakesOverAListThatOtherHandsLinked) {
  Add("Android&&Mobile");
  ByodUserAgentRule* const foreign = NewRule("a foreign rule at the head");
  byod::data::LinkAt(*BYOD_data_GetUserAgentRuleMatchList(), foreign->match_link);
  ++BYOD_data_GetUserAgentRuleTbl()->rule_count;
  const char* const ua = "Android Mobile a foreign rule at the head";
  EXPECT_FALSE(store.match_list.Mirrored());
  EXPECT_EQ(FirstMatch(ua), foreign);

  Add("Android");
  ExpectAsByWalking(ua);
  ExpectAsByWalking("Android Mobile");
  BYOD_DeleteUserAgent(foreign);
  ExpectAsByWalking(ua);
}

TEST_F(UserAgentIndex, ForgetsAListThatChangedWhileARuleIsDeleted) {
  ByodUserAgentRule* const rule = Add("Android&&Mobile");
  ByodUserAgentRule* const other = Add("Android");
  ByodUserAgentRule* const foreign = NewRule("foreign");
  byod::data::LinkAt(*BYOD_data_GetUserAgentRuleMatchList(), foreign->match_link);
  BYOD_DeleteUserAgent(rule);
  EXPECT_EQ(FirstMatch("Android Mobile"), other);
  byod::data::Unlink(foreign->match_link);
  BYOD_data_FreeUserAgentRule(foreign);
  EXPECT_EQ(FirstMatch("Android Mobile"), other);
  Add("Mobile");
  ExpectAsByWalking("Android Mobile");
}

TEST_F(UserAgentIndex, AddWithoutMemoryFailsAndChangesNothing) {
  RandomExpressions random(5);
  std::vector<std::string> expressions = {"Android&&SM-G960F||iPad", "", "x", "a&&b&&c||d"};
  for (int i = 0; i < 40; ++i)
    expressions.push_back(random.Expression());
  for (const std::string& expression : expressions) {
    ByodUserAgentRule* const rule = NewRule(expression);
    const std::string before = support::BytesOf(*rule);
    const auto list = MatchList();
    const uint32_t count = BYOD_data_GetUserAgentRuleCount();
    for (uint32_t failing = 1;; ++failing) {
      ASSERT_LT(failing, 200u);
      uint32_t result = 0;
      bool failed = false;
      {
        support::FailingAllocation allocation(failing);
        result = BYOD_AddUserAgentRule(rule);
        failed = allocation.Failed();
      }
      if (!failed) {
        ASSERT_EQ(result, 0u);
        break;
      }
      ASSERT_EQ(result, static_cast<uint32_t>(BYOD_ERR_FAILED));
      ASSERT_EQ(support::BytesOf(*rule), before);
      ASSERT_EQ(MatchList(), list);
      ASSERT_EQ(BYOD_data_GetUserAgentRuleCount(), count);
      ASSERT_EQ(BYOD_data_FindUserAgentRule("no such rule"), nullptr);
      for (int i = 0; i < 5; ++i)
        ExpectAsByWalking(random.UserAgent());
    }
    for (int i = 0; i < 5; ++i)
      ExpectAsByWalking(random.UserAgent());
  }
}

TEST_F(UserAgentIndex, RuleWithoutMemoryIsRefusedWhereOtherHandsLinkedTheFirstOnes) {
  ByodUserAgentRule* const foreign = NewRule("Android");
  byod::data::LinkAt(*BYOD_data_GetUserAgentRuleList(), foreign->list_link);
  BYOD_data_GetUserAgentRuleTbl()->rule_count = 1;
  ByodUserAgentRule* const rule = NewRule("iPad");
  uint32_t failing = 1;
  for (;; ++failing) {
    ASSERT_LT(failing, 200u);
    support::FailingAllocation allocation(failing);
    const uint32_t result = BYOD_AddUserAgentRule(rule);
    if (!allocation.Failed()) break;
    ASSERT_EQ(result, static_cast<uint32_t>(BYOD_ERR_FAILED));
    ASSERT_EQ(*BYOD_data_GetUserAgentRuleList(), &foreign->list_link);
    ASSERT_EQ(foreign->list_link.next, nullptr);
  }
  EXPECT_GT(failing, 1u);
  EXPECT_EQ(foreign->list_link.next, &rule->list_link);
  BYOD_DeleteUserAgent(foreign);
}

TEST_F(UserAgentIndex, TakingOverAListWithoutMemoryLeavesTheWalk) {
  ByodUserAgentRule* const first = NewRule("Android&&Mobile||iPad");
  ByodUserAgentRule* const second = NewRule("Nexus 5||x&&y");
  byod::data::LinkAt(*BYOD_data_GetUserAgentRuleMatchList(), second->match_link);
  byod::data::LinkAt(*BYOD_data_GetUserAgentRuleMatchList(), first->match_link);
  BYOD_data_GetUserAgentRuleTbl()->rule_count = 2;
  ByodUserAgentRule* const rule = NewRule("SM-G960F");
  for (uint32_t failing = 1;; ++failing) {
    ASSERT_LT(failing, 200u);
    uint32_t result = 0;
    bool failed = false;
    {
      support::FailingAllocation allocation(failing);
      result = BYOD_AddUserAgentRule(rule);
      failed = allocation.Failed();
    }
    EXPECT_EQ(FirstMatch("an iPad"), first);
    EXPECT_EQ(FirstMatch("y x"), second);
    if (!failed) break;
    ASSERT_EQ(result, static_cast<uint32_t>(BYOD_ERR_FAILED));
    EXPECT_EQ(FirstMatch("SM-G960F"), nullptr);
  }
  ExpectAsByWalking("SM-G960F");
  BYOD_DeleteUserAgent(first);
  BYOD_DeleteUserAgent(second);
}

}  // namespace
