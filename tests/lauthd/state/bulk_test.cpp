// SPDX-License-Identifier: Apache-2.0
// A bulk of changes, on a database that counts what is asked of it: what is stored at its end, and
// what an abort goes back to.
#include "lauthd/state/bulk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "byod_db.h"
#include "support/failing_allocator.h"
#include "support/memory_dbm.h"

namespace byod::lauthd {
namespace {

using support::MemoryDbm;

struct BulkOfChanges : testing::Test {
  void SetUp() override {
    MemoryDbm::Reset();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    BYOD_order_Init();
    ASSERT_EQ(BYOD_db_OpenCfgDBM(), 0u);
    bulk.Begin();
  }
  void TearDown() override {
    bulk.RollBack(idle, authorization);
    BYOD_db_CloseCfgDBM();
    BYOD_order_Fini();
    BYOD_data_GlobalInfoFini();
  }

  static TextKey Text(const char* text) {
    TextKey key = {};
    CopyText(key.text, text);
    return key;
  }
  static ByodMacRule Prefix(uint8_t second, int bytes) {
    ByodMacRule key = {};
    key.mac[0] = 2;
    key.mac[1] = second;
    std::memset(key.mask, 0xFF, static_cast<size_t>(bytes));
    return key;
  }

  /// Changes a rule's name, and makes the rule if need be.
  template <typename Kind>
  void Name(const typename Kind::Key& key, const char* name) {
    bulk.MakeRoom<Kind>();
    uint16_t created = 0;
    uint32_t err = 0;
    auto* const rule = Kind::FindOrNew(key, &created, &err);
    ASSERT_NE(rule, nullptr);
    OwnedInfo info(BYOD_data_CreateDeviceInfo(name, "", "", ""));
    OwnedInfo former = ExchangeInfo<Kind>(*rule, *name != '\0' ? std::move(info) : nullptr);
    bulk.Remember<Kind>(
        Kind::KeyOf(*rule),
        created == 1 ? FormerRule<Kind>() : FormerRule<Kind>::Of(rule->origin, std::move(former)));
  }
  template <typename Kind>
  void Drop(const typename Kind::Key& key) {
    auto* const rule = Kind::Find(key);
    ASSERT_NE(rule, nullptr);
    bulk.MakeRoom<Kind>();
    bulk.Delete<Kind>(rule);
  }
  template <typename Kind>
  std::string NameOf(const typename Kind::Key& key) {
    const auto* const rule = Kind::Find(key);
    if (rule == nullptr) return "(no rule)";
    return rule->configured != nullptr ? rule->configured->name : "";
  }
  /// Ends the bulk as kept and begins another.
  void NextBulk() {
    ASSERT_EQ(bulk.Save(idle, authorization), 0u);
    bulk.Finish();
    MemoryDbm::TakeCalls();
    bulk.Begin();
  }
  static size_t Stored(const char* list) {
    return MemoryDbm::Lists()[support::Key(list)].records.size();
  }

