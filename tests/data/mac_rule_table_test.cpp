// SPDX-License-Identifier: Apache-2.0
// The MAC rules: what only this table does.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lauth_avl.h"
#include "support/container_faults.h"
#include "support/failing_allocator.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;

class MacRuleTable : public RuleStoreTest {
 protected:
  static ByodMacRule* Rule(const char* mac, const char* mask, uint32_t origin) {
    const ByodMacRule probe = Probe(mac, mask);
    ByodMacRule* rule = BYOD_data_AllocMacRule();
    std::memcpy(rule->mac, probe.mac, sizeof rule->mac);
    std::memcpy(rule->mask, probe.mask, sizeof rule->mask);
    rule->origin = origin;
    return rule;
  }
  static ByodMacRule* Add(const char* mac, const char* mask = kPrefixMask,
                          uint32_t origin = BYOD_RULE_PREDEFINED) {
    ByodMacRule* rule = Rule(mac, mask, origin);
    EXPECT_EQ(Byod_AddMacRule(rule), 0u) << mac;
    return rule;
  }
  static ByodMacRule* AddCustom(const char* mac, const char* mask = kPrefixMask) {
    return Add(mac, mask, BYOD_RULE_CUSTOM);
  }
  static ByodMacRule* Find(const char* mac, const char* mask = "FF:FF:FF:FF:FF:FF") {
    const ByodMacRule probe = Probe(mac, mask);
    return BYOD_data_FindMacRule(&probe);
  }
  static ByodMacRule* SetFind(const char* mac, const char* mask = "FF:FF:FF:FF:FF:FF") {
    const ByodMacRule probe = Probe(mac, mask);
    return BYOD_data_SetFindMacRule(&probe);
  }
  static ByodMacRule* Next(const char* mac, const char* mask = "FF:FF:FF:FF:FF:FF") {
    const ByodMacRule probe = Probe(mac, mask);
    return BYOD_FindRuleFromMacAvlNext(&probe);
  }
  static ByodMacRule* NextConfigured(const char* mac) {
    const ByodMacRule probe = Probe(mac, "00:00:00:00:00:00");
    return BYOD_ProcGetNextMacByConfig(&probe);
  }
  ContainerFaultScope scope_;
};

TEST_F(MacRuleTable, PrefixRuleCoversEveryAddressUnderIt) {
  ByodMacRule* rule = AddCustom("00:11:22:00:00:00");
  EXPECT_EQ(Find("00:11:22:33:44:55"), rule);
  EXPECT_EQ(Find("00:11:22:00:00:00"), rule);
  EXPECT_EQ(Find("00:11:22:FF:FF:FF"), rule);
  EXPECT_EQ(Find("00:11:23:00:00:00"), nullptr);
  EXPECT_EQ(Find("00:11:21:FF:FF:FF"), nullptr);
}

TEST_F(MacRuleTable, ExactSearchWantsTheVeryMask) {
  ByodMacRule* rule = AddCustom("00:11:22:00:00:00");
  EXPECT_EQ(SetFind("00:11:22:33:44:55"), nullptr);
  EXPECT_EQ(SetFind("00:11:22:00:00:00"), nullptr);
  EXPECT_EQ(SetFind("00:11:22:00:00:00", kPrefixMask), rule);
  EXPECT_EQ(SetFind("00:11:22:00:00:00", "FF:FF:F0:00:00:00"), nullptr);
}

TEST_F(MacRuleTable, ExactSearchDoesNotSeeAddressBitsOutsideTheMask) {
  ByodMacRule* rule = AddCustom("00:11:22:99:99:99");
  EXPECT_EQ(SetFind("00:11:22:00:00:00", kPrefixMask), rule);
  EXPECT_EQ(SetFind("00:11:22:99:99:99", kPrefixMask), rule);
}

TEST_F(MacRuleTable, KeepsAddressBitsOutsideTheMask) {
  const ByodMacRule probe = Probe("00:11:22:99:88:77", kPrefixMask);
  uint16_t created = 0;
  uint32_t err = 0;
  ByodMacRule* rule = BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, &created, &err);
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(std::memcmp(rule->mac, probe.mac, 6), 0);
  EXPECT_EQ(std::memcmp(rule->mask, probe.mask, 6), 0);
}

