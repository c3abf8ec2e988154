// SPDX-License-Identifier: Apache-2.0
// The store as a whole: its making and its end, its getters and counts, and its containers' hash.
#include <gtest/gtest.h>

#include <string>

#include "data/internal.h"
#include "lauth_avl.h"
#include "lauth_hash.h"
#include "support/container_faults.h"
#include "support/failing_allocator.h"
#include "support/object_bytes.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;

TEST(RuleStoreBeforeInit, HasNoRuleAndNoContainer) {
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleCount(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetMacRuleTbl()->tree, nullptr);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleTbl()->hash, nullptr);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleTbl()->hash, nullptr);
}

TEST(RuleStoreBeforeInit, IsUnharmedByFini) {
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(BYOD_data_GetMacRuleTbl()->tree, nullptr);
}

// Without a tree a custom rule is refused by the limit, or else by the tree.
uint32_t AddedCustomRule() {
  ByodMacRule rule = {};
  rule.origin = BYOD_RULE_CUSTOM;
  return Byod_AddMacRule(&rule);
}

TEST(RuleStoreBeforeInit, HasNoLimit) {
  EXPECT_EQ(AddedCustomRule(), AVL_ERR_ARGUMENT);
}

TEST_F(RuleStoreTest, FiniLiftsTheLimit) {
  Reopen(0);
  ASSERT_EQ(AddedCustomRule(), kRuleLimit);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(AddedCustomRule(), AVL_ERR_ARGUMENT);
}

TEST_F(RuleStoreTest, InitMakesThreeEmptyTables) {
  EXPECT_NE(BYOD_data_GetMacRuleTbl()->tree, nullptr);
  EXPECT_NE(BYOD_data_GetUserAgentRuleTbl()->hash, nullptr);
  EXPECT_NE(BYOD_data_GetDhcpOptionRuleTbl()->hash, nullptr);
  EXPECT_EQ(*BYOD_data_GetUserAgentRuleList(), nullptr);
  EXPECT_EQ(*BYOD_data_GetUserAgentRuleMatchList(), nullptr);
  EXPECT_EQ(*BYOD_data_GetDhcpOptionRuleList(), nullptr);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleCount(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
}

// Ours takes no notice of the number; another platform library may.
TEST_F(RuleStoreTest, InitAsksForATreeWithTheNumberZero) {
  const ContainerFaultScope scope;
  Reopen(BYOD_NO_RULE_LIMIT);
  EXPECT_EQ(Containers().tree_option, 0u);
}

TEST_F(RuleStoreTest, HashTablesHave1024BucketsAndTheStoresHash) {
  for (void* const handle :
       {BYOD_data_GetUserAgentRuleTbl()->hash, BYOD_data_GetDhcpOptionRuleTbl()->hash}) {
    const auto* const table = static_cast<HASH_Table*>(handle);
    EXPECT_EQ(table->bucket_count, 1024u);
    EXPECT_EQ(table->hash("iPhone"), byod_data_HashString("iPhone"));
  }
}

TEST_F(RuleStoreTest, GettersGiveThePlacesInsideTheTables) {
  EXPECT_EQ(BYOD_data_GetUserAgentRuleList(), &BYOD_data_GetUserAgentRuleTbl()->list);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleMatchList(), &BYOD_data_GetUserAgentRuleTbl()->match_list);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleList(), &BYOD_data_GetDhcpOptionRuleTbl()->list);
  BYOD_data_GetMacRuleTbl()->rule_count = 3;
  BYOD_data_GetUserAgentRuleTbl()->rule_count = 4;
  BYOD_data_GetDhcpOptionRuleTbl()->rule_count = 5;
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 3u);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 4u);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleCount(), 5u);
}

TEST_F(RuleStoreTest, CustomRuleCountIsThePlainSumOfTheTables) {
  BYOD_data_GetMacRuleTbl()->custom_count = 1;
  BYOD_data_GetUserAgentRuleTbl()->custom_count = 20;
  BYOD_data_GetDhcpOptionRuleTbl()->custom_count = 300;
  EXPECT_EQ(Byod_GetCustomRuleCount(), 321u);
  BYOD_data_GetMacRuleTbl()->custom_count = UINT32_MAX;
  EXPECT_EQ(Byod_GetCustomRuleCount(), 319u);  // modulo 2^32
}

void FillTables() {
  for (unsigned key = 0; key < 20; ++key) {
    MakeModified<MacRules>(key, Info("n", "v"), Info("", "", "c"));
    MakeModified<UserAgentRules>(key, Info("n", "v"), Info("", "", "c"));
    MakeModified<DhcpOptionRules>(key, Info("n", "v"), Info("", "", "c"));
    MakeCustom<MacRules>(100 + key, "n");
    MakeCustom<UserAgentRules>(100 + key, "n");
    MakeCustom<DhcpOptionRules>(100 + key, "n");
  }
}