  IdleRules idle;
  Authorization authorization;
  Bulk bulk;
};

TEST_F(BulkOfChanges, StoresWhatWasChangedOnceHoweverOften) {
  for (const char* name : {"a", "b", "c"}) {
    Name<UserAgentKind>(Text("agent"), name);
    Name<DhcpOptionKind>(Text("1,2"), name);
    Name<MacKind>(Prefix(1, 3), name);
  }
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  bulk.Remember(order);
  bulk.Remember(order);
  for (const char* value : {"1", "2"}) {
    bulk.Remember(authorization, "group", "type");
    authorization.Put("group", "type", Attributes{{"vlan", value}});
  }
  EXPECT_EQ(MemoryDbm::CallCount(), 1) << "nothing but the opening before the end";
  ASSERT_EQ(bulk.Save(idle, authorization), 0u);
  EXPECT_EQ(MemoryDbm::CallCount("InsertSortList"), 4);
  EXPECT_EQ(MemoryDbm::CallCount("SetBinary"), 1);
  EXPECT_EQ(MemoryDbm::CallCount("RemoveSortList"), 0);
  const std::string& record =
      MemoryDbm::Lists()[support::Key(BYOD_DB_USERAGENT_KEY)].records.begin()->second;
  EXPECT_STREQ(record.c_str() + BYOD_RULETEXT_SIZE, "c");
}

TEST_F(BulkOfChanges, ThatCameAndWentNeverTouchTheDatabase) {
  Name<UserAgentKind>(Text("agent"), "n");
  Drop<UserAgentKind>(Text("agent"));
  ASSERT_EQ(bulk.Save(idle, authorization), 0u);
  EXPECT_EQ(MemoryDbm::CallCount(), 1);
}

TEST_F(BulkOfChanges, RemoveWhatWentAndWhatIsNoLongerModified) {
  const ByodDeviceInfo predefined = {"Built in", "", "", ""};
  const TextKey built_in = Text("built in");
  BYOD_data_AddFileAgentRule("built in", &predefined);
  Name<UserAgentKind>(built_in, "mine");
  Name<UserAgentKind>(Text("custom"), "");
  NextBulk();
  ASSERT_EQ(Stored(BYOD_DB_USERAGENT_KEY), 2u);
  Name<UserAgentKind>(built_in, "");
  Drop<UserAgentKind>(Text("custom"));
  ASSERT_EQ(bulk.Save(idle, authorization), 0u);
  EXPECT_EQ(Stored(BYOD_DB_USERAGENT_KEY), 0u);
  EXPECT_EQ(MemoryDbm::CallCount("RemoveSortList"), 2);
}

// The database knows an address without its mask, so both rules have the same place in it.
TEST_F(BulkOfChanges, StoreARuleInThePlaceOfOneThatWent) {
  for (const auto& [first, second] : {std::pair(3, 4), std::pair(4, 3)}) {
    Name<MacKind>(Prefix(1, first), "one");
    NextBulk();
    Drop<MacKind>(Prefix(1, first));
    Name<MacKind>(Prefix(1, second), "other");
    NextBulk();
    ASSERT_EQ(Stored(BYOD_DB_MAC_KEY), 1u);
    const std::string& record =
        MemoryDbm::Lists()[support::Key(BYOD_DB_MAC_KEY)].records.begin()->second;
    EXPECT_STREQ(record.c_str() + BYOD_MACTEXT_SIZE + 6, "other");
    Drop<MacKind>(Prefix(1, second));
    NextBulk();
    EXPECT_EQ(Stored(BYOD_DB_MAC_KEY), 0u);
  }
}

TEST_F(BulkOfChanges, AreStoredInTheOrderOfTheDatabase) {
  for (const char* text : {"m", "z", "a", "\xC3\xA4", "M"})
    Name<UserAgentKind>(Text(text), "n");
  MemoryDbm::TakeCalls();
  ASSERT_EQ(bulk.Save(idle, authorization), 0u);
  std::vector<std::string> stored;
  for (const support::DbmCall& call : MemoryDbm::TakeCalls()) {
    if (call.name == "InsertSortList") stored.emplace_back(call.bytes.c_str());
  }
  EXPECT_EQ(stored.size(), 4u) << "m and M are one rule";
  EXPECT_TRUE(std::is_sorted(stored.begin(), stored.end()));
}

TEST_F(BulkOfChanges, EndAtTheFirstFailure) {
  for (const char* text : {"a", "b", "c"})
    Name<UserAgentKind>(Text(text), "n");
  MemoryDbm::Fail("InsertSortList", 2, -1);
  EXPECT_NE(bulk.Save(idle, authorization), 0u);
  EXPECT_EQ(MemoryDbm::CallCount("InsertSortList"), 2);
}

TEST_F(BulkOfChanges, AreTakenBackToWhatWasBeforeTheFirstOfThem) {
  Name<UserAgentKind>(Text("named"), "before");
  Name<MacKind>(Prefix(1, 3), "wide");
  authorization.Put("group", "kept", Attributes{{"vlan", "1"}});
  NextBulk();
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  bulk.Remember(order);
  const ByodOrder other = {{2, 1, 0}};
  BYOD_order_SetOrder(&other);
  Name<UserAgentKind>(Text("named"), "second");
  Name<UserAgentKind>(Text("named"), "third");
  Drop<UserAgentKind>(Text("named"));
  Name<UserAgentKind>(Text("new"), "n");
  Drop<MacKind>(Prefix(1, 3));
  Name<MacKind>(Prefix(1, 4), "narrow");  // there is no room for both
  for (const char* type : {"kept", "new"}) {
    bulk.Remember(authorization, "group", type);
    authorization.Put("group", type, Attributes{{"vlan", "2"}});
  }
  bulk.RollBack(idle, authorization);
  EXPECT_EQ(NameOf<UserAgentKind>(Text("named")), "before");
  EXPECT_EQ(NameOf<UserAgentKind>(Text("new")), "(no rule)");
  EXPECT_EQ(NameOf<MacKind>(Prefix(1, 3)), "wide");
  EXPECT_EQ(NameOf<MacKind>(Prefix(1, 4)), "(no rule)");
  EXPECT_EQ(*authorization.Find("group", "kept"), (Attributes{{"vlan", "1"}}));
  EXPECT_EQ(authorization.Find("group", "new"), nullptr);
  ByodOrder now;
  BYOD_order_GetOrder(&now);
  EXPECT_EQ(std::memcmp(&now, &order, sizeof now), 0);
  EXPECT_FALSE(bulk.Open());
  EXPECT_EQ(Byod_GetCustomRuleCount(), 2u);
}

TEST_F(BulkOfChanges, ADeletedRuleIsNowhereToBeSeenAndDoesNotMeetTheLimit) {
  for (const char* text : {"a", "b", "c"})
    Name<UserAgentKind>(Text(text), "n");
  NextBulk();
  Drop<UserAgentKind>(Text("b"));
  EXPECT_EQ(NameOf<UserAgentKind>(Text("b")), "(no rule)");
  EXPECT_EQ(UserAgentKind::Count(), 2u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 2u);
  EXPECT_STREQ(UserAgentKind::Next(UserAgentKind::First())->keyword, "c");
  EXPECT_STREQ(UserAgentKind::NextOf(Text("a"))->keyword, "c");
  NextBulk();
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 2u) << "it has left the table with the bulk";
}

TEST_F(BulkOfChanges, ADeletedRuleIsMadeAgainAndGoesBackToWhatItWas) {
  Name<UserAgentKind>(Text("Agent"), "before");
  NextBulk();
  for (const char* again : {"Agent", "AGENT", "Agent"}) {
    Drop<UserAgentKind>(Text(again == std::string("AGENT") ? "Agent" : again));
    if (auto* const withdrawn = UserAgentKind::FindWithdrawn(Text(again))) {
      bulk.MakeRoom<UserAgentKind>();
      bulk.Reuse<UserAgentKind>(withdrawn, Text(again));
    }
    Name<UserAgentKind>(Text(again), "after");
    EXPECT_STREQ(UserAgentKind::Find(Text("agent"))->keyword, again);
    EXPECT_EQ(Byod_GetCustomRuleCount(), 1u);
    if (again == std::string("AGENT")) Drop<UserAgentKind>(Text(again));
    bulk.RollBack(idle, authorization);
    EXPECT_EQ(NameOf<UserAgentKind>(Text("Agent")), "before");
    EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 1u);
    EXPECT_EQ(Byod_GetCustomRuleCount(), 1u);
    bulk.Begin();
  }
}