TEST_F(MacRuleTable, RefusesARuleThatOverlapsAnotherWithTheTreesResult) {
  ByodMacRule* prefix = AddCustom("00:11:22:00:00:00");
  ByodMacRule* rule = Rule("00:11:22:33:44:55", "FF:FF:FF:FF:FF:FF", BYOD_RULE_CUSTOM);
  EXPECT_EQ(Byod_AddMacRule(rule), AVL_ERR_EXISTS);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 1u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 1u);
  EXPECT_EQ(Find("00:11:22:33:44:55"), prefix);
  BYOD_data_FreeMacRule(rule);
}

TEST_F(MacRuleTable, RefusesARuleThatIsInTheTableAlready) {
  ByodMacRule* rule = AddCustom("00:11:22:00:00:00");
  rule->mac[2] = 0x33;  // no longer equal to itself
  EXPECT_EQ(Byod_AddMacRule(rule), AVL_ERR_LINKED);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 1u);
}

TEST_F(MacRuleTable, RefusesEveryRuleWhileTheStoreIsClosed) {
  BYOD_data_GlobalInfoFini();
  ByodMacRule* rule = Rule("00:11:22:33:44:55", kPrefixMask, BYOD_RULE_CUSTOM);
  EXPECT_EQ(Byod_AddMacRule(rule), AVL_ERR_ARGUMENT);
  BYOD_data_FreeMacRule(rule);
  const ByodMacRule probe = Probe("00:11:22:33:44:55");
  uint16_t created = 77;
  uint32_t err = 0;
  EXPECT_EQ(BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, &created, &err), nullptr);
  EXPECT_EQ(created, 0);
  EXPECT_EQ(err, AVL_ERR_ARGUMENT);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
}

// The way down to the overlapped rule is another one under such a mask.
TEST_F(MacRuleTable, DoesNotNoticeEveryOverlapOfAMaskThatKeepsNoPrefix) {
  Add("00:00:00:00:00:30", "FF:FF:FF:FF:FF:FF");
  ByodMacRule* overlapped = Add("00:00:00:00:00:21", "FF:FF:FF:FF:FF:FF");
  Add("00:00:00:00:00:01", "FF:FF:FF:FF:FF:0F");
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 3u);
  const ByodMacRule probe = Probe("00:00:00:00:00:01", "FF:FF:FF:FF:FF:0F");
  EXPECT_NE(BYOD_data_FindMacRule(&probe), overlapped);
}

TEST_F(MacRuleTable, PassesWhateverTheTreeReportsUnchanged) {
  Containers().avl_insert.fails_always = true;
  for (const uint32_t code : {0x77u, 1u, UINT32_MAX}) {
    Containers().avl_insert.failure = code;
    ByodMacRule* rule = Rule("00:11:22:33:44:55", kPrefixMask, BYOD_RULE_CUSTOM);
    EXPECT_EQ(Byod_AddMacRule(rule), code);
    BYOD_data_FreeMacRule(rule);

    const int64_t before = support::LiveAllocations();
    const ByodMacRule probe = Probe("00:11:22:33:44:55");
    uint16_t created = 77;
    uint32_t err = 0;
    EXPECT_EQ(BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, &created, &err), nullptr);
    EXPECT_EQ(created, 0);
    EXPECT_EQ(err, code);
    const ByodDeviceInfo info = Info("n");
    BYOD_data_AddFileMacRule(&probe, &info);
    EXPECT_EQ(support::LiveAllocations(), before);
    EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
    EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  }
}

TEST_F(MacRuleTable, AsksTheLimitBeforeTheTree) {
  Reopen(0);
  const uint32_t calls = Containers().avl_insert.calls;
  ByodMacRule* rule = Rule("00:11:22:33:44:55", kPrefixMask, BYOD_RULE_CUSTOM);
  EXPECT_EQ(Byod_AddMacRule(rule), kRuleLimit);
  EXPECT_EQ(Containers().avl_insert.calls, calls);
  BYOD_data_FreeMacRule(rule);
}

