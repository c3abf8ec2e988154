// Stored rules: their records byte by byte, and how they come back into the tables.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "byod_data.h"
#include "byod_db.h"
#include "support/golden.h"
#include "support/memory_dbm.h"
#include "support/message.h"

namespace {

using namespace support;
using Calls = std::vector<DbmCall>;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
constexpr uint8_t kMask[6] = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00};
constexpr uint8_t kFullMask[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const std::string kMacKey = Key("BYOD_MacRules"), kAgentKey = Key("BYOD_UserAgentRules"),
                  kOptionKey = Key("BYOD_DhcpOptionRules");

struct RuleRecords : testing::Test {
  void SetUp() override {
    MemoryDbm::Reset();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    BYOD_db_OpenCfgDBM();
    MemoryDbm::TakeCalls();
  }
  void TearDown() override {
    BYOD_db_CloseCfgDBM();
    BYOD_data_GlobalInfoFini();
    EXPECT_EQ(MemoryDbm::OpenIterators(), 0);
  }

  ByodDeviceInfo info = {"Printer", "ACME", "printer", "RTOS"};
  ByodDeviceInfo other = {"other", "other", "other", "other"};

  ByodMacRule Mac() {
    ByodMacRule rule = {};
    rule.origin = 1;
    rule.modified = 1;
    std::memcpy(rule.mac, kMac, 6);
    std::memcpy(rule.mask, kMask, 6);
    rule.predefined = &other;
    rule.configured = &info;
    return rule;
  }
  ByodUserAgentRule Agent() {
    ByodUserAgentRule rule = {};
    std::strcpy(rule.keyword, "iPhone OS&&Mobile");
    rule.predefined = &other;
    rule.configured = &info;
    return rule;
  }
  ByodDhcpOptionRule Option() {
    ByodDhcpOptionRule rule = {};
    std::strcpy(rule.text, "1,3,6,15");
    rule.predefined = &other;
    rule.configured = &info;
    return rule;
  }
};

std::string Bytes(const void* record, size_t size) {
  return {static_cast<const char*>(record), size};
}

std::string Golden(const std::string& name) {
  return ReadGolden("records.txt").at(name);
}

// ---- adding

TEST_F(RuleRecords, MacRecordHasEveryByteInItsPlace) {
  const ByodMacRule rule = Mac();
  EXPECT_EQ(BYOD_db_AddMacRule(&rule), 0u);
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"IsKeyExist", 5, kMacKey, {}, ""},
                   {"CreateSortList", 5, kMacKey, {0, 15, 6, 0, 1, 2}, ""},
                   {"InsertSortList", 5, kMacKey, {341, 2}, Golden("MacRule")}}));
}

TEST_F(RuleRecords, UserAgentRecordHasEveryByteInItsPlace) {
  const ByodUserAgentRule rule = Agent();
  EXPECT_EQ(BYOD_db_AddUserAgentRule(&rule), 0u);
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"IsKeyExist", 5, kAgentKey, {}, ""},
                   {"CreateSortList", 5, kAgentKey, {0, 256, 6, 0, 1, 1}, ""},
                   {"InsertSortList", 5, kAgentKey, {576, 1}, Golden("UserAgentRule")}}));
}

TEST_F(RuleRecords, DhcpOptionRecordHasEveryByteInItsPlace) {
  const ByodDhcpOptionRule rule = Option();
  EXPECT_EQ(BYOD_db_AddDhcpOptionRule(&rule), 0u);
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"IsKeyExist", 5, kOptionKey, {}, ""},
                   {"CreateSortList", 5, kOptionKey, {0, 256, 6, 0, 1, 0}, ""},
                   {"InsertSortList", 5, kOptionKey, {576, 0}, Golden("DhcpOptionRule")}}));
}

