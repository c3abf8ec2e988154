// SPDX-License-Identifier: Apache-2.0
// What the two tables of rules keyed by text do alike: the hash, the list in byte order, equal
// texts, over-long texts, and lists whose length differs from the count.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/containers/ranked_list.h"
#include "data/internal.h"
#include "support/rule_lists.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;
using Texts = std::vector<std::string>;

template <typename Rules>
class TextRuleTable : public RuleStoreTest {
 protected:
  using Rule = typename Rules::Rule;

  static Rule* Add(const std::string& text, uint32_t origin = BYOD_RULE_PREDEFINED) {
    Rule* rule = Rules::Alloc();
    rule->origin = origin;
    Fill(Rules::Text(*rule), text);
    EXPECT_EQ(Rules::Add(rule), 0u);
    return rule;
  }

  static Texts List() { return TextsOf<Rules>(InList<Rules>()); }
};
TYPED_TEST_SUITE(TextRuleTable, TextTables, TableNames);

TYPED_TEST(TextRuleTable, FindsWithoutRegardToCase) {
  auto* rule = this->Add("iPhone");
  EXPECT_EQ(TypeParam::Find("IPHONE"), rule);
  EXPECT_EQ(TypeParam::Find("iphone"), rule);
  EXPECT_EQ(TypeParam::Find("iPhon"), nullptr);
  EXPECT_EQ(TypeParam::Find("iPhone "), nullptr);
  EXPECT_EQ(TypeParam::Find(""), nullptr);
}

TYPED_TEST(TextRuleTable, DistinguishesBytesAbove127) {
  auto* rule = this->Add("\xC4");
  EXPECT_EQ(TypeParam::Find("\xC4"), rule);
  EXPECT_EQ(TypeParam::Find("\xE4"), nullptr);
}

TYPED_TEST(TextRuleTable, ListsByBytesUnsigned) {
  for (const char* text : {"ipad", "iPhone", "\xC4", "Android", "", "~", "9"})
    this->Add(text);
  EXPECT_EQ(this->List(), (Texts{"", "9", "Android", "iPhone", "ipad", "~", "\xC4"}));
}

TYPED_TEST(TextRuleTable, ListsTheSameHoweverTheRulesCome) {
  const Texts sorted = {"a", "b", "c", "d", "e", "f", "g", "h"};
  for (const auto& order : {Texts{"a", "b", "c", "d", "e", "f", "g", "h"},
                            Texts{"h", "g", "f", "e", "d", "c", "b", "a"},
                            Texts{"d", "h", "a", "c", "g", "b", "f", "e"}}) {
    for (const std::string& text : order)
      this->Add(text);
    EXPECT_EQ(this->List(), sorted);
    this->Reopen(BYOD_NO_RULE_LIMIT);
  }
}

TYPED_TEST(TextRuleTable, ChainsTheNewestRuleOfABucketFirst) {
  auto* first = this->Add("abc");
  auto* second = this->Add("ABC");
  auto* third = this->Add("aBc");
  EXPECT_EQ(InBucket<TypeParam>(byod_data_HashString("abc")),
            (std::vector<typename TypeParam::Rule*>{third, second, first}));
}

TYPED_TEST(TextRuleTable, FindsTheNewestOfRulesThatAreEqualWithoutCase) {
  auto* older = this->Add("abc");
  auto* newer = this->Add("ABC");
  EXPECT_EQ(TypeParam::Find("abc"), newer);
  EXPECT_EQ(TypeParam::Find("ABC"), newer);
  TypeParam::Erase(newer);
  EXPECT_EQ(TypeParam::Find("ABC"), older);
}

TYPED_TEST(TextRuleTable, RefusesNoEqualText) {
  auto* older = this->Add("abc");
  auto* newer = this->Add("abc");
  EXPECT_EQ(TypeParam::Count(), 2u);
  EXPECT_EQ(InList<TypeParam>(), (std::vector<typename TypeParam::Rule*>{older, newer}));
  TypeParam::AddFile("abc", Info("n"));
  EXPECT_EQ(TypeParam::Count(), 3u);
  EXPECT_EQ(InfoText(TypeParam::Find("abc")->predefined), "n///");
}

TYPED_TEST(TextRuleTable, PutsAnEqualTextBehindTheOneThatTheSearchMeets) {
  auto* a = this->Add("a");
  auto* b1 = this->Add("b");
  auto* b2 = this->Add("b");  // of a, b the steps are a, b: behind b
  auto* b3 = this->Add("b");  // of a, b, b the first step is b1: behind it
  EXPECT_EQ(InList<TypeParam>(), (std::vector<typename TypeParam::Rule*>{a, b1, b3, b2}));
}