TEST_F(RuleStoreTest, FiniLeavesNoRuleNoCountNoList) {
  FillTables();
  ASSERT_EQ(Byod_GetCustomRuleCount(), 60u);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleCount(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetMacRuleTbl()->tree, nullptr);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleTbl()->hash, nullptr);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleTbl()->hash, nullptr);
  EXPECT_EQ(*BYOD_data_GetUserAgentRuleList(), nullptr);
  EXPECT_EQ(*BYOD_data_GetUserAgentRuleMatchList(), nullptr);
  EXPECT_EQ(*BYOD_data_GetDhcpOptionRuleList(), nullptr);
}

TEST_F(RuleStoreTest, FiniReleasesEveryRuleWithBothInformationsInAllTables) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  FillTables();
  constexpr int64_t kOfEitherOrigin = 60;  // with two device info records, and with one
  EXPECT_GE(support::LiveAllocations(), before + kOfEitherOrigin * 3 + kOfEitherOrigin * 2);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(support::LiveAllocations(), before);
}

TEST_F(RuleStoreTest, FiniTwiceInARowIsHarmless) {
  FillTables();
  BYOD_data_GlobalInfoFini();
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
}

TEST_F(RuleStoreTest, InitAfterFiniBeginsAnew) {
  FillTables();
  BYOD_data_GlobalInfoFini();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  EXPECT_EQ(MacRules::Find(1u), nullptr);
  EXPECT_EQ(UserAgentRules::Find(1u), nullptr);
  EXPECT_EQ(DhcpOptionRules::Find(1u), nullptr);
  FillTables();
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 40u);
}

TEST_F(RuleStoreTest, SearchesAfterFiniFindNothing) {
  FillTables();
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(MacRules::Find(1u), nullptr);
  EXPECT_EQ(UserAgentRules::Find(1u), nullptr);
  EXPECT_EQ(DhcpOptionRules::Find(1u), nullptr);
  EXPECT_EQ(UserAgentRules::First(), nullptr);
  EXPECT_EQ(DhcpOptionRules::First(), nullptr);
  EXPECT_EQ(MacRules::First(), nullptr);
}

// ---------------------------------------------------------------- containers that cannot be made

class FailedInit : public RuleStoreTest {
 protected:
  FailedInit() {
    BYOD_data_GlobalInfoFini();
    Containers() = {};
  }
  ContainerFaultScope scope_;
};

TEST_F(FailedInit, WithoutATreeKeepsBothHashTables) {
  Containers().avl_init.fails_always = true;
  EXPECT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
  EXPECT_NE(BYOD_data_GetDhcpOptionRuleTbl()->hash, nullptr);
  EXPECT_NE(BYOD_data_GetUserAgentRuleTbl()->hash, nullptr);
  EXPECT_EQ(BYOD_data_GetMacRuleTbl()->tree, nullptr);
  EXPECT_EQ(Containers().tables_made.size(), 2u);
  EXPECT_TRUE(Containers().tables_destroyed.empty());
}

TEST_F(FailedInit, WithoutTheFirstHashTableKeepsTheOtherContainers) {
  Containers().hash_create.fails_at = 1;
  EXPECT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleTbl()->hash, nullptr);
  EXPECT_NE(BYOD_data_GetUserAgentRuleTbl()->hash, nullptr);
  EXPECT_NE(BYOD_data_GetMacRuleTbl()->tree, nullptr);
  MakeCustom<UserAgentRules>(1u, "n");
  MakeCustom<MacRules>(1u, "n");
  EXPECT_EQ(DhcpOptionRules::Find(1u), nullptr);
}

TEST_F(FailedInit, WithoutTheSecondHashTableKeepsTheOtherContainers) {
  Containers().hash_create.fails_at = 2;
  EXPECT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
  EXPECT_NE(BYOD_data_GetDhcpOptionRuleTbl()->hash, nullptr);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleTbl()->hash, nullptr);
  EXPECT_NE(BYOD_data_GetMacRuleTbl()->tree, nullptr);
  MakeCustom<DhcpOptionRules>(1u, "n");
  MakeCustom<MacRules>(1u, "n");
}

TEST_F(FailedInit, WithoutAnyContainerFailsAndFiniIsHarmless) {
  Containers().hash_create.fails_always = true;
  Containers().avl_init.fails_always = true;
  EXPECT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
  EXPECT_EQ(Containers().avl_init.calls, 1u);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(Containers().trees_destroyed, 0u);
  EXPECT_TRUE(Containers().tables_destroyed.empty());
}