TEST_F(BulkOfChanges, AreRolledBackWithoutMemory) {
  for (unsigned i = 0; i < 50; ++i) {
    Name<UserAgentKind>(Text(("agent " + std::to_string(i)).c_str()), "n");
    Name<DhcpOptionKind>(Text(("1," + std::to_string(i)).c_str()), "n");
    Name<MacKind>(Prefix(static_cast<uint8_t>(i), 3), "n");
  }
  authorization.Put("group", "type", Attributes{{"vlan", "1"}});
  NextBulk();
  for (unsigned i = 0; i < 48; ++i) {
    Drop<UserAgentKind>(Text(("agent " + std::to_string(i)).c_str()));
    Drop<DhcpOptionKind>(Text(("1," + std::to_string(i)).c_str()));
    Drop<MacKind>(Prefix(static_cast<uint8_t>(i), 3));
    Name<UserAgentKind>(Text(("another, longer one " + std::to_string(i)).c_str()), "n");
    Name<MacKind>(Prefix(static_cast<uint8_t>(i + 1), 4), "within");
  }
  bulk.Remember(authorization, "group", "type");
  authorization.Put("group", "type", std::nullopt);
  support::FailingAllocation failing(1);
  bulk.RollBack(idle, authorization);
  failing.Disarm();
  EXPECT_EQ(failing.Count(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 150u);
  for (unsigned i = 0; i < 50; ++i) {
    EXPECT_EQ(NameOf<UserAgentKind>(Text(("agent " + std::to_string(i)).c_str())), "n");
    EXPECT_EQ(NameOf<DhcpOptionKind>(Text(("1," + std::to_string(i)).c_str())), "n");
    EXPECT_EQ(NameOf<MacKind>(Prefix(static_cast<uint8_t>(i), 3)), "n");
  }
  EXPECT_NE(authorization.Find("group", "type"), nullptr);
}

TEST_F(BulkOfChanges, OutsideOfOneNothingIsRemembered) {
  bulk.Finish();
  Name<UserAgentKind>(Text("agent"), "n");
  bulk.Begin();
  bulk.RollBack(idle, authorization);
  EXPECT_EQ(NameOf<UserAgentKind>(Text("agent")), "n");
}

}  // namespace
}  // namespace byod::lauthd