TEST_F(RuleRecords, RuleWithoutConfiguredInformationIsStoredWithAllFourFieldsZero) {
  ByodMacRule mac = Mac();
  mac.configured = nullptr;
  std::memcpy(mac.mask, kFullMask, 6);
  EXPECT_EQ(BYOD_db_AddMacRule(&mac), 0u);
  EXPECT_EQ(MemoryDbm::Lists()[kMacKey].records["001a-2b3c-4d5e"], Golden("BareMacRule"));

  ByodUserAgentRule agent = Agent();
  agent.configured = nullptr;
  EXPECT_EQ(BYOD_db_AddUserAgentRule(&agent), 0u);
  EXPECT_EQ(MemoryDbm::Lists()[kAgentKey].records["iPhone OS&&Mobile"],
            Golden("UserAgentRule").substr(0, 256) + std::string(320, '\0'));
}

TEST_F(RuleRecords, BytesBehindANulAreStoredAsZero) {
  std::memset(&info, 'x', sizeof info);
  std::strcpy(info.name, "n");
  std::strcpy(info.vendor, "");
  std::strcpy(info.category, "c");
  std::strcpy(info.os, "o");
  ByodUserAgentRule agent = Agent();
  std::memset(agent.keyword, 'x', sizeof agent.keyword);
  std::strcpy(agent.keyword, "k");
  EXPECT_EQ(BYOD_db_AddUserAgentRule(&agent), 0u);
  std::string expected(576, '\0');
  expected[0] = 'k';
  expected[256] = 'n';
  expected[448] = 'c';
  expected[512] = 'o';
  EXPECT_EQ(MemoryDbm::Lists()[kAgentKey].records["k"], expected);
}

TEST_F(RuleRecords, TextsWithoutNulAreCutToTheirFields) {
  std::memset(&info, 'x', sizeof info);
  ByodDhcpOptionRule option = Option();
  std::memset(option.text, 'y', sizeof option.text);
  EXPECT_EQ(BYOD_db_AddDhcpOptionRule(&option), 0u);
  const std::string zero(1, '\0');
  EXPECT_EQ(MemoryDbm::Lists()[kOptionKey].records[std::string(255, 'y')],
            std::string(255, 'y') + zero + std::string(127, 'x') + zero + std::string(63, 'x') +
                zero + std::string(63, 'x') + zero + std::string(63, 'x') + zero);
}

TEST_F(RuleRecords, SecondAddReusesTheListAndReplacesTheRecord) {
  const ByodMacRule rule = Mac();
  EXPECT_EQ(BYOD_db_AddMacRule(&rule), 0u);
  std::strcpy(info.name, "Newer");
  EXPECT_EQ(BYOD_db_AddMacRule(&rule), 0u);
  EXPECT_EQ(MemoryDbm::CallCount("CreateSortList"), 1);
  EXPECT_EQ(MemoryDbm::Lists()[kMacKey].records.size(), 1u);
  EXPECT_STREQ(MemoryDbm::Lists()[kMacKey].records["001a-2b3c-4d5e"].c_str() + 21, "Newer");
}

TEST_F(RuleRecords, MissingRuleOrRecordFailsWithoutTouchingTheDatabase) {
  EXPECT_EQ(BYOD_db_AddMacRule(nullptr), kFailed);
  EXPECT_EQ(BYOD_db_AddUserAgentRule(nullptr), kFailed);
  EXPECT_EQ(BYOD_db_AddDhcpOptionRule(nullptr), kFailed);
  EXPECT_EQ(BYOD_db_AddMacValue(nullptr), kFailed);
  EXPECT_EQ(BYOD_db_AddUAValue(nullptr), kFailed);
  EXPECT_EQ(BYOD_db_AddDhcpOptionValue(nullptr), kFailed);
  EXPECT_EQ(MemoryDbm::CallCount(), 0 + 1);  // but for the opening
}

