// SPDX-License-Identifier: Apache-2.0
// The same operations on the platform's own database: what was stored is there after a restart.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "byod_data.h"
#include "byod_db.h"
#include "byod_lauthservice.h"
#include "byod_order.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauth_tlv.h"
#include "support/message.h"
#include "support/scratch_directory.h"

namespace {

using namespace support;

struct StoredDatabase : testing::Test {
  void SetUp() override {
    ASSERT_EQ(LAUTH_db_SetDirectory(directory.path().c_str()), 0);
    Start();
  }
  void TearDown() override { Stop(); }
  void Start() {
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    BYOD_order_Init();
    ASSERT_EQ(BYOD_db_OpenCfgDBM(), 0u) << LAUTH_db_ErrorText();
  }
  void Stop() {
    BYOD_db_CloseCfgDBM();
    BYOD_order_Fini();
    BYOD_data_GlobalInfoFini();
    BYOD_lauthservice_ResetService();
  }
  // Closes everything, opens it again and recovers every key that the database has.
  std::vector<std::string> Restart() {
    Stop();
    Start();
    ByodServiceTable table = {};
    table.add_device_author_attr = Hook;
    BYOD_lauthservice_SetService(&table);
    handed.clear();
    std::vector<std::string> keys;
    EXPECT_EQ(LAUTH_db_WalkKeys(BYOD_db_GetDBHandle(), Recover, &keys), 0);
    return keys;
  }
  int Files() const {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
      count += entry.is_regular_file();
    return count;
  }
  static int32_t Recover(void* context, const void* bytes, uint32_t length, uint32_t) {
    const auto* const key = static_cast<const char*>(bytes);
    const int32_t handle = BYOD_db_GetDBHandle();
    const std::string name(key, length - 1);
    static_cast<std::vector<std::string>*>(context)->push_back(name);
    if (name == "BYOD_Order") BYOD_db_ReCoverOrder(handle, key, length);
    if (name == "BYOD_MacRules") BYOD_db_RecoverMacRule(handle, key, length);
    if (name == "BYOD_UserAgentRules") BYOD_db_RecoverUserAgentRule(handle, key, length);
    if (name == "BYOD_DhcpOptionRules") BYOD_db_ReCoverDhcpOptionRule(handle, key, length);
    BYOD_db_RecoverDeviceTypeAuthor(handle, key, length);
    return 0;
  }
  static uint32_t Hook(const void* record, const char* group, uint32_t message) {
    handed.push_back(std::string(group) + "/" + static_cast<const char*>(record) + "/" +
                     std::to_string(ElementsOf(message).size()));
    return 0;
  }

  const ScratchDirectory directory;
  static inline std::vector<std::string> handed;
};

TEST_F(StoredDatabase, NewOneHasNoKeys) {
  EXPECT_TRUE(Restart().empty());
}

TEST_F(StoredDatabase, EverythingComesBackAfterARestart) {
  ByodDeviceInfo info = {"Printer", "ACME", "printer", "RTOS"};
  ByodMacRule mac = {};
  std::memcpy(mac.mac, "\x00\x1A\x2B\x3C\x4D\x5E", 6);
  std::memset(mac.mask, 0xFF, 6);
  mac.configured = &info;
  ByodUserAgentRule agent = {};
  std::strcpy(agent.keyword, "iPhone");
  ByodDhcpOptionRule option = {};
  std::strcpy(option.text, "1,3,6");
  option.configured = &info;
  const ByodOrder order = {{2, 0, 1}};
  const Message message({Number(1000, 1), Number(1001, 2)});
  const std::string group(40, 'g');
  EXPECT_EQ(BYOD_db_AddMacRule(&mac), 0u);
  EXPECT_EQ(BYOD_db_AddUserAgentRule(&agent), 0u);
  EXPECT_EQ(BYOD_db_AddDhcpOptionRule(&option), 0u);
  EXPECT_EQ(BYOD_db_SetOrder(&order), 0u);
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr(group.c_str(), "phone", message.get()), 0u);

  EXPECT_EQ(Restart().size(), 5u);
  ASSERT_NE(BYOD_data_SetFindMacRule(&mac), nullptr);
  EXPECT_STREQ(BYOD_data_SetFindMacRule(&mac)->configured->os, "RTOS");
  ASSERT_NE(BYOD_data_FindUserAgentRule("iPhone"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("iPhone")->configured, nullptr);
  ASSERT_NE(BYOD_data_FindDhcpOptionRule("1,3,6"), nullptr);
  EXPECT_STREQ(BYOD_data_FindDhcpOptionRule("1,3,6")->configured->name, "Printer");
  ByodOrder recovered;
  BYOD_order_GetOrder(&recovered);
  EXPECT_EQ(std::memcmp(&recovered, &order, sizeof order), 0);
  EXPECT_EQ(handed, std::vector<std::string>{std::string(32, 'g') + "/phone/2"});
}

TEST_F(StoredDatabase, DeletedRecordsDoNotComeBack) {
  ByodTextRuleShowRec rec = {};
  for (const char* text : {"a", "b", "c"}) {
    std::strcpy(rec.text, text);
    EXPECT_EQ(BYOD_db_AddUAValue(&rec), 0u);
  }
  std::strcpy(rec.text, "b");
  EXPECT_EQ(BYOD_db_DeleteUserAgentRule(&rec), 0u);
  EXPECT_EQ(BYOD_db_DeleteUserAgentRule(&rec), 0x40010001u);
  const Message message;
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "phone", message.get()), 0u);
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "printer", message.get()), 0u);
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("h", "printer", message.get()), 0u);
  char type[128] = "phone";
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", type), 0u);
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", type), 0u);
  EXPECT_EQ(BYOD_db_DelDevAutzAttrByGrp("h"), 0);
  EXPECT_NE(BYOD_db_DelDevAutzAttrByGrp("h"), 0);
  Restart();
  EXPECT_NE(BYOD_data_FindUserAgentRule("a"), nullptr);
  EXPECT_EQ(BYOD_data_FindUserAgentRule("b"), nullptr);
  EXPECT_NE(BYOD_data_FindUserAgentRule("c"), nullptr);
  EXPECT_EQ(handed, std::vector<std::string>{"g/printer/0"});
}

