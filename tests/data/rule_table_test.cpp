// SPDX-License-Identifier: Apache-2.0
// What the three rule tables do alike, run over each of them.
#include <gtest/gtest.h>

#include <string>

#include "support/failing_allocator.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;

template <typename Rules>
class RuleTable : public RuleStoreTest {
 protected:
  using Record = typename Rules::Record;

  /// A rule that the table has refused is still ours.
  static void ExpectRefused(unsigned key, uint32_t origin, uint32_t result) {
    const uint32_t rules = Rules::Count(), custom = Byod_GetCustomRuleCount();
    auto* rule = NewRule<Rules>(key, origin);
    EXPECT_EQ(Rules::Add(rule), result);
    EXPECT_EQ(Rules::Find(key), nullptr);
    EXPECT_EQ(Rules::Count(), rules);
    EXPECT_EQ(Byod_GetCustomRuleCount(), custom);
    Rules::Free(rule);
  }
};
TYPED_TEST_SUITE(RuleTable, AllTables, TableNames);

// ---------------------------------------------------------------- adding

TYPED_TEST(RuleTable, HoldsAnAddedRule) {
  auto* rule = NewRule<TypeParam>(7, BYOD_RULE_PREDEFINED);
  rule->modified = 1;
  ASSERT_EQ(TypeParam::Add(rule), 0u);
  EXPECT_EQ(TypeParam::Find(7u), rule);
  EXPECT_EQ(TypeParam::Find(8u), nullptr);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(TypeParam::Table().custom_count, 0u);
  EXPECT_EQ(rule->modified, 1);
}

TYPED_TEST(RuleTable, CountsCustomRulesTwice) {
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(1, BYOD_RULE_CUSTOM)), 0u);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(2, BYOD_RULE_PREDEFINED)), 0u);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(3, BYOD_RULE_CUSTOM)), 0u);
  EXPECT_EQ(TypeParam::Table().rule_count, 3u);
  EXPECT_EQ(TypeParam::Table().custom_count, 2u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 2u);
}

TYPED_TEST(RuleTable, CountsOnlyOriginOneAsCustom) {
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(1, 2)), 0u);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(TypeParam::Table().custom_count, 0u);
}

// ---------------------------------------------------------------- the limit

TYPED_TEST(RuleTable, TakesCustomRulesUpToTheLimitAndNoFurther) {
  this->Reopen(3);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(1, BYOD_RULE_CUSTOM)), 0u);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(2, BYOD_RULE_CUSTOM)), 0u);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(3, BYOD_RULE_CUSTOM)), 0u);
  this->ExpectRefused(4, BYOD_RULE_CUSTOM, kRuleLimit);
  this->ExpectRefused(5, BYOD_RULE_CUSTOM, kRuleLimit);
}

TYPED_TEST(RuleTable, CountsTheCustomRulesOfAllTablesAgainstTheLimit) {
  const auto two_elsewhere = [](auto first, auto second) {
    ASSERT_EQ(decltype(first)::Add(NewRule<decltype(first)>(900, BYOD_RULE_CUSTOM)), 0u);
    ASSERT_EQ(decltype(second)::Add(NewRule<decltype(second)>(901, BYOD_RULE_CUSTOM)), 0u);
  };
  for (int where = 0; where < 4; ++where) {
    this->Reopen(2);
    if (where == 0) two_elsewhere(MacRules(), MacRules());
    if (where == 1) two_elsewhere(UserAgentRules(), UserAgentRules());
    if (where == 2) two_elsewhere(DhcpOptionRules(), DhcpOptionRules());
    if (where == 3) two_elsewhere(MacRules(), DhcpOptionRules());
    this->ExpectRefused(1, BYOD_RULE_CUSTOM, kRuleLimit);
    ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(2, BYOD_RULE_PREDEFINED)), 0u);
  }
}

TYPED_TEST(RuleTable, NeverLimitsPredefinedRules) {
  this->Reopen(0);
  this->ExpectRefused(1, BYOD_RULE_CUSTOM, kRuleLimit);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(2, BYOD_RULE_PREDEFINED)), 0u);
  TypeParam::AddFile(3u, Info("n"));
  EXPECT_EQ(TypeParam::Count(), 2u);
}