TYPED_TEST(TextRuleTable, FindsTheRuleOfAnotherCaseInsteadOfMakingOne) {
  auto* rule = this->Add("abc");
  uint16_t created = 77;
  uint32_t err = 77;
  EXPECT_EQ(TypeParam::FindOrNew("ABC", BYOD_RULE_CUSTOM, &created, &err), rule);
  EXPECT_EQ(created, 0);
  EXPECT_EQ(err, 0u);
  EXPECT_STREQ(TypeParam::Text(*rule), "abc");
}

TYPED_TEST(TextRuleTable, DeletesWithoutRegardToCase) {
  this->Add("abc", BYOD_RULE_CUSTOM);
  TypeParam::Delete("ABC");
  EXPECT_EQ(TypeParam::Count(), 0u);
  auto* rule = this->Add("abc", BYOD_RULE_CUSTOM);
  rule->configured = NewInfo("n", "v");
  TypeParam::DeletePart(0, 0, "aBC");
  EXPECT_EQ(InfoText(rule->configured), "/v//");
}

TYPED_TEST(TextRuleTable, KeepsTextsOf255CharactersAndCutsLongerOnes) {
  for (const size_t length : {254u, 255u, 256u, 257u, 400u}) {
    const std::string text(length, 'x'), kept(std::min<size_t>(length, 255), 'x');
    auto* made = Make<TypeParam>(text, BYOD_RULE_CUSTOM);
    EXPECT_EQ(std::string(TypeParam::Text(*made)), kept);
    EXPECT_EQ(TypeParam::Find(kept), made);
    TypeParam::Erase(made);
    TypeParam::AddFile(text, Info("n"));
    auto* from_file = TypeParam::Find(kept);
    ASSERT_NE(from_file, nullptr);
    EXPECT_EQ(std::string(TypeParam::Text(*from_file)), kept);
    TypeParam::Erase(from_file);
  }
}

TYPED_TEST(TextRuleTable, MakesARuleAnewForEachOverLongTextAsTheCutOneIsNotEqual) {
  const std::string text(256, 'x');
  auto* first = Make<TypeParam>(text, BYOD_RULE_CUSTOM);
  auto* second = Make<TypeParam>(text, BYOD_RULE_CUSTOM);
  EXPECT_NE(first, second);
  EXPECT_EQ(TypeParam::Count(), 2u);
  EXPECT_EQ(TypeParam::Find(text), nullptr);
  uint16_t created = 77;
  uint32_t err = 77;
  EXPECT_EQ(TypeParam::FindOrNew(text.substr(1), BYOD_RULE_CUSTOM, &created, &err), second);
  EXPECT_EQ(created, 0);
}

TYPED_TEST(TextRuleTable, RefusesATextWithoutANul) {
  auto* rule = TypeParam::Alloc();
  Fill(TypeParam::Text(*rule), std::string(BYOD_RULETEXT_SIZE, 'x'));
  EXPECT_EQ(TypeParam::Add(rule), kFailed);
  EXPECT_EQ(TypeParam::Count(), 0u);
  EXPECT_EQ(this->List(), Texts{});
  TypeParam::Free(rule);
}

TYPED_TEST(TextRuleTable, RefusesARuleWhileTheStoreIsClosed) {
  BYOD_data_GlobalInfoFini();
  auto* rule = TypeParam::Alloc();
  Fill(TypeParam::Text(*rule), "abc");
  EXPECT_EQ(TypeParam::Add(rule), kFailed);
  EXPECT_EQ(TypeParam::Count(), 0u);
  EXPECT_EQ(TypeParam::Find("abc"), nullptr);
  TypeParam::Free(rule);
  uint16_t created = 77;
  uint32_t err = 0;
  EXPECT_EQ(TypeParam::FindOrNew("abc", BYOD_RULE_CUSTOM, &created, &err), nullptr);
  EXPECT_EQ(created, 0);
  EXPECT_EQ(err, kFailed);
}

TYPED_TEST(TextRuleTable, PagesByBytesAndCase) {
  for (const char* text : {"Android", "iPhone", "ipad"})
    this->Add(text);
  const auto next = [](const char* text) {
    auto* rule = TypeParam::Next(std::string(text));
    return rule != nullptr ? std::string(TypeParam::Text(*rule)) : "none";
  };
  EXPECT_EQ(next(""), "Android");
  EXPECT_EQ(next("Android"), "iPhone");
  EXPECT_EQ(next("android"), "iPhone");  // between Android and iPhone
  EXPECT_EQ(next("b"), "iPhone");
  EXPECT_EQ(next("iPhone"), "ipad");
  EXPECT_EQ(next("IPHONE"), "iPhone");
  EXPECT_EQ(next("ipad"), "none");
  EXPECT_EQ(next("z"), "none");
  EXPECT_EQ(next("A"), "Android");
}