TEST_F(RuleRecords, ReadyRecordsAreStoredAsTheyStand) {
  ByodMacRuleShowRec mac;
  ByodTextRuleShowRec agent, option;
  std::memset(&mac, 'm', sizeof mac);
  std::memset(&agent, 'a', sizeof agent);
  std::memset(&option, 'o', sizeof option);
  EXPECT_EQ(BYOD_db_AddMacValue(&mac), 0u);
  EXPECT_EQ(BYOD_db_AddUAValue(&agent), 0u);
  EXPECT_EQ(BYOD_db_AddDhcpOptionValue(&option), 0u);
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"IsKeyExist", 5, kMacKey, {}, ""},
                   {"CreateSortList", 5, kMacKey, {0, 15, 6, 0, 1, 2}, ""},
                   {"InsertSortList", 5, kMacKey, {341, 2}, std::string(341, 'm')},
                   {"IsKeyExist", 5, kAgentKey, {}, ""},
                   {"CreateSortList", 5, kAgentKey, {0, 256, 6, 0, 1, 1}, ""},
                   {"InsertSortList", 5, kAgentKey, {576, 1}, std::string(576, 'a')},
                   {"IsKeyExist", 5, kOptionKey, {}, ""},
                   {"CreateSortList", 5, kOptionKey, {0, 256, 6, 0, 1, 0}, ""},
                   {"InsertSortList", 5, kOptionKey, {576, 0}, std::string(576, 'o')}}));
}

TEST_F(RuleRecords, DeletionPassesTheWholeRecord) {
  ByodMacRuleShowRec mac = {};
  ByodTextRuleShowRec text = {};
  std::strcpy(mac.mac_text, "001a-2b3c-4d5e");
  std::memset(mac.mask, 7, 6);
  std::strcpy(text.text, "1,3");
  std::strcpy(text.info.os, "kept");
  EXPECT_EQ(BYOD_db_DeleteMacRule(&mac), kFailed);  // nothing is stored
  EXPECT_EQ(BYOD_db_DeleteUserAgentRule(&text), kFailed);
  EXPECT_EQ(BYOD_db_DeleteDhcpOptionRule(&text), kFailed);
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"RemoveSortList", 5, kMacKey, {341}, Bytes(&mac, 341)},
                   {"RemoveSortList", 5, kAgentKey, {576}, Bytes(&text, 576)},
                   {"RemoveSortList", 5, kOptionKey, {576}, Bytes(&text, 576)}}));
}

TEST_F(RuleRecords, DeletionTakesTheRecordWithTheSameSortKey) {
  const ByodUserAgentRule rule = Agent();
  BYOD_db_AddUserAgentRule(&rule);
  ByodTextRuleShowRec text = {};
  std::strcpy(text.text, "iPhone OS&&Mobile");
  EXPECT_EQ(BYOD_db_DeleteUserAgentRule(&text), 0u);
  EXPECT_TRUE(MemoryDbm::Lists()[kAgentKey].records.empty());
}

TEST_F(RuleRecords, AddressIsStoredInLowerCaseGroups) {
  const std::pair<std::array<uint8_t, 6>, const char*> cases[] = {
      {{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}, "001a-2b3c-4d5e"},
      {{0, 0, 0, 0, 0, 0}, "0000-0000-0000"},
      {{0xFF, 0xFE, 0xDC, 0xBA, 0x98, 0x07}, "fffe-dcba-9807"},
  };
  for (const auto& [mac, text] : cases) {
    ByodMacRule rule = Mac();
    std::memcpy(rule.mac, mac.data(), 6);
    BYOD_db_AddMacRule(&rule);
    EXPECT_EQ(MemoryDbm::Lists()[kMacKey].records.count(text), 1u) << text;
  }
}