TYPED_TEST(RuleTable, HasRoomForAnotherCustomRuleWhenOneIsDeleted) {
  this->Reopen(1);
  auto* rule = Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  this->ExpectRefused(2, BYOD_RULE_CUSTOM, kRuleLimit);
  TypeParam::Erase(rule);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(2, BYOD_RULE_CUSTOM)), 0u);
}

TYPED_TEST(RuleTable, RefusesEveryCustomRuleWhenMoreThanTheLimitAreCounted) {
  this->Reopen(5);
  TypeParam::Table().custom_count = 6;
  this->ExpectRefused(1, BYOD_RULE_CUSTOM, kRuleLimit);
  TypeParam::Table().custom_count = 0;
}

TYPED_TEST(RuleTable, IsLimitedByTheGreatestNumberButOne) {
  this->Reopen(UINT32_MAX - 1);
  TypeParam::Table().custom_count = UINT32_MAX - 1;
  this->ExpectRefused(1, BYOD_RULE_CUSTOM, kRuleLimit);
  TypeParam::Table().custom_count = UINT32_MAX - 2;
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(1, BYOD_RULE_CUSTOM)), 0u);
  EXPECT_EQ(TypeParam::Table().custom_count, UINT32_MAX - 1);
}

TYPED_TEST(RuleTable, HasNoLimitAtTheGreatestNumber) {
  TypeParam::Table().custom_count = UINT32_MAX;
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(1, BYOD_RULE_CUSTOM)), 0u);
  EXPECT_EQ(TypeParam::Table().custom_count, 0u);
}

TYPED_TEST(RuleTable, HasNoLimitAfterFiniAndANewInitWithoutOne) {
  this->Reopen(0);
  this->Reopen(BYOD_NO_RULE_LIMIT);
  ASSERT_EQ(TypeParam::Add(NewRule<TypeParam>(1, BYOD_RULE_CUSTOM)), 0u);
}

// ---------------------------------------------------------------- find or new

TYPED_TEST(RuleTable, MakesARuleThatIsNotThere) {
  uint16_t created = 77;
  uint32_t err = 77;
  auto* rule = TypeParam::FindOrNew(1u, BYOD_RULE_CUSTOM, &created, &err);
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(created, 1);
  EXPECT_EQ(err, 0u);
  EXPECT_EQ(TypeParam::Find(1u), rule);
  EXPECT_EQ(rule->origin, uint32_t{BYOD_RULE_CUSTOM});
  EXPECT_EQ(rule->modified, 0);
  EXPECT_EQ(rule->predefined, nullptr);
  EXPECT_EQ(rule->configured, nullptr);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(TypeParam::Table().custom_count, 1u);
}

TYPED_TEST(RuleTable, GivesARuleThatIsThereUnchanged) {
  TypeParam::AddFile(1u, Info("n", "v"));
  auto* rule = TypeParam::Find(1u);
  rule->modified = 1;
  uint16_t created = 77;
  uint32_t err = 77;
  EXPECT_EQ(TypeParam::FindOrNew(1u, BYOD_RULE_CUSTOM, &created, &err), rule);
  EXPECT_EQ(created, 0);
  EXPECT_EQ(err, 0u);
  EXPECT_EQ(rule->origin, uint32_t{BYOD_RULE_PREDEFINED});
  EXPECT_EQ(rule->modified, 1);
  EXPECT_EQ(InfoText(rule->predefined), "n/v//");
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(TypeParam::Table().custom_count, 0u);
}

TYPED_TEST(RuleTable, MakesNoCustomRuleAtTheLimitButFindsOne) {
  this->Reopen(1);
  auto* there = Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  const int64_t before = support::LiveAllocations();
  uint16_t created = 77;
  uint32_t err = 77;
  EXPECT_EQ(TypeParam::FindOrNew(2u, BYOD_RULE_CUSTOM, &created, &err), nullptr);
  EXPECT_EQ(created, 0);
  EXPECT_EQ(err, kRuleLimit);
  EXPECT_EQ(support::LiveAllocations(), before);
  EXPECT_EQ(TypeParam::FindOrNew(1u, BYOD_RULE_CUSTOM, &created, &err), there);
  EXPECT_EQ(err, 0u);
  EXPECT_NE(TypeParam::FindOrNew(2u, BYOD_RULE_PREDEFINED, &created, &err), nullptr);
  EXPECT_EQ(created, 1);
}

// ---------------------------------------------------------------- predefined rules

