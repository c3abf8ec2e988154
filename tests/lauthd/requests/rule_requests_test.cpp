// SPDX-License-Identifier: Apache-2.0
// Requests about rules: each kind of rule goes through the same cases.
#include "lauthd/requests/listing.h"
#include "lauthd/requests/rule_changes.h"
#include "lauthd/requests/rule_queries.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

Element Name(const std::string& name) {
  return Text(BYOD_TLV_DEVNAME, name);
}

Elements Vendor(const std::string& vendor) {
  return {Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_VENDOR), Text(BYOD_TLV_VENDOR, vendor)};
}

template <typename Kind>
class RuleRequests : public Handlers {
 protected:
  static Elements A() { return Keys<Kind>::A(); }
  static Elements B() { return Keys<Kind>::B(); }

  /// The device name that the rule of a key has; "-" without a rule.
  std::string NameOf(const Elements& key) {
    const Answer answer = Get(QueryRule<Kind>, key);
    return answer.result.Ok() ? answer.TextOf(BYOD_TLV_DEVNAME) : "-";
  }
};

TYPED_TEST_SUITE(RuleRequests, EveryKind, KindNames);

TYPED_TEST(RuleRequests, SettingANameMakesTheRule) {
  EXPECT_TRUE(this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name("Phone")}).result.Ok());
  EXPECT_EQ(this->NameOf(this->A()), "Phone");
  EXPECT_EQ(this->NameOf(this->B()), "-");
}

TYPED_TEST(RuleRequests, SettingTheSameNameAgainIsUnchanged) {
  this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name("Phone")});
  const Answer again = this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name("Phone")});
  EXPECT_EQ(again.result.code, BYOD_ERR_NOCHANGE);
  EXPECT_EQ(again.refusal(), uint32_t{BYOD_REFUSAL_NO_CHANGE});
}

TYPED_TEST(RuleRequests, UndoingANameKeepsTheRule) {
  this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name("Phone")});
  EXPECT_TRUE(this->Undo(ChangeRule<TypeParam>, this->A()).result.Ok());
  EXPECT_EQ(this->NameOf(this->A()), "");
}

TYPED_TEST(RuleRequests, UndoingARuleThatDoesNotExistIsRefused) {
  for (const Handler handler : {ChangeRule<TypeParam>, ChangeRuleValue<TypeParam>}) {
    EXPECT_EQ(this->Undo(handler, this->A()).refusal(), uint32_t{BYOD_REFUSAL_NOT_FOUND});
  }
  EXPECT_EQ(this->Undo(ChangeRuleAttribute<TypeParam>, this->A() + Vendor("")).refusal(),
            uint32_t{BYOD_REFUSAL_NOT_FOUND});
}

TYPED_TEST(RuleRequests, UndoingAValueRemovesACustomRule) {
  this->Set(ChangeRuleValue<TypeParam>, this->A());
  EXPECT_EQ(this->NameOf(this->A()), "");
  EXPECT_TRUE(this->Undo(ChangeRuleValue<TypeParam>, this->A()).result.Ok());
  EXPECT_EQ(this->NameOf(this->A()), "-");
}

TYPED_TEST(RuleRequests, AttributeIsSetAndQueried) {
  EXPECT_TRUE(this->Set(ChangeRuleAttribute<TypeParam>, this->A() + Vendor("Acme")).result.Ok());
  EXPECT_EQ(this->Get(QueryRule<TypeParam>, this->A()).TextOf(BYOD_TLV_VENDOR), "Acme");
}

TYPED_TEST(RuleRequests, UndoingTheLastAttributeRemovesACustomRule) {
  this->Set(ChangeRuleAttribute<TypeParam>, this->A() + Vendor("Acme"));
  EXPECT_TRUE(this->Undo(ChangeRuleAttribute<TypeParam>, this->A() + Vendor("")).result.Ok());
  EXPECT_EQ(this->NameOf(this->A()), "-");
}