TEST_F(MacRuleTable, MakesNoRuleUnderAnother) {
  AddCustom("00:11:22:00:00:00");
  const int64_t before = support::LiveAllocations();
  const ByodMacRule probe = Probe("00:11:22:33:44:55");
  uint16_t created = 77;
  uint32_t err = 0;
  EXPECT_EQ(BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, &created, &err), nullptr);
  EXPECT_EQ(created, 0);
  EXPECT_EQ(err, AVL_ERR_EXISTS);
  EXPECT_EQ(support::LiveAllocations(), before);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 1u);
}

TEST_F(MacRuleTable, DropsAPredefinedRuleThatIsThereWithoutAWord) {
  const ByodMacRule probe = Probe("00:11:22:00:00:00", kPrefixMask);
  const ByodDeviceInfo first = Info("first"), second = Info("second");
  BYOD_data_AddFileMacRule(&probe, &first);
  const int64_t before = support::LiveAllocations();
  BYOD_data_AddFileMacRule(&probe, &second);
  EXPECT_EQ(support::LiveAllocations(), before);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 1u);
  EXPECT_EQ(InfoText(Find("00:11:22:33:44:55")->predefined), "first///");
}

TEST_F(MacRuleTable, DeletionOfATerminalsAddressDeletesThePrefixRuleOverIt) {
  AddCustom("00:11:22:00:00:00");
  const ByodMacRule probe = Probe("00:11:22:33:44:55");
  BYOD_data_DelMacRule(&probe);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 0u);
}

TEST_F(MacRuleTable, DeletionOfAPartOfATerminalsRuleTakesThePrefixRuleOverIt) {
  ByodMacRule* rule = AddCustom("00:11:22:00:00:00");
  rule->configured = NewInfo("n", "v");
  const ByodMacRule probe = Probe("00:11:22:33:44:55");
  BYOD_data_DelDeviceInfoFromMacRule(0, 0, &probe);
  EXPECT_EQ(InfoText(rule->configured), "/v//");
}

TEST_F(MacRuleTable, DeletionOfAttributesKeepsACustomRuleWithANameAndDeletesOneWithout) {
  AddCustom("00:11:22:00:00:00")->configured = NewInfo("n", "v", "c", "o");
  AddCustom("00:11:33:00:00:00")->configured = NewInfo("", "v", "c", "o");
  const ByodMacRule named = Probe("00:11:22:00:00:00"), nameless = Probe("00:11:33:00:00:00");
  BYOD_data_DelDeviceInfoFromMacRule(1, 0, &named);
  BYOD_data_DelDeviceInfoFromMacRule(1, 0, &nameless);
  ASSERT_NE(Find("00:11:22:00:00:00"), nullptr);
  EXPECT_EQ(InfoText(Find("00:11:22:00:00:00")->configured), "n///");
  EXPECT_EQ(Find("00:11:33:00:00:00"), nullptr);
}

TEST_F(MacRuleTable, CountsAnErasedRuleWhateverTheTreeReports) {
  ByodMacRule* rule = AddCustom("00:11:22:00:00:00");
  AddCustom("00:11:33:00:00:00");
  Containers().avl_remove.fails_always = true;
  Containers().avl_remove.failure = 0x55;
  const int64_t before = support::LiveAllocations();
  BYOD_DeleteMacRule(rule);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 1u);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 1u);
  EXPECT_EQ(support::LiveAllocations(), before - 1);
  Containers() = {};
}

// ---------------------------------------------------------------- neighbours

TEST_F(MacRuleTable, GivesTheRuleBefore) {
  ByodMacRule* a = Add("00:11:22:00:00:00");
  ByodMacRule* b = Add("00:11:23:00:00:00");
  ByodMacRule* c = Add("00:11:24:00:00:00");
  EXPECT_EQ(BYOD_FindRuleFromMacAvlPre(c), b);
  EXPECT_EQ(BYOD_FindRuleFromMacAvlPre(b), a);
  EXPECT_EQ(BYOD_FindRuleFromMacAvlPre(a), nullptr);
  EXPECT_EQ(BYOD_FindRuleFromMacAvlPre(nullptr), nullptr);
}

