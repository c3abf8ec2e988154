// SPDX-License-Identifier: Apache-2.0
// How stored rules come back into their tables.
#include "db/rule_records.h"

#include <cstdio>

namespace {

using namespace rule_records;

struct RuleRecovery : Fixture {};

void Store(const std::string& key, uint32_t sort_length, const std::string& record) {
  MemoryDbm::List& list = MemoryDbm::Lists()[key];
  list.descriptor = {0, sort_length, 6, 0};
  list.records[std::to_string(list.records.size())] = record;
}

std::string TextRecord(const std::string& text, const std::string& name,
                       const std::string& vendor = "") {
  std::string record(576, '\0');
  record.replace(0, text.size(), text);
  record.replace(256, name.size(), name);
  record.replace(384, vendor.size(), vendor);
  return record;
}

std::string MacRecord(const std::string& text, const uint8_t (&mask)[6], const std::string& name) {
  std::string record(341, '\0');
  record.replace(0, text.size(), text);
  record.replace(15, 6, std::string(reinterpret_cast<const char*>(mask), 6));
  record.replace(21, name.size(), name);
  return record;
}

int32_t RecoverMac() {
  return BYOD_db_RecoverMacRule(5, kMacKey.c_str(), 14);
}
int32_t RecoverAgent() {
  return BYOD_db_RecoverUserAgentRule(5, kAgentKey.c_str(), 20);
}
int32_t RecoverOption() {
  return BYOD_db_ReCoverDhcpOptionRule(5, kOptionKey.c_str(), 21);
}

ByodMacRule* Find(const uint8_t (&mac)[6], const uint8_t (&mask)[6]) {
  ByodMacRule probe = {};
  std::memcpy(probe.mac, mac, 6);
  std::memcpy(probe.mask, mask, 6);
  return BYOD_data_SetFindMacRule(&probe);
}

TEST_F(RuleRecovery, RecoveryWalksTheGivenListWithTheGivenHandleAndReleasesTheIterator) {
  const struct {
    int32_t (*recover)(int32_t, const char*, uint32_t);
    uint32_t size;
  } cases[] = {{BYOD_db_RecoverMacRule, 341},
               {BYOD_db_RecoverUserAgentRule, 576},
               {BYOD_db_ReCoverDhcpOptionRule, 576}};
  for (const auto& c : cases) {
    MemoryDbm::Lists().clear();
    Store(Key("other"), 15, std::string(c.size, '1'));
    MemoryDbm::TakeCalls();
    EXPECT_EQ(c.recover(-9, "other", 6), 0);
    const std::string cleared(c.size, '\0');
    EXPECT_EQ(MemoryDbm::TakeCalls(),
              (Calls{{"GetNextSortList", -9, Key("other"), {0, 0, c.size}, cleared},
                     {"GetNextSortList", -9, Key("other"), {0, 0, c.size}, cleared},
                     {"FreeIterator", -9, "", {}, ""}}));
  }
}

TEST_F(RuleRecovery, ResultOfRecoveryIsThatOfReleasingTheIterator) {
  for (const int32_t result : {-1, 3}) {
    MemoryDbm::Pretend("FreeIterator", 1, result);
    EXPECT_EQ(RecoverMac(), result);
    MemoryDbm::Pretend("FreeIterator", 1, result);
    EXPECT_EQ(RecoverAgent(), result);
    MemoryDbm::Pretend("FreeIterator", 1, result);
    EXPECT_EQ(RecoverOption(), result);
  }
}

TEST_F(RuleRecovery, MissingRulesAreMadeAsCustomOnesWithTheStoredInformation) {
  Store(kMacKey, 15, Golden("MacRule"));
  Store(kAgentKey, 256, Golden("UserAgentRule"));
  Store(kOptionKey, 256, Golden("DhcpOptionRule"));
  EXPECT_EQ(RecoverMac(), 0);
  EXPECT_EQ(RecoverAgent(), 0);
  EXPECT_EQ(RecoverOption(), 0);
  EXPECT_EQ(Byod_GetCustomRuleCount(), 3u);
  const auto expect = [&](const auto* rule) {
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->origin, 1u);
    EXPECT_EQ(rule->modified, 0u);
    EXPECT_EQ(rule->predefined, nullptr);
    ASSERT_NE(rule->configured, nullptr);
    EXPECT_EQ(std::memcmp(rule->configured, &info, sizeof info), 0);
  };
  expect(Find(kMac, kMask));
  expect(BYOD_data_FindUserAgentRule("iPhone OS&&Mobile"));
  expect(BYOD_data_FindDhcpOptionRule("1,3,6,15"));
}