TYPED_TEST(RuleTable, CopiesTheInformationOfAPredefinedRule) {
  ByodDeviceInfo info = Info("Phone", "Acme", "Mobile", "OS 1");
  TypeParam::AddFile(1u, info);
  info = Info("x", "x", "x", "x");
  auto* rule = TypeParam::Find(1u);
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(rule->origin, uint32_t{BYOD_RULE_PREDEFINED});
  EXPECT_EQ(rule->modified, 0);
  EXPECT_EQ(InfoText(rule->predefined), "Phone/Acme/Mobile/OS 1");
  EXPECT_EQ(rule->configured, nullptr);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(TypeParam::Table().custom_count, 0u);
}

TYPED_TEST(RuleTable, GivesAPredefinedRuleOfNoTextAnEmptyInformation) {
  TypeParam::AddFile(1u, Info(""));
  ASSERT_NE(TypeParam::Find(1u), nullptr);
  EXPECT_EQ(InfoText(TypeParam::Find(1u)->predefined), "///");
}

// ---------------------------------------------------------------- update

TYPED_TEST(RuleTable, UpdateNeedsRecordAndRule) {
  auto* rule = Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  const auto record = RecordOf<typename TypeParam::Record>(Info("n"));
  EXPECT_EQ(TypeParam::Update(nullptr, rule), kFailed);
  EXPECT_EQ(TypeParam::Update(&record, nullptr), kFailed);
  EXPECT_EQ(TypeParam::Update(nullptr, nullptr), kFailed);
  EXPECT_EQ(rule->configured, nullptr);
}

TYPED_TEST(RuleTable, UpdateWithoutTextChangesNothing) {
  auto* rule = Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  const auto record = RecordOf<typename TypeParam::Record>(Info(""));
  EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
  EXPECT_EQ(rule->configured, nullptr);
  rule->configured = NewInfo("n", "v", "c", "o");
  EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
  EXPECT_EQ(InfoText(rule->configured), "n/v/c/o");
}

TYPED_TEST(RuleTable, UpdateMakesTheConfiguredInformation) {
  for (const uint32_t origin : {BYOD_RULE_PREDEFINED, BYOD_RULE_CUSTOM}) {
    auto* rule = Make<TypeParam>(unsigned{origin}, origin);
    const auto record = RecordOf<typename TypeParam::Record>(Info("", "", "c", ""));
    EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
    EXPECT_EQ(InfoText(rule->configured), "//c/");
    EXPECT_EQ(rule->predefined, nullptr);
    EXPECT_EQ(rule->modified, 0);
  }
}

TYPED_TEST(RuleTable, UpdateLaysPresentTextsOverTheConfiguredInformation) {
  auto* rule = MakeModified<TypeParam>(1u, Info("p", "p", "p", "p"), Info("n", "v", "c", "o"));
  auto* const info = rule->configured;
  auto record = RecordOf<typename TypeParam::Record>(Info("N", "", "C", ""));
  EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
  EXPECT_EQ(rule->configured, info);
  EXPECT_EQ(InfoText(rule->configured), "N/v/C/o");
  record = RecordOf<typename TypeParam::Record>(Info("", "V", "", "O"));
  EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
  EXPECT_EQ(InfoText(rule->configured), "N/V/C/O");
  EXPECT_EQ(InfoText(rule->predefined), "p/p/p/p");
  EXPECT_EQ(rule->modified, 0);
}

TYPED_TEST(RuleTable, UpdateCutsTextsThatFillTheirFields) {
  const auto record = RecordOf<typename TypeParam::Record>(Info(
      std::string(128, 'N'), std::string(64, 'V'), std::string(64, 'C'), std::string(64, 'O')));
  const std::string expected = std::string(127, 'N') + "/" + std::string(63, 'V') + "/" +
                               std::string(63, 'C') + "/" + std::string(63, 'O');
  auto* made = Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  EXPECT_EQ(TypeParam::Update(&record, made), 0u);
  EXPECT_EQ(InfoText(made->configured), expected);
  auto* changed = MakeCustom<TypeParam>(2u, "n", "v", "c", "o");
  EXPECT_EQ(TypeParam::Update(&record, changed), 0u);
  EXPECT_EQ(InfoText(changed->configured), expected);
}