TEST_F(MacRuleTable, PagesFromTheAllZeroProbeToTheFirstRuleAndFromTheLastToNone) {
  ByodMacRule* b = Add("00:11:23:00:00:00");
  ByodMacRule* a = Add("00:11:22:00:00:00");
  EXPECT_EQ(Next("00:00:00:00:00:00", "00:00:00:00:00:00"), a);
  EXPECT_EQ(Next("00:11:22:00:00:00", kPrefixMask), b);
  EXPECT_EQ(Next("00:11:23:00:00:00", kPrefixMask), nullptr);
  EXPECT_EQ(Next("00:11:23:44:55:66"), nullptr);
}

TEST_F(MacRuleTable, PagesFromTheFirstWhenTheFirstRuleIsAllZeroItself) {
  ByodMacRule* zero = Add("00:00:00:00:00:00", "FF:FF:FF:FF:FF:FF");
  ByodMacRule* one = Add("00:00:00:00:00:01", "FF:FF:FF:FF:FF:FF");
  EXPECT_EQ(Next("00:00:00:00:00:00", "00:00:00:00:00:00"), zero);
  EXPECT_EQ(Next("00:00:00:00:00:00"), one);
}

TEST_F(MacRuleTable, TakesAProbeForAllZeroOnlyIfAddressAndMaskAre) {
  Add("00:11:22:00:00:00");
  ByodMacRule* second = Add("00:11:23:00:00:00");
  // With a zero mask every rule is equal: a root of two is one of them, and not the rule before.
  ByodMacRule* next = Next("00:00:00:00:00:01", "00:00:00:00:00:00");
  EXPECT_TRUE(next == second || next == nullptr);
}

TEST_F(MacRuleTable, PagesToTheFirstRuleFromAnAddressBeforeIt) {
  ByodMacRule* a = Add("00:11:22:00:00:00");
  Add("00:11:23:00:00:00");
  EXPECT_EQ(Next("00:11:21:00:00:00"), a);
}

TEST_F(MacRuleTable, PagesToTheFirstRuleFromAnUnknownAddressBehindIt) {
  ByodMacRule* a = Add("00:11:22:00:00:00");
  Add("00:11:24:00:00:00");
  EXPECT_EQ(Next("00:11:23:00:00:00"), a);  // not to the one behind it
  EXPECT_EQ(Containers().asked_after_null, 1u);
  EXPECT_EQ(Next("00:11:25:00:00:00"), a);
}

TEST_F(MacRuleTable, PagesFromAnUnknownAddressToWhateverTheTreeHasBehindNoNode) {
  Add("00:11:22:00:00:00");
  ByodMacRule* b = Add("00:11:24:00:00:00");
  ByodMacRule* c = Add("00:11:26:00:00:00");
  Containers().after_null = {c, b};
  EXPECT_EQ(Next("00:11:23:00:00:00"), b);  // the last before null, address unseen
  EXPECT_EQ(Containers().asked_after_null, 3u);
}

TEST_F(MacRuleTable, ComparesUnmaskedAddressesWithTheFirstRule) {
  ByodMacRule* a = Add("00:11:22:99:00:00");
  ByodMacRule* b = Add("00:11:24:00:00:00");
  // A tree that misses: the first rule's address decides, outside its mask too.
  Containers().avl_get.fails_always = true;
  EXPECT_EQ(Next("00:11:22:98:00:00"), a);
  EXPECT_EQ(Containers().asked_after_null, 0u);
  EXPECT_EQ(Next("00:11:22:99:00:00"), b);
  EXPECT_EQ(Containers().asked_after_null, 0u);
  EXPECT_EQ(Next("00:11:22:9A:00:00"), a);
  EXPECT_EQ(Containers().asked_after_null, 1u);
}

TEST_F(MacRuleTable, PagesNothingWhenEmpty) {
  EXPECT_EQ(Next("00:00:00:00:00:00", "00:00:00:00:00:00"), nullptr);
  EXPECT_EQ(Next("00:11:22:00:00:00"), nullptr);
  EXPECT_EQ(NextConfigured("00:00:00:00:00:00"), nullptr);
  EXPECT_EQ(Containers().asked_after_null, 0u);
}