TEST_F(RuleRecovery, RecoveryIntoPredefinedRulesSetsTheModifiedFlag) {
  ByodMacRule probe = Mac();
  BYOD_data_AddFileMacRule(&probe, &other);
  BYOD_data_AddFileAgentRule("iPhone OS&&Mobile", &other);
  BYOD_data_AddFileDhcpOptionRule("1,3,6,15", &other);
  Store(kMacKey, 15, Golden("MacRule"));
  Store(kAgentKey, 256, Golden("UserAgentRule"));
  Store(kOptionKey, 256, Golden("DhcpOptionRule"));
  RecoverMac();
  RecoverAgent();
  RecoverOption();
  EXPECT_EQ(Byod_GetCustomRuleCount(), 0u);
  const auto expect = [&](const auto* rule) {
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->origin, 0u);
    EXPECT_EQ(rule->modified, 1u);
    EXPECT_STREQ(rule->predefined->name, "other");
    EXPECT_STREQ(rule->configured->name, "Printer");
  };
  expect(Find(kMac, kMask));
  expect(BYOD_data_FindUserAgentRule("iphone os&&mobile"));
  expect(BYOD_data_FindDhcpOptionRule("1,3,6,15"));
}

TEST_F(RuleRecovery, RecordWithoutInformationLeavesAPredefinedRuleUnmodified) {
  ByodMacRule probe = Mac();
  BYOD_data_AddFileMacRule(&probe, &other);
  BYOD_data_AddFileAgentRule("agent", &other);
  BYOD_data_AddFileDhcpOptionRule("1,3", &other);
  Find(kMac, kMask)->modified = 1;  // says the truth again afterwards
  Store(kMacKey, 15, MacRecord("001a-2b3c-4d5e", kMask, ""));
  Store(kAgentKey, 256, TextRecord("agent", ""));
  Store(kOptionKey, 256, TextRecord("1,3", ""));
  RecoverMac();
  RecoverAgent();
  RecoverOption();
  EXPECT_EQ(Find(kMac, kMask)->modified, 0u);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("agent")->modified, 0u);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3")->modified, 0u);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3")->configured, nullptr);
}