TYPED_TEST(RuleTable, UpdateReplacesALongerTextWhole) {
  auto* rule = MakeCustom<TypeParam>(1u, "a long name", "a long vendor");
  const auto record = RecordOf<typename TypeParam::Record>(Info("n", "v"));
  EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
  EXPECT_EQ(InfoText(rule->configured), "n/v//");
}

// ---------------------------------------------------------------- deletion

TYPED_TEST(RuleTable, DeletesACustomRule) {
  const int64_t before = support::LiveAllocations();
  MakeCustom<TypeParam>(2u, "n");
  TypeParam::AddFile(1u, Info("n"));
  TypeParam::Delete(2u);
  EXPECT_EQ(TypeParam::Find(2u), nullptr);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  // What is left is the predefined rule, its information, and places in the table's indexes.
  EXPECT_LE(support::LiveAllocations(), before + 2 + kIndexArrays);
}

TYPED_TEST(RuleTable, DeletionOfAPredefinedRuleDropsItsModificationOnly) {
  auto* rule = MakeModified<TypeParam>(1u, Info("p"), Info("n"));
  rule->modified = 1;
  TypeParam::Delete(1u);
  EXPECT_EQ(TypeParam::Find(1u), rule);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(InfoText(rule->predefined), "p///");
  EXPECT_EQ(rule->configured, nullptr);
  EXPECT_EQ(rule->modified, 1);
  TypeParam::Delete(1u);
  EXPECT_EQ(TypeParam::Find(1u), rule);
}

TYPED_TEST(RuleTable, DeletionOfAnUnknownRuleDoesNothing) {
  MakeCustom<TypeParam>(1u, "n");
  TypeParam::Delete(2u);
  TypeParam::DeletePart(0, 1, 2u);
  TypeParam::DeletePart(1, 1, 2u);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(InfoText(TypeParam::Find(1u)->configured), "n///");
}