TYPED_TEST(TextRuleTable, PagesBehindTheEqualTextThatTheSearchMeets) {
  auto* b1 = this->Add("b");
  auto* b2 = this->Add("b");
  auto* c = this->Add("c");
  EXPECT_EQ(TypeParam::Next("a"), b1);
  EXPECT_EQ(TypeParam::Next("b"), c);  // the search meets b2 first
  TypeParam::Erase(c);
  EXPECT_EQ(TypeParam::Next("b"), b2);  // and now b1
}

TYPED_TEST(TextRuleTable, UnlinksAnErasedRuleWhereverItStands) {
  std::vector<typename TypeParam::Rule*> rules;
  for (int position : {0, 1, 2}) {
    for (const char* text : {"a", "b", "c"})
      rules.push_back(this->Add(text));
    TypeParam::Erase(rules[static_cast<size_t>(position)]);
    Texts left = {"a", "b", "c"};
    left.erase(left.begin() + position);
    EXPECT_EQ(this->List(), left);
    rules.clear();
    this->Reopen(BYOD_NO_RULE_LIMIT);
  }
}

// ---------------------------------------------------------------- the count is not the length

TYPED_TEST(TextRuleTable, LeavesARuleOutOfTheListWhenTheCountReachesPastItsEnd) {
  auto* a = this->Add("a");
  TypeParam::Table().rule_count = 10;
  auto* b = this->Add("b", BYOD_RULE_CUSTOM);
  EXPECT_EQ(this->List(), Texts{"a"});
  EXPECT_EQ(b->list_link.next, nullptr);
  EXPECT_EQ(b->list_link.prev, nullptr);
  EXPECT_EQ(TypeParam::Find("b"), b);
  EXPECT_EQ(TypeParam::Count(), 11u);
  EXPECT_EQ(TypeParam::Table().custom_count, 1u);
  TypeParam::Erase(b);
  EXPECT_EQ(this->List(), Texts{"a"});
  EXPECT_EQ(TypeParam::Count(), 10u);
  EXPECT_EQ(TypeParam::Find("a"), a);
}

TYPED_TEST(TextRuleTable, PutsARuleWhereTheSearchEndsWhenTheCountIsSlightlyTooGreat) {
  for (const char* text : {"b", "d", "f"})
    this->Add(text);
  TypeParam::Table().rule_count = 5;  // steps: the 3rd, then the 1st or the 4th
  this->Add("c");                     // behind b
  TypeParam::Table().rule_count = 5;
  this->Add("z");  // steps: the 3rd, the 4th, and the 5th that is not there
  EXPECT_EQ(this->List(), (Texts{"b", "c", "d", "f"}));
}

TYPED_TEST(TextRuleTable, SearchesOnlyAsManyRulesAsItCounts) {
  for (const char* text : {"a", "b", "c", "d"})
    this->Add(text);
  TypeParam::Table().rule_count = 1;
  this->Add("z");  // behind a, the only one looked at
  EXPECT_EQ(this->List(), (Texts{"a", "z", "b", "c", "d"}));
}

TYPED_TEST(TextRuleTable, LeavesARuleOutOfAListThatItCountsNothingIn) {
  this->Add("a");
  TypeParam::Table().rule_count = 0;
  auto* b = this->Add("b");
  EXPECT_EQ(this->List(), Texts{"a"});
  EXPECT_EQ(TypeParam::Find("b"), b);
}

TYPED_TEST(TextRuleTable, MakesARuleTheHeadOfAnEmptyListWhateverItCounts) {
  TypeParam::Table().rule_count = 10;
  this->Add("a");
  EXPECT_EQ(this->List(), Texts{"a"});
  EXPECT_EQ(TypeParam::Count(), 11u);
}

TYPED_TEST(TextRuleTable, PagesToNoneWhenTheCountReachesPastTheEnd) {
  auto* a = this->Add("a");
  this->Add("b");
  TypeParam::Table().rule_count = 10;
  EXPECT_EQ(TypeParam::Next("a"), nullptr);
  EXPECT_EQ(TypeParam::Next(""), a);  // before the head: no search
}