TEST_F(FailedInit, KeepsTheLimitAllTheSame) {
  Containers().avl_init.fails_always = true;
  ASSERT_EQ(BYOD_data_GlobalInfoInit(1), kFailed);
  MakeCustom<UserAgentRules>(1u, "n");
  auto* rule = NewRule<DhcpOptionRules>(1, BYOD_RULE_CUSTOM);
  EXPECT_EQ(DhcpOptionRules::Add(rule), kRuleLimit);
  DhcpOptionRules::Free(rule);

  BYOD_data_GlobalInfoFini();
  Containers() = {};
  Containers().hash_create.fails_always = true;
  ASSERT_EQ(BYOD_data_GlobalInfoInit(1), kFailed);
  MakeCustom<MacRules>(1u, "n");
  auto* other = NewRule<MacRules>(2, BYOD_RULE_CUSTOM);
  EXPECT_EQ(MacRules::Add(other), kRuleLimit);
  MacRules::Free(other);
}

TEST_F(FailedInit, LeavesNothingBehindAfterFini) {
  for (uint32_t table = 1; table <= 3; ++table) {
    Containers() = {};
    Containers().tables_made.reserve(2);
    Containers().tables_destroyed.reserve(2);
    const int64_t before = support::LiveAllocations();
    if (table == 3) {
      Containers().avl_init.fails_always = true;
    } else {
      Containers().hash_create.fails_at = table;
    }
    EXPECT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
    BYOD_data_GlobalInfoFini();
    EXPECT_EQ(support::LiveAllocations(), before);
  }
}

TEST_F(FailedInit, OfTheTreeMakesFiniLeaveTheMacCounts) {
  Containers().avl_init.fails_always = true;
  ASSERT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
  BYOD_data_GetMacRuleTbl()->rule_count = 7;
  BYOD_data_GetMacRuleTbl()->custom_count = 3;
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 7u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 3u);

  Containers() = {};
  ASSERT_EQ(BYOD_data_GlobalInfoInit(5), 0u);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
}

TEST_F(FailedInit, OfAHashTableDoesNotKeepFiniFromClearingItsCountsAndLists) {
  Containers().hash_create.fails_always = true;
  ASSERT_EQ(BYOD_data_GlobalInfoInit(5), kFailed);
  BYOD_data_GetDhcpOptionRuleTbl()->rule_count = 7;
  BYOD_data_GetDhcpOptionRuleTbl()->custom_count = 3;
  BYOD_data_GetUserAgentRuleTbl()->rule_count = 7;
  BYOD_data_GetUserAgentRuleTbl()->custom_count = 3;
  ByodLink link = {};
  *BYOD_data_GetDhcpOptionRuleList() = &link;
  *BYOD_data_GetUserAgentRuleList() = &link;
  *BYOD_data_GetUserAgentRuleMatchList() = &link;
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleCount(), 0u);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 0u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  EXPECT_EQ(*BYOD_data_GetDhcpOptionRuleList(), nullptr);
  EXPECT_EQ(*BYOD_data_GetUserAgentRuleList(), nullptr);
  EXPECT_EQ(*BYOD_data_GetUserAgentRuleMatchList(), nullptr);
}

TEST_F(FailedInit, SecondInitOverwritesTheContainersAndDestroysNone) {
  ASSERT_EQ(BYOD_data_GlobalInfoInit(5), 0u);
  void* const tree = BYOD_data_GetMacRuleTbl()->tree;
  BYOD_data_GetMacRuleTbl()->rule_count = 7;
  BYOD_data_GetUserAgentRuleTbl()->rule_count = 7;
  ASSERT_EQ(BYOD_data_GlobalInfoInit(5), 0u);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 7u);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 0u);
  EXPECT_EQ(Containers().tables_made.size(), 4u);
  EXPECT_TRUE(Containers().tables_destroyed.empty());
  EXPECT_EQ(Containers().trees_destroyed, 0u);
  EXPECT_NE(BYOD_data_GetMacRuleTbl()->tree, tree);
  EXPECT_EQ(BYOD_data_GetDhcpOptionRuleTbl()->hash, Containers().tables_made[2]);
  EXPECT_EQ(BYOD_data_GetUserAgentRuleTbl()->hash, Containers().tables_made[3]);
  AVL_Fini(tree);
  HASH_Destroy(static_cast<HASH_Table*>(Containers().tables_made[0]), nullptr);
  HASH_Destroy(static_cast<HASH_Table*>(Containers().tables_made[1]), nullptr);
}

// ---------------------------------------------------------------- release