TYPED_TEST(RuleTable, ErasesAnyRuleWithBothInformations) {
  const int64_t before = support::LiveAllocations();
  auto* modified = MakeModified<TypeParam>(1u, Info("p"), Info("n"));
  auto* custom = MakeCustom<TypeParam>(2u, "n");
  const int64_t full = support::LiveAllocations();
  TypeParam::Erase(modified);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 1u);
  EXPECT_EQ(support::LiveAllocations(), full - 3);
  TypeParam::Erase(custom);
  EXPECT_EQ(TypeParam::Count(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  EXPECT_EQ(support::LiveAllocations(), full - 5);
  EXPECT_LE(before, full - 5);
  EXPECT_EQ(TypeParam::First(), nullptr);
}

TYPED_TEST(RuleTable, ErasesNothingForNull) {
  MakeCustom<TypeParam>(1u, "n");
  TypeParam::Erase(nullptr);
  EXPECT_EQ(TypeParam::Count(), 1u);
}

TYPED_TEST(RuleTable, CountsAnErasedRuleThatWasNeverInTheTable) {
  Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  Make<TypeParam>(2u, BYOD_RULE_PREDEFINED);
  auto* stranger = NewRule<TypeParam>(3, BYOD_RULE_CUSTOM);
  TypeParam::Erase(stranger);
  EXPECT_EQ(TypeParam::Count(), 1u);
  EXPECT_EQ(TypeParam::Table().custom_count, 0u);
  EXPECT_NE(TypeParam::Find(1u), nullptr);
  EXPECT_NE(TypeParam::Find(2u), nullptr);
}

// ---------------------------------------------------------------- deletion of a part

// What becomes of a rule's configured information, for every mode and content.
struct PartCase {
  uint32_t mode;
  uint16_t remove;
  const char* name;
  const char* vendor;
  const char* left_of_custom;    // "gone" = the rule is deleted, "-" = kept without information
  const char* left_of_modified;  // "-" = the modification is dropped
};

constexpr PartCase kPartCases[] = {
    // Something remains.
    {0, 0, "n", "v", "/v/c/", "/v/c/"},
    {0, 1, "n", "v", "/v/c/", "/v/c/"},
    {1, 0, "n", "v", "n///", "n///"},
    {1, 1, "n", "v", "n///", "n///"},
    // Nothing remains.
    {0, 0, "n", "", "-", "-"},
    {0, 1, "n", "", "gone", "-"},
    {1, 0, "", "v", "gone", "-"},
    {1, 1, "", "v", "gone", "-"},
    // There was nothing.
    {0, 0, "", "", "-", "-"},
    {0, 1, "", "", "gone", "-"},
    {1, 0, "", "", "gone", "-"},
    // Only 1 removes.
    {0, 2, "n", "", "-", "-"},
    {0, UINT16_MAX, "n", "", "-", "-"},
    // A mode above 1 clears nothing, so nothing remains.
    {2, 0, "n", "v", "-", "-"},
    {2, 1, "n", "v", "gone", "-"},
    {UINT32_MAX, 0, "n", "v", "-", "-"},
};

TYPED_TEST(RuleTable, DeletesAPartOfACustomRulesInformation) {
  for (const PartCase& c : kPartCases) {
    MakeCustom<TypeParam>(1u, c.name, c.vendor, c.vendor[0] != '\0' ? "c" : "");
    TypeParam::DeletePart(c.mode, c.remove, 1u);
    auto* rule = TypeParam::Find(1u);
    EXPECT_EQ(rule != nullptr ? InfoText(rule->configured) : "gone", c.left_of_custom)
        << c.mode << ' ' << c.remove << ' ' << c.name << '/' << c.vendor;
    EXPECT_EQ(TypeParam::Count(), rule != nullptr ? 1u : 0u);
    EXPECT_EQ(Byod_GetCustomRuleCount(), rule != nullptr ? 1u : 0u);
    TypeParam::Erase(rule);
  }
}

TYPED_TEST(RuleTable, DeletesAPartOfAModification) {
  for (const PartCase& c : kPartCases) {
    auto* rule = MakeModified<TypeParam>(1u, Info("P", "P", "P", "P"),
                                         Info(c.name, c.vendor, c.vendor[0] != '\0' ? "c" : ""));
    TypeParam::DeletePart(c.mode, c.remove, 1u);
    ASSERT_EQ(TypeParam::Find(1u), rule);
    EXPECT_EQ(InfoText(rule->configured), c.left_of_modified)
        << c.mode << ' ' << c.remove << ' ' << c.name << '/' << c.vendor;
    EXPECT_EQ(InfoText(rule->predefined), "P/P/P/P");
    EXPECT_EQ(TypeParam::Count(), 1u);
    TypeParam::Erase(rule);
  }
}

TYPED_TEST(RuleTable, DeletionOfAPartLeavesAnUnmodifiedPredefinedRule) {
  TypeParam::AddFile(1u, Info("P", "P"));
  for (const uint32_t mode : {0u, 1u, 2u})
    TypeParam::DeletePart(mode, 1, 1u);
  ASSERT_NE(TypeParam::Find(1u), nullptr);
  EXPECT_EQ(InfoText(TypeParam::Find(1u)->predefined), "P/P//");
}

TYPED_TEST(RuleTable, DeletionOfAPartOfACustomRuleWithoutInformationGoesByModeAndRemove) {
  Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  TypeParam::DeletePart(0, 0, 1u);
  ASSERT_NE(TypeParam::Find(1u), nullptr);
  TypeParam::DeletePart(1, 0, 1u);
  EXPECT_EQ(TypeParam::Find(1u), nullptr);
  Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  TypeParam::DeletePart(0, 1, 1u);
  EXPECT_EQ(TypeParam::Find(1u), nullptr);
}

// ---------------------------------------------------------------- paging

TYPED_TEST(RuleTable, PagesInAscendingOrderFromFirstToLast) {
  for (const unsigned key : {30u, 10u, 20u, 40u})
    Make<TypeParam>(key, BYOD_RULE_PREDEFINED);
  EXPECT_EQ(TypeParam::First(), TypeParam::Find(10u));
  EXPECT_EQ(TypeParam::Next(10u), TypeParam::Find(20u));
  EXPECT_EQ(TypeParam::Next(20u), TypeParam::Find(30u));
  EXPECT_EQ(TypeParam::Next(30u), TypeParam::Find(40u));
  EXPECT_EQ(TypeParam::Next(40u), nullptr);
}

TYPED_TEST(RuleTable, PagesFromBeforeTheFirst) {
  Make<TypeParam>(10u, BYOD_RULE_PREDEFINED);
  EXPECT_EQ(TypeParam::Next(5u), TypeParam::Find(10u));
}

TYPED_TEST(RuleTable, PagesNothingWhenEmpty) {
  EXPECT_EQ(TypeParam::First(), nullptr);
  EXPECT_EQ(TypeParam::Next(1u), nullptr);
}

}  // namespace
