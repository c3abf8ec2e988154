// SPDX-License-Identifier: Apache-2.0
// Stored rules: their records byte by byte, and the calls that store and delete them.
#include "db/rule_records.h"

#include <array>

namespace {

using namespace rule_records;

struct RuleRecords : Fixture {};

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

TEST_F(RuleRecords, NothingIsStoredInAListThatCannotBeCreated) {
  const ByodMacRule mac = Mac();
  const ByodUserAgentRule agent = Agent();
  const ByodDhcpOptionRule option = Option();
  const auto fails = [](uint32_t result) {
    EXPECT_EQ(result, kFailed);
    EXPECT_EQ(MemoryDbm::CallCount("CreateSortList"), 1);
    EXPECT_EQ(MemoryDbm::TakeCalls().size(), 2u);  // the check and the creation, and no insertion
    MemoryDbm::Reset();
    BYOD_db_OpenCfgDBM();
    MemoryDbm::TakeCalls();
    MemoryDbm::Fail("CreateSortList", 1, -1);
  };
  MemoryDbm::Fail("CreateSortList", 1, -1);
  fails(BYOD_db_AddMacRule(&mac));
  fails(BYOD_db_AddUserAgentRule(&agent));
  fails(BYOD_db_AddDhcpOptionRule(&option));
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

}  // namespace