TEST(FreedRule, TakesBothInformationsWithIt) {
  const int64_t before = support::LiveAllocations();
  const auto check = [&]<typename Rules>(Rules) {
    auto* rule = Rules::Alloc();
    ASSERT_NE(rule, nullptr);
    rule->predefined = NewInfo("p");
    rule->configured = NewInfo("c");
    EXPECT_EQ(support::LiveAllocations(), before + 3);
    Rules::Free(rule);
    EXPECT_EQ(support::LiveAllocations(), before);
    Rules::Free(Rules::Alloc());
    Rules::Free(nullptr);
    EXPECT_EQ(support::LiveAllocations(), before);
  };
  check(MacRules());
  check(UserAgentRules());
  check(DhcpOptionRules());
}

TEST(AllocatedRule, IsZeroFilled) {
  const auto check = []<typename Rules>(Rules) {
    // Memory that was used before must not show.
    void* const used = std::malloc(sizeof(typename Rules::Rule));
    std::memset(used, 0xAA, sizeof(typename Rules::Rule));
    std::free(used);
    auto* rule = Rules::Alloc();
    EXPECT_EQ(support::BytesOf(*rule), support::ZeroBytes<typename Rules::Rule>()) << Rules::kName;
    Rules::Free(rule);
  };
  check(MacRules());
  check(UserAgentRules());
  check(DhcpOptionRules());
}

TEST_F(RuleStoreTest, ReleaseOfAMacRuleTakesItOutOfTheTreeAndFreesIt) {
  const int64_t before = support::LiveAllocations();
  auto* rule = NewRule<MacRules>(1, BYOD_RULE_PREDEFINED);
  ASSERT_EQ(MacRules::Add(rule), 0u);
  byod_data_MacRuleRelease(rule);
  EXPECT_EQ(support::LiveAllocations(), before);
  EXPECT_EQ(MacRules::Find(1u), nullptr);
}

TEST_F(RuleStoreTest, ReleaseOfAMacRuleThatIsNotInTheTreeLeavesIt) {
  auto* rule = NewRule<MacRules>(1, BYOD_RULE_PREDEFINED);
  rule->predefined = NewInfo("p");
  byod_data_MacRuleRelease(rule);
  EXPECT_STREQ(rule->predefined->name, "p");
  MacRules::Free(rule);
}

TEST_F(RuleStoreTest, ReleaseOfAMacRuleGoesByWhatTheTreeReports) {
  const ContainerFaultScope scope;
  auto* rule = NewRule<MacRules>(1, BYOD_RULE_PREDEFINED);
  ASSERT_EQ(MacRules::Add(rule), 0u);
  Containers().avl_remove.fails_always = true;
  Containers().avl_remove.failure = 0x55;
  byod_data_MacRuleRelease(rule);
  EXPECT_EQ(rule->origin, uint32_t{BYOD_RULE_PREDEFINED});
  MacRules::Free(rule);
}

// ---------------------------------------------------------------- hash

// Bucket numbers worked out by hand from the definition, not by this library.
TEST(HashString, IsFnv1OfTheLowerCaseText) {
  EXPECT_EQ(byod_data_HashString(""), 453u);
  EXPECT_EQ(byod_data_HashString("a"), 382u);
  EXPECT_EQ(byod_data_HashString("iPhone"), 854u);
  EXPECT_EQ(byod_data_HashString("Mozilla"), 287u);
  EXPECT_EQ(byod_data_HashString("Android&&Mobile"), 596u);
  EXPECT_EQ(byod_data_HashString("1,3,6"), 667u);
  EXPECT_EQ(byod_data_HashString("1,3,6,15,119,252"), 123u);
  EXPECT_EQ(byod_data_HashString(std::string(255, 'x').c_str()), 367u);
}

TEST(HashString, IgnoresCase) {
  EXPECT_EQ(byod_data_HashString("Mozilla"), byod_data_HashString("MOZILLA"));
  EXPECT_EQ(byod_data_HashString("ABCDEFGHIJKLMNOPQRSTUVWXYZ"),
            byod_data_HashString("abcdefghijklmnopqrstuvwxyz"));
}

TEST(HashString, FoldsLettersOnly) {
  EXPECT_EQ(byod_data_HashString("@[`{"), 221u);
  EXPECT_NE(byod_data_HashString("@"), byod_data_HashString("`"));
  EXPECT_NE(byod_data_HashString("["), byod_data_HashString("{"));
}

TEST(HashString, TakesBytesAbove127Unsigned) {
  EXPECT_EQ(byod_data_HashString("\x80"), 415u);
  EXPECT_EQ(byod_data_HashString("\xFF"), 480u);
  EXPECT_EQ(byod_data_HashString("\xC4\xD6\xDC"), 489u);
}

TEST(HashString, IsAlwaysABucket) {
  for (int i = 0; i < 5000; ++i)
    ASSERT_LT(byod_data_HashString(std::to_string(i * 7919).c_str()), 1024u);
}

}  // namespace