// ---------------------------------------------------------------- running configuration

TEST_F(MacRuleTable, ConfigurationHasCustomAndModifiedRules) {
  Add("00:11:22:00:00:00");
  ByodMacRule* custom = AddCustom("00:11:23:00:00:00");
  Add("00:11:24:00:00:00");
  ByodMacRule* modified = Add("00:11:25:00:00:00");
  modified->modified = 1;
  Add("00:11:26:00:00:00");
  EXPECT_EQ(NextConfigured("00:00:00:00:00:00"), custom);
  EXPECT_EQ(NextConfigured("00:11:23:00:00:00"), modified);
  EXPECT_EQ(NextConfigured("00:11:25:00:00:00"), nullptr);
}

TEST_F(MacRuleTable, ConfigurationGoesByTheFlagNotByTheInformation) {
  ByodMacRule* rule = Add("00:11:22:00:00:00");
  rule->configured = NewInfo("n");
  EXPECT_EQ(NextConfigured("00:00:00:00:00:00"), nullptr);
  rule->modified = 1;
  EXPECT_EQ(NextConfigured("00:00:00:00:00:00"), rule);
}

TEST_F(MacRuleTable, ConfigurationPassesOverRulesUpToAndWithTheUnmaskedAddress) {
  ByodMacRule* a = AddCustom("00:11:22:99:00:00");
  ByodMacRule* b = AddCustom("00:11:24:00:00:00");
  EXPECT_EQ(NextConfigured("00:11:22:98:FF:FF"), a);
  EXPECT_EQ(NextConfigured("00:11:22:99:00:00"), b);
  EXPECT_EQ(NextConfigured("00:11:22:99:00:01"), b);
  EXPECT_EQ(NextConfigured("00:11:24:00:00:00"), nullptr);
}

TEST_F(MacRuleTable, ConfigurationComparesNoMoreBehindTheFirstGreaterAddress) {
  // In the tree 01 comes before 02; the whole addresses are the other way round.
  Add("F1:00:00:00:00:00", "0F:00:00:00:00:00");
  ByodMacRule* small = AddCustom("02:00:00:00:00:00", "0F:00:00:00:00:00");
  EXPECT_EQ(NextConfigured("80:00:00:00:00:00"), small);
  EXPECT_EQ(NextConfigured("F1:00:00:00:00:00"), nullptr);
}

TEST_F(MacRuleTable, ConfigurationEndsEveryWalkItBegan) {
  NextConfigured("00:00:00:00:00:00");
  EXPECT_EQ(Containers().walks_ended, 1u);
  AddCustom("00:11:22:00:00:00");
  NextConfigured("00:00:00:00:00:00");
  EXPECT_EQ(Containers().walks_ended, 2u);
  NextConfigured("FF:00:00:00:00:00");
  EXPECT_EQ(Containers().walks_ended, 3u);
  EXPECT_EQ(Containers().avl_walk_init.calls, 3u);
}

TEST_F(MacRuleTable, ConfigurationIsEmptyWithoutAWalk) {
  AddCustom("00:11:22:00:00:00");
  Containers().avl_walk_init.fails_always = true;
  EXPECT_EQ(NextConfigured("00:00:00:00:00:00"), nullptr);
  EXPECT_EQ(Containers().walks_ended, 0u);
}

TEST_F(MacRuleTable, WithTheLimitAtTwoRefusesAThirdCustomRuleButNoPredefinedOne) {
  Reopen(2);
  AddCustom("00:11:22:00:00:00");
  MakeCustom<UserAgentRules>(1u, "n");
  ByodMacRule* third = Rule("00:11:23:00:00:00", kPrefixMask, BYOD_RULE_CUSTOM);
  EXPECT_EQ(Byod_AddMacRule(third), 0x2001000Cu);
  BYOD_data_FreeMacRule(third);
  Add("00:11:23:00:00:00");
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 2u);
}

}  // namespace