TEST_F(RuleRecovery, CustomRuleWithoutInformationComesBackWithoutIt) {
  Store(kAgentKey, 256, TextRecord("agent", ""));
  RecoverAgent();
  ASSERT_NE(BYOD_data_FindUserAgentRule("agent"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("agent")->configured, nullptr);
}

TEST_F(RuleRecovery, RecordsThatTheLimitRefusesAreSkippedAndOthersStillApplied) {
  BYOD_data_GlobalInfoFini();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(1), 0u);
  BYOD_data_AddFileAgentRule("third", &other);
  Store(kAgentKey, 256, TextRecord("first", "1"));
  Store(kAgentKey, 256, TextRecord("second", "2"));
  Store(kAgentKey, 256, TextRecord("third", "3"));
  Store(kOptionKey, 256, TextRecord("1,3", "4"));
  Store(kMacKey, 15, Golden("MacRule"));
  EXPECT_EQ(RecoverAgent(), 0);
  EXPECT_EQ(RecoverOption(), 0);
  EXPECT_EQ(RecoverMac(), 0);
  EXPECT_NE(BYOD_data_FindUserAgentRule("first"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("second"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("third")->modified, 1u);
  EXPECT_EQ(BYOD_data_FindDhcpOptionRule("1,3"), nullptr);
  EXPECT_EQ(Find(kMac, kMask), nullptr);
}

TEST_F(RuleRecovery, RuleThatTheTreeRefusesIsSkipped) {
  ByodMacRule probe = Mac();
  BYOD_data_AddFileMacRule(&probe, &other);  // covers the address below
  Store(kMacKey, 15, MacRecord("001a-2b3c-4d5e", kFullMask, "within"));
  Store(kMacKey, 15, MacRecord("0200-0000-0001", kFullMask, "apart"));
  EXPECT_EQ(RecoverMac(), 0);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 2u);
  EXPECT_EQ(Find(kMac, kFullMask), nullptr);
}

TEST_F(RuleRecovery, FailedFetchEndsTheRecoveryAfterTheRulesBeforeIt) {
  for (const int32_t result : {0, -1, -2147483647 - 1}) {
    BYOD_data_GlobalInfoFini();
    BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
    MemoryDbm::Lists().clear();
    for (const char* text : {"a", "b", "c"})
      Store(kAgentKey, 256, TextRecord(text, "n"));
    MemoryDbm::Fail("GetNextSortList", 3, result);
    EXPECT_EQ(RecoverAgent(), 0);
    EXPECT_EQ(BYOD_data_GetUserAgentRuleCount(), 2u);
    EXPECT_EQ(MemoryDbm::OpenIterators(), 0);
  }
}

TEST_F(RuleRecovery, RecordsWithoutNulsAreReadWithinTheirFields) {
  Store(kMacKey, 15, std::string(341, '1'));
  Store(kAgentKey, 256, std::string(576, 'a'));
  Store(kOptionKey, 256, std::string(576, '1'));
  EXPECT_EQ(RecoverMac(), 0);
  EXPECT_EQ(RecoverAgent(), 0);
  EXPECT_EQ(RecoverOption(), 0);
  const ByodUserAgentRule* const agent = BYOD_data_FindUserAgentRule(std::string(255, 'a').c_str());
  ASSERT_NE(agent, nullptr);
  EXPECT_EQ(std::string(agent->configured->name), std::string(127, 'a'));
  EXPECT_EQ(std::string(agent->configured->vendor), std::string(63, 'a'));
  EXPECT_EQ(std::string(agent->configured->category), std::string(63, 'a'));
  EXPECT_EQ(std::string(agent->configured->os), std::string(63, 'a'));
  EXPECT_NE(BYOD_data_FindDhcpOptionRule(std::string(255, '1').c_str()), nullptr);
}

TEST_F(RuleRecovery, RecordShorterThanItsSizeIsFilledWithZeros) {
  Store(kAgentKey, 256, TextRecord("long", "a long name"));
  Store(kAgentKey, 256, "short");
  RecoverAgent();
  ASSERT_NE(BYOD_data_FindUserAgentRule("short"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("short")->configured, nullptr);
}

TEST_F(RuleRecovery, StoredAddressIsUsedAsFarAsItParses) {
  Store(kMacKey, 15, MacRecord("001a-2b", kFullMask, "cut"));
  EXPECT_EQ(RecoverMac(), 0);
  const uint8_t cut[6] = {0x00, 0x1A, 0x2B, 0, 0, 0};
  ASSERT_NE(Find(cut, kFullMask), nullptr);
  EXPECT_STREQ(Find(cut, kFullMask)->configured->name, "cut");
}

TEST_F(RuleRecovery, UpperCaseAddressIsTheSameRule) {
  Store(kMacKey, 15, MacRecord("001A-2B3C-4D5E", kMask, "upper"));
  RecoverMac();
  ASSERT_NE(Find(kMac, kMask), nullptr);
}

TEST_F(RuleRecovery, WhatIsStoredComesBackInEveryField) {
  ByodMacRule mac = Mac();
  const ByodUserAgentRule agent = Agent();
  const ByodDhcpOptionRule option = Option();
  for (uint8_t last = 0; last < 50; ++last) {
    mac.mac[2] = last;  // disjoint under the mask
    std::snprintf(info.name, sizeof info.name, "name %u", last);
    ASSERT_EQ(BYOD_db_AddMacRule(&mac), 0u);
  }
  BYOD_db_AddUserAgentRule(&agent);
  BYOD_db_AddDhcpOptionRule(&option);
  RecoverMac();
  RecoverAgent();
  RecoverOption();
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 50u);
  for (uint8_t last = 0; last < 50; ++last) {
    mac.mac[2] = last;
    const ByodMacRule* const rule = Find(mac.mac, kMask);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->configured->name, "name " + std::to_string(last));
    EXPECT_STREQ(rule->configured->os, "RTOS");
    EXPECT_EQ(std::memcmp(rule->mac, mac.mac, 6), 0);
  }
}

}  // namespace