TEST_F(StoredDatabase, AddingAgainReplaces) {
  ByodDeviceInfo info = {"old", "old", "", ""};
  ByodDhcpOptionRule option = {};
  std::strcpy(option.text, "1,3,6");
  option.configured = &info;
  EXPECT_EQ(BYOD_db_AddDhcpOptionRule(&option), 0u);
  info = {"new", "", "", ""};
  EXPECT_EQ(BYOD_db_AddDhcpOptionRule(&option), 0u);
  const Message one({Number(1, 1)}), two({Number(1, 1), Number(2, 2)});
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "phone", one.get()), 0u);
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "phone", two.get()), 0u);
  Restart();
  EXPECT_STREQ(BYOD_data_FindDhcpOptionRule("1,3,6")->configured->name, "new");
  EXPECT_STREQ(BYOD_data_FindDhcpOptionRule("1,3,6")->configured->vendor, "");
  EXPECT_EQ(handed, std::vector<std::string>{"g/phone/2"});
}

TEST_F(StoredDatabase, ExistenceChecksLeaveItClosed) {
  ByodTextRuleShowRec rec = {};
  std::strcpy(rec.text, "iPhone");
  EXPECT_EQ(BYOD_db_AddUAValue(&rec), 0u);
  BYOD_db_CloseCfgDBM();
  const uint8_t mac[6] = {};
  EXPECT_EQ(BYOD_db_IsUAExistInDb("iPhone"), 1u);
  EXPECT_EQ(BYOD_db_IsUAExistInDb("IPHONE"), 0u);
  EXPECT_EQ(BYOD_db_IsDhcpOptValueExistInDb("iPhone"), 0u);
  EXPECT_EQ(BYOD_db_IsMacExistInDb(mac), 0u);
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
}

TEST_F(StoredDatabase, ExistenceChecksCreateItAndCloseWhatIsOpen) {
  BYOD_db_CloseCfgDBM();
  EXPECT_EQ(BYOD_db_Delete(), 0);
  EXPECT_EQ(Files(), 0);
  EXPECT_EQ(BYOD_db_IsUAExistInDb("iPhone"), 0u);
  EXPECT_GT(Files(), 0);
  ASSERT_EQ(BYOD_db_OpenCfgDBM(), 0u);
  EXPECT_EQ(BYOD_db_IsUAExistInDb("iPhone"), 0u);
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
}

TEST_F(StoredDatabase, DeletingWhatIsNotStoredFails) {
  ByodTextRuleShowRec text = {};
  ByodMacRuleShowRec mac = {};
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(BYOD_db_DeleteUserAgentRule(&text), 0x40010001u);
    EXPECT_EQ(BYOD_db_DeleteDhcpOptionRule(&text), 0x40010001u);
    EXPECT_EQ(BYOD_db_DeleteMacRule(&mac), 0x40010001u);
    // The same with lists that are there.
    EXPECT_EQ(BYOD_db_EnsureUserAgentList(), 1u);
    EXPECT_EQ(BYOD_db_EnsureDhcpOptionList(), 1u);
    EXPECT_EQ(BYOD_db_EnsureMacList(), 1u);
  }
}

TEST_F(StoredDatabase, ASecondOpenLosesTheFirstHandle) {
  const int32_t first = BYOD_db_GetDBHandle();
  EXPECT_EQ(BYOD_db_OpenCfgDBM(), 0u);
  EXPECT_NE(BYOD_db_GetDBHandle(), first);
  BYOD_db_CloseCfgDBM();
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
  EXPECT_EQ(DBM_Close(first), 0);
}

TEST_F(StoredDatabase, DatabaseThatCannotBeOpenedHoldsNothing) {
  ByodTextRuleShowRec rec = {};
  std::strcpy(rec.text, "iPhone");
  EXPECT_EQ(BYOD_db_AddUAValue(&rec), 0u);
  BYOD_db_CloseCfgDBM();
  LAUTH_db_SetDirectory("/nowhere/at/all");
  EXPECT_EQ(BYOD_db_OpenCfgDBM(), 0x40010001u);
  EXPECT_EQ(BYOD_db_IsUAExistInDb("iPhone"), 0u);
  LAUTH_db_SetDirectory(directory.path().c_str());
  EXPECT_EQ(BYOD_db_IsUAExistInDb("iPhone"), 1u);
}

TEST_F(StoredDatabase, RemovalTakesEverythingAway) {
  const ByodOrder order = {{2, 0, 1}};
  EXPECT_EQ(BYOD_db_SetOrder(&order), 0u);
  BYOD_db_CloseCfgDBM();
  EXPECT_EQ(BYOD_db_Delete(), 0);
  EXPECT_TRUE(Restart().empty());
}

TEST_F(StoredDatabase, LongestAuthorizationRecordComesBackWhole) {
  const Message longest({Bytes(1000, std::string(5760 - 12, 'x'))});
  const Message longer({Bytes(1000, std::string(5761 - 12, 'x'))});
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "longest", longest.get()), 0u);
  EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "longer", longer.get()), 0u);
  Restart();
  EXPECT_EQ(handed, std::vector<std::string>{"g/longest/1"});
}

}  // namespace