TEST_F(RuleRecords, InformationIsCopiedIntoFourFieldsWithinTheirBounds) {
  std::memset(&info, 'x', sizeof info);
  std::string name(130, '#'), vendor(66, '#'), category(66, '#'), os(66, '#');
  AddDeviceInfoToDBRule(&info, name.data(), vendor.data(), category.data(), os.data());
  EXPECT_EQ(name, std::string(127, 'x') + std::string("\0##", 3));
  for (const std::string& field : {vendor, category, os}) {
    EXPECT_EQ(field, std::string(63, 'x') + std::string("\0##", 3));
  }
}

// ---- recovery

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

TEST_F(RuleRecords, RecoveryWalksTheGivenListWithTheGivenHandleAndReleasesTheIterator) {
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

TEST_F(RuleRecords, ResultOfRecoveryIsThatOfReleasingTheIterator) {
  for (const int32_t result : {-1, 3}) {
    MemoryDbm::Pretend("FreeIterator", 1, result);
    EXPECT_EQ(RecoverMac(), result);
    MemoryDbm::Pretend("FreeIterator", 1, result);
    EXPECT_EQ(RecoverAgent(), result);
    MemoryDbm::Pretend("FreeIterator", 1, result);
    EXPECT_EQ(RecoverOption(), result);
  }
}

TEST_F(RuleRecords, MissingRulesAreMadeAsCustomOnesWithTheStoredInformation) {
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

TEST_F(RuleRecords, RecoveryIntoPredefinedRulesSetsTheModifiedFlag) {
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

TEST_F(RuleRecords, RecordWithoutInformationLeavesAPredefinedRuleUnmodified) {
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

TEST_F(RuleRecords, CustomRuleWithoutInformationComesBackWithoutIt) {
  Store(kAgentKey, 256, TextRecord("agent", ""));
  RecoverAgent();
  ASSERT_NE(BYOD_data_FindUserAgentRule("agent"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("agent")->configured, nullptr);
}

TEST_F(RuleRecords, RecordsThatTheLimitRefusesAreSkippedAndOthersStillApplied) {
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

TEST_F(RuleRecords, RuleThatTheTreeRefusesIsSkipped) {
  ByodMacRule probe = Mac();
  BYOD_data_AddFileMacRule(&probe, &other);  // covers the address below
  Store(kMacKey, 15, MacRecord("001a-2b3c-4d5e", kFullMask, "within"));
  Store(kMacKey, 15, MacRecord("0200-0000-0001", kFullMask, "apart"));
  EXPECT_EQ(RecoverMac(), 0);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), 2u);
  EXPECT_EQ(Find(kMac, kFullMask), nullptr);
}

TEST_F(RuleRecords, FailedFetchEndsTheRecoveryAfterTheRulesBeforeIt) {
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

TEST_F(RuleRecords, RecordsWithoutNulsAreReadWithinTheirFields) {
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

TEST_F(RuleRecords, RecordShorterThanItsSizeIsFilledWithZeros) {
  Store(kAgentKey, 256, TextRecord("long", "a long name"));
  Store(kAgentKey, 256, "short");
  RecoverAgent();
  ASSERT_NE(BYOD_data_FindUserAgentRule("short"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("short")->configured, nullptr);
}

TEST_F(RuleRecords, StoredAddressIsUsedAsFarAsItParses) {
  Store(kMacKey, 15, MacRecord("001a-2b", kFullMask, "cut"));
  EXPECT_EQ(RecoverMac(), 0);
  const uint8_t cut[6] = {0x00, 0x1A, 0x2B, 0, 0, 0};
  ASSERT_NE(Find(cut, kFullMask), nullptr);
  EXPECT_STREQ(Find(cut, kFullMask)->configured->name, "cut");
}

TEST_F(RuleRecords, UpperCaseAddressIsTheSameRule) {
  Store(kMacKey, 15, MacRecord("001A-2B3C-4D5E", kMask, "upper"));
  RecoverMac();
  ASSERT_NE(Find(kMac, kMask), nullptr);
}

TEST_F(RuleRecords, WhatIsStoredComesBackInEveryField) {
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