TYPED_TEST(RuleRequests, EmptyOrUnknownAttributeIsMalformed) {
  EXPECT_EQ(this->Set(ChangeRuleAttribute<TypeParam>, this->A() + Vendor("")).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_EQ(this->Set(ChangeRuleAttribute<TypeParam>, this->A()).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
  const Elements unknown = {Number(BYOD_TLV_ATTRKIND, 99)};
  EXPECT_EQ(this->Set(ChangeRuleAttribute<TypeParam>, this->A() + unknown).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
}

TYPED_TEST(RuleRequests, MissingOrLongKeyIsMalformed) {
  for (const Handler handler : {ChangeRule<TypeParam>, ChangeRuleValue<TypeParam>}) {
    EXPECT_EQ(this->Set(handler).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
    EXPECT_EQ(this->Set(handler, Keys<TypeParam>::TooLong()).refusal(),
              uint32_t{BYOD_REFUSAL_MALFORMED});
  }
  EXPECT_EQ(this->Get(QueryRule<TypeParam>, Keys<TypeParam>::TooLong()).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
}

TYPED_TEST(RuleRequests, NameOf128CharactersIsMalformed) {
  const auto set = [&](size_t length) {
    return this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name(std::string(length, 'n'))});
  };
  EXPECT_EQ(set(128).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_TRUE(set(127).result.Ok());
}

TYPED_TEST(RuleRequests, CountIsOfAllRules) {
  EXPECT_TRUE(this->Get(CountRules<TypeParam>).Has(Number(BYOD_TLV_COUNT, 0)));
  this->Set(ChangeRuleValue<TypeParam>, this->A());
  this->Set(ChangeRuleValue<TypeParam>, this->B());
  EXPECT_TRUE(this->Get(CountRules<TypeParam>).Has(Number(BYOD_TLV_COUNT, 2)));
}

TYPED_TEST(RuleRequests, ListingGivesEveryRuleInOrder) {
  this->Set(ChangeRule<TypeParam>, this->B() + Elements{Name("b")});
  this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name("a")});
  std::string names;
  for (const Elements& rule : this->Get(ListRules<TypeParam>).NestedIn(BYOD_EXT_RULE)) {
    Answer one;
    one.elements = rule;
    names += one.TextOf(BYOD_TLV_DEVNAME);
  }
  EXPECT_EQ(names, "ab");
}

TYPED_TEST(RuleRequests, NextSelectorPagesThroughTheRules) {
  this->Set(ChangeRule<TypeParam>, this->A() + Elements{Name("a")});
  this->Set(ChangeRule<TypeParam>, this->B() + Elements{Name("b")});
  const Elements next = {Number(BYOD_TLV_QUERYARG, 1)};
  EXPECT_EQ(this->NameOf(next), "a") << "no key: from the beginning";
  EXPECT_EQ(this->NameOf(this->A() + next), "b");
  EXPECT_EQ(this->NameOf(this->B() + next), "-");
}

TYPED_TEST(RuleRequests, SelectorOutOfRangeIsMalformed) {
  for (const uint16_t type : {BYOD_TLV_QUERYARG, BYOD_TLV_QUERYARG2}) {
    const Elements selector = {Number(type, 3)};
    EXPECT_EQ(this->Get(QueryRule<TypeParam>, this->A() + selector).refusal(),
              uint32_t{BYOD_REFUSAL_MALFORMED});
    EXPECT_EQ(this->Get(ListRules<TypeParam>, selector).refusal(),
              uint32_t{BYOD_REFUSAL_MALFORMED});
  }
}

class PredefinedRule : public Handlers {
 protected:
  PredefinedRule() { AddPredefined("iPhone", "Apple iPhone", "Apple"); }

  static Elements IPhone() { return {Text(BYOD_TLV_USERAGENT, "iPhone")}; }
  std::string Shown(uint16_t type) { return Get(QueryRule<UserAgentKind>, IPhone()).TextOf(type); }
};

TEST_F(PredefinedRule, KeepsItsOtherFieldsWhenOneIsConfigured) {
  Set(ChangeRule<UserAgentKind>, IPhone() + Elements{Name("Company phone")});
  EXPECT_EQ(Shown(BYOD_TLV_DEVNAME), "Company phone");
  EXPECT_EQ(Shown(BYOD_TLV_VENDOR), "Apple");
}

TEST_F(PredefinedRule, IsAsBeforeAfterItsValueIsUndone) {
  Set(ChangeRule<UserAgentKind>, IPhone() + Elements{Name("Company phone")});
  EXPECT_TRUE(Undo(ChangeRuleValue<UserAgentKind>, IPhone()).result.Ok());
  EXPECT_EQ(Shown(BYOD_TLV_DEVNAME), "Apple iPhone");
  EXPECT_EQ(Undo(ChangeRuleValue<UserAgentKind>, IPhone()).refusal(),
            uint32_t{BYOD_REFUSAL_NO_CHANGE});
}

TEST_F(PredefinedRule, IsListedAsConfiguredOnlyWhenItIs) {
  const Elements configured = {Number(BYOD_TLV_QUERYARG, 2)};
  EXPECT_TRUE(Get(ListRules<UserAgentKind>, configured).elements.empty());
  Set(ChangeRule<UserAgentKind>, IPhone() + Elements{Name("Company phone")});
  EXPECT_EQ(Get(ListRules<UserAgentKind>, configured).elements.size(), 1u);
}

class MacRequests : public Handlers {};

TEST_F(MacRequests, ABlockWithinAnotherAnswersInItAndIsCountedThere) {
  const Elements inside =
      Keys<MacKind>::Block("\x00\x11\x22\x33\x00\x00", "\xff\xff\xff\xff\x00\x00");
  Set(ChangeRule<MacKind>, Keys<MacKind>::A() + Elements{Name("Router")});
  EXPECT_EQ(Set(ChangeRule<MacKind>, inside + Elements{Name("Desk")}).refusal(), 0u);
  const Elements address = {Bytes(BYOD_TLV_MAC, std::string("\x00\x11\x22\x33\x44\x55", 6))};
  EXPECT_EQ(Get(QueryRule<MacKind>, address).TextOf(BYOD_TLV_DEVNAME), "Desk");
  const Answer around = Get(QueryRule<MacKind>, Keys<MacKind>::A());
  EXPECT_EQ(around.TextOf(BYOD_TLV_DEVNAME), "Router");
  EXPECT_TRUE(around.Has(Number(BYOD_EXT_HOLES, 1)));
}

TEST_F(MacRequests, AnAddressUnderWhichABlockIsStoredIsAConflictThatNamesTheBlock) {
  Set(ChangeRuleValue<MacKind>, Keys<MacKind>::A());
  const Answer answer =
      Set(ChangeRuleValue<MacKind>,
          Keys<MacKind>::Block("\x00\x11\x22\x00\x00\x00", "\xff\xff\xff\xff\xff\xff"));
  EXPECT_EQ(answer.refusal(), uint32_t{BYOD_REFUSAL_CONFLICT});
  EXPECT_NE(answer.result.reason.find("00:11:22"), std::string::npos) << answer.result.reason;
}

TEST_F(MacRequests, AddressAloneFindsTheBlockThatCoversIt) {
  Set(ChangeRule<MacKind>, Keys<MacKind>::A() + Elements{Name("Router")});
  const Elements address = {Bytes(BYOD_TLV_MAC, std::string("\x00\x11\x22\x33\x44\x55", 6))};
  EXPECT_EQ(Get(QueryRule<MacKind>, address).TextOf(BYOD_TLV_DEVNAME), "Router");
}

TEST_F(MacRequests, MaskWithHolesIsMalformed) {
  const Elements holes =
      Keys<MacKind>::Block("\x00\x11\x22\x00\x00\x00", "\xff\x00\xff\x00\x00\x00");
  EXPECT_EQ(Set(ChangeRuleValue<MacKind>, holes).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
}

class LimitedRules : public Handlers {
 protected:
  LimitedRules() : Handlers(Limited()) {}
  static Options Limited() {
    Options options = WithoutDatabase();
    options.rule_limit = 1;
    return options;
  }
};

TEST_F(LimitedRules, OneMoreThanTheLimitIsRefusedInEveryTable) {
  EXPECT_TRUE(Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A()).result.Ok());
  ForEachKind([&](auto kind) {
    using Kind = decltype(kind);
    const Answer answer = Set(ChangeRuleValue<Kind>, Keys<Kind>::B());
    EXPECT_EQ(answer.refusal(), uint32_t{BYOD_REFUSAL_LIMIT});
    EXPECT_EQ(answer.result.code, BYOD_ERR_RULE_LIMIT);
  });
}

class UnwritableDatabase : public Handlers {
 protected:
  UnwritableDatabase() : Handlers(Unwritable()) {}
  /// A file stands where the directory should be made.
  static Options Unwritable() {
    Options options;
    options.state_dir = "/dev/null/state";
    return options;
  }
};

TEST_F(UnwritableDatabase, RefusesEveryChangeAndLeavesTheTablesAlone) {
  ForEachKind([&](auto kind) {
    using Kind = decltype(kind);
    EXPECT_EQ(Set(ChangeRuleValue<Kind>, Keys<Kind>::A()).refusal(),
              uint32_t{BYOD_REFUSAL_NOT_SAVED});
    EXPECT_EQ(Kind::Count(), 0u);
  });
}

}  // namespace
}  // namespace byod::lauthd