TYPED_TEST(TextRuleTable, KeepsARuleWhoseTwinIsErasedWithoutHavingBeenAdded) {
  auto* kept = this->Add("abc");
  auto* twin = TypeParam::Alloc();
  Fill(TypeParam::Text(*twin), "ABC");
  TypeParam::Erase(twin);
  EXPECT_EQ(TypeParam::Count(), 0u);
  EXPECT_EQ(TypeParam::Find("abc"), kept);
  TypeParam::Table().rule_count = 1;
  EXPECT_EQ(TypeParam::Find("abc"), kept);
  EXPECT_EQ(this->List(), Texts{"abc"});
}

TYPED_TEST(TextRuleTable, FindsNoRuleThatOtherHandsTookOutOfItsChainWhenTheNewerOneIsErased) {
  auto* older = this->Add("abc");
  auto* newer = this->Add("abc");
  byod::data::Unlink(older->hash_link);
  older->hash_link = {};
  EXPECT_EQ(TypeParam::Find("abc"), newer);
  TypeParam::Erase(newer);
  EXPECT_EQ(TypeParam::Find("abc"), nullptr);
  TypeParam::Erase(older);
  EXPECT_EQ(TypeParam::Count(), 0u);
  EXPECT_EQ(this->List(), Texts{});
}

TYPED_TEST(TextRuleTable, WrapsTheCountsBelowZero) {
  auto* rule = this->Add("a", BYOD_RULE_CUSTOM);
  TypeParam::Table().rule_count = 0;
  TypeParam::Table().custom_count = 0;
  TypeParam::Erase(rule);
  EXPECT_EQ(TypeParam::Count(), UINT32_MAX);
  EXPECT_EQ(TypeParam::Table().custom_count, UINT32_MAX);
}

// ---------------------------------------------------------------- lists linked by callers

/// Links a rule in at a place of the list, as a caller that holds the list's head does.
template <typename Rule>
void LinkByHand(ByodLink** place, Rule& rule) {
  rule.list_link = {*place, place};
  if (*place != nullptr) (*place)->prev = &rule.list_link.next;
  *place = &rule.list_link;
}

void UnlinkByHand(ByodLink& link) {
  *link.prev = link.next;
  if (link.next != nullptr) link.next->prev = link.prev;
}

TYPED_TEST(TextRuleTable, SeesARuleThatWasLinkedBeforeTheHeadByHand) {
  this->Add("b");
  this->Add("d");
  typename TypeParam::Rule by_hand = {};
  Fill(TypeParam::Text(by_hand), "a");
  LinkByHand(TypeParam::List(), by_hand);
  TypeParam::Table().rule_count = 3;
  EXPECT_EQ(TypeParam::Next("a"), TypeParam::Find("b"));
  this->Add("aa");
  EXPECT_EQ(this->List(), (Texts{"a", "aa", "b", "d"}));
  UnlinkByHand(by_hand.list_link);
}

// A rule that was erased while another one, linked by hand, headed the list used to be searched
// again once the old head was back.
TYPED_TEST(TextRuleTable, ForgetsARuleThatIsErasedWhileAnotherHeadsTheListByHand) {
  for (const char* text : {"b", "c", "d"})
    this->Add(text);
  typename TypeParam::Rule by_hand = {};
  Fill(TypeParam::Text(by_hand), "a");
  LinkByHand(TypeParam::List(), by_hand);
  TypeParam::Erase(TypeParam::Find("c"));
  UnlinkByHand(by_hand.list_link);
  EXPECT_EQ(TypeParam::Count(), 2u);
  EXPECT_EQ(TypeParam::Next("b"), TypeParam::Find("d"));
  this->Add("c");
  EXPECT_EQ(this->List(), (Texts{"b", "c", "d"}));
}

TYPED_TEST(TextRuleTable, GoesOnWithAListThatWasEmptiedByHand) {
  for (const char* text : {"a", "b", "c"})
    this->Add(text);
  for (auto* rule : InList<TypeParam>()) {
    UnlinkByHand(rule->list_link);
    rule->list_link = {};
  }
  TypeParam::Table().rule_count = 0;
  EXPECT_EQ(TypeParam::First(), nullptr);
  this->Add("b");
  this->Add("a");
  EXPECT_EQ(this->List(), (Texts{"a", "b"}));
}

// A caller may change a rule's text; what the search compares is the text as it stands.
TYPED_TEST(TextRuleTable, ComparesTextsAsTheyStand) {
  this->Add("a");
  auto* c = this->Add("c");
  this->Add("e");
  Fill(TypeParam::Text(*c), "d");
  EXPECT_EQ(TypeParam::Next("c"), c);
  this->Add("c");
  EXPECT_EQ(this->List(), (Texts{"a", "c", "d", "e"}));
}

}  // namespace
