// SPDX-License-Identifier: Apache-2.0
// Every operation on the database, with each of its database calls, its container calls and its
// allocations failing in turn: the documented result, nothing half done in memory, nothing left.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "byod_data.h"
#include "byod_db.h"
#include "byod_lauthservice.h"
#include "byod_order.h"
#include "support/failing_allocator.h"
#include "support/memory_dbm.h"
#include "support/message.h"
#include "support/platform_faults.h"

namespace {

using namespace support;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint8_t kMac[6] = {0x02, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};

// How an operation reports that it failed.
enum class Reports {
  kStatus,    // BYOD_ERR_FAILED, or a container's code
  kBoolean,   // 0 for no
  kPlatform,  // the platform's own result
  kNothing,   // skips
};

struct Operation {
  const char* name;
  Reports reports;
  std::function<uint32_t()> call;
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

uint32_t attributes;  // a message
int hooks = 0;

uint32_t Hook(const void*, const char*, uint32_t) {
  ++hooks;
  return 0;
}

const ByodDeviceInfo kInfo = {"Printer", "ACME", "printer", "RTOS"};

std::vector<Operation> Operations() {
  static ByodDeviceInfo info = kInfo;
  static ByodMacRule mac = {};
  std::memcpy(mac.mac, kMac, 6);
  std::memset(mac.mask, 0xFF, 6);
  mac.configured = &info;
  static ByodUserAgentRule agent = {};
  std::strcpy(agent.keyword, "new agent");
  agent.configured = &info;
  static ByodDhcpOptionRule option = {};
  std::strcpy(option.text, "9,9");
  option.configured = &info;
  static ByodMacRuleShowRec mac_rec = {"0000-0000-0001", {1, 2, 3, 4, 5, 6}, kInfo};
  static ByodTextRuleShowRec text_rec = {"stored", kInfo};
  static const ByodOrder order = {{2, 1, 0}};
  static char type[128] = "stored";
  static const std::string group = "BYOD_GroupAutz_staff";
  using enum Reports;
  return {
      {"SetOrder", kStatus, [] { return BYOD_db_SetOrder(&order); }},
      {"AddMacRule", kStatus, [] { return BYOD_db_AddMacRule(&mac); }},
      {"AddUserAgentRule", kStatus, [] { return BYOD_db_AddUserAgentRule(&agent); }},
      {"AddDhcpOptionRule", kStatus, [] { return BYOD_db_AddDhcpOptionRule(&option); }},
      {"AddMacValue", kStatus, [] { return BYOD_db_AddMacValue(&mac_rec); }},
      {"AddUAValue", kStatus, [] { return BYOD_db_AddUAValue(&text_rec); }},
      {"AddDhcpOptionValue", kStatus, [] { return BYOD_db_AddDhcpOptionValue(&text_rec); }},
      {"DeleteMacRule", kStatus, [] { return BYOD_db_DeleteMacRule(&mac_rec); }},
      {"DeleteUserAgentRule", kStatus, [] { return BYOD_db_DeleteUserAgentRule(&text_rec); }},
      {"DeleteDhcpOptionRule", kStatus, [] { return BYOD_db_DeleteDhcpOptionRule(&text_rec); }},
      {"EnsureMacList", kBoolean, [] { return BYOD_db_EnsureMacList(); }},
      {"EnsureUserAgentList", kBoolean, [] { return BYOD_db_EnsureUserAgentList(); }},
      {"EnsureDhcpOptionList", kBoolean, [] { return BYOD_db_EnsureDhcpOptionList(); }},
      {"AddDeviceTypeAuthorAttr", kStatus,
       [] { return BYOD_db_AddDeviceTypeAuthorAttr("staff", "printer", attributes); }},
      {"ReplaceDeviceTypeAuthorAttr", kStatus,
       [] { return BYOD_db_AddDeviceTypeAuthorAttr("staff", "stored", attributes); }},
      {"FindGroupAutzRecord", kBoolean,
       [] {
         uint32_t length = 0;
         void* const record = BYOD_db_FindGroupAutzRecord("staff", type, &length);
         std::free(record);
         return record != nullptr ? 1u : 0u;
       }},
      {"RemoveGroupAutzRecord", kStatus,
       [] { return BYOD_db_RemoveGroupAutzRecord("staff", sizeof type, type); }},
      {"AddToSortList", kStatus,
       [] {
         return AddToSortList(BYOD_DB_MAC_KEY, 14, sizeof mac_rec, &mac_rec, BYOD_DB_MAC_LIST);
       }},
      {"RemoveFromSortList", kStatus,
       [] { return BYOD_db_RemoveFromSortList(BYOD_DB_MAC_KEY, 14, sizeof mac_rec, &mac_rec); }},
      {"OpenCfgDBM", kStatus, [] { return BYOD_db_OpenCfgDBM(); }},
      {"DelDevAutzAttrByGrp", kPlatform,
       [] { return static_cast<uint32_t>(BYOD_db_DelDevAutzAttrByGrp("staff")); }},
      {"Delete", kPlatform, [] { return static_cast<uint32_t>(BYOD_db_Delete()); }},
      {"IsMacExistInDb", kBoolean, [] { return BYOD_db_IsMacExistInDb(kMac); }},
      {"IsUAExistInDb", kBoolean, [] { return BYOD_db_IsUAExistInDb("stored"); }},
      {"IsDhcpOptValueExistInDb", kBoolean,
       [] { return BYOD_db_IsDhcpOptValueExistInDb("stored"); }},
      {"DeleteDeviceTypeAuthorAttr", kNothing,
       [] { return BYOD_db_DeleteDeviceTypeAuthorAttr("staff", type); }},
      {"ReCoverOrder", kNothing,
       [] {
         BYOD_db_ReCoverOrder(5, BYOD_DB_ORDER_KEY, 11);
         return 0u;
       }},
      {"RecoverMacRule", kNothing,
       [] { return static_cast<uint32_t>(BYOD_db_RecoverMacRule(5, BYOD_DB_MAC_KEY, 14)); }},
      {"RecoverUserAgentRule", kNothing,
       [] {
         return static_cast<uint32_t>(BYOD_db_RecoverUserAgentRule(5, BYOD_DB_USERAGENT_KEY, 20));
       }},
      {"RecoverDhcpOptionRule", kNothing,
       [] {
         return static_cast<uint32_t>(BYOD_db_ReCoverDhcpOptionRule(5, BYOD_DB_DHCPOPT_KEY, 21));
       }},
      {"RecoverDeviceTypeAuthor", kNothing,
       [] {
         BYOD_db_RecoverDeviceTypeAuthor(5, group.c_str(), static_cast<uint32_t>(group.size() + 1));
         return 0u;
       }},
  };
}

struct DatabaseFailures : testing::TestWithParam<Operation> {
  // A database with something of everything, open.
  void SetUp() override {
    attributes_ = std::make_unique<Message>(std::vector<Element>{Number(1000, 1)});
    attributes = attributes_->get();
    Prepare();
  }
  void Prepare() {
    Clean();
    MemoryDbm::Reset();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    BYOD_order_Init();
    ByodServiceTable table = {};
    table.add_device_author_attr = Hook;
    BYOD_lauthservice_SetService(&table);
    hooks = 0;
    ASSERT_EQ(BYOD_db_OpenCfgDBM(), 0u);
    const ByodOrder order = {{2, 0, 1}};
    ASSERT_EQ(BYOD_db_SetOrder(&order), 0u);
    ByodMacRuleShowRec mac = {"0000-0000-0001", {255, 255, 255, 255, 255, 255}, kInfo};
    for (const char* text : {"0000-0000-0001", "0000-0000-0002", "021a-2b3c-4d5e"}) {
      std::strcpy(mac.mac_text, text);
      ASSERT_EQ(BYOD_db_AddMacValue(&mac), 0u);
    }
    for (const char* text : {"stored", "stored too"}) {
      ByodTextRuleShowRec rec = {"", kInfo};
      std::strcpy(rec.text, text);
      ASSERT_EQ(BYOD_db_AddUAValue(&rec), 0u);
      ASSERT_EQ(BYOD_db_AddDhcpOptionValue(&rec), 0u);
    }
    for (const char* type : {"stored", "stored too"}) {
      ASSERT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("staff", type, attributes), 0u);
    }
    PlatformFaults::Reset();
  }
  void Clean() {
    BYOD_db_CloseCfgDBM();
    BYOD_data_GlobalInfoFini();
    BYOD_order_Fini();
    BYOD_lauthservice_ResetService();
  }
  void TearDown() override { Clean(); }

  // What must hold after a call in which one thing failed.
  void Check(uint32_t result, int32_t platform) {
    switch (GetParam().reports) {
      case Reports::kStatus:
        EXPECT_EQ(result, kFailed);
        break;
      case Reports::kPlatform:
        EXPECT_EQ(result, static_cast<uint32_t>(platform));
        break;
      case Reports::kBoolean:
        EXPECT_LE(result, 1u);
        break;
      case Reports::kNothing:
        break;
    }
    CheckNothingLeft();
  }
  void CheckNothingLeft() {
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
    EXPECT_EQ(MemoryDbm::OpenIterators(), 0);
    EXPECT_LE(BYOD_data_GetMacRuleCount(), 3u);
    EXPECT_EQ(Byod_GetCustomRuleCount(), BYOD_data_GetMacRuleCount() +
                                             BYOD_data_GetUserAgentRuleCount() +
                                             BYOD_data_GetDhcpOptionRuleCount());
  }

  std::unique_ptr<Message> attributes_;
};

INSTANTIATE_TEST_SUITE_P(All, DatabaseFailures, testing::ValuesIn(Operations()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(DatabaseFailures, WithoutFailureItSucceeds) {
  const uint32_t result = GetParam().call();
  EXPECT_EQ(result, GetParam().reports == Reports::kBoolean ? 1u : 0u);
  CheckNothingLeft();
}

TEST_P(DatabaseFailures, EachDatabaseCallInTurnFails) {
  const int before = MemoryDbm::CallCount();
  GetParam().call();
  const int calls = MemoryDbm::CallCount() - before;
  ASSERT_GT(calls, 0);
  for (int n = 1; n <= calls; ++n) {
    SCOPED_TRACE(n);
    Prepare();
    MemoryDbm::TakeCalls();
    MemoryDbm::Fail("", n, -3);
    const uint32_t result = GetParam().call();
    const std::string failed = MemoryDbm::TakeCalls()[static_cast<size_t>(n) - 1].name;
    // A list that cannot be looked for is made; a record that cannot be read is not there; and
    // closing has no result.
    if (failed == "IsKeyExist" ||
        (failed == "GetSortList" && GetParam().reports == Reports::kStatus)) {
      EXPECT_EQ(result, GetParam().reports == Reports::kBoolean ? 1u : 0u);
      CheckNothingLeft();
      continue;
    }
    if (GetParam().reports == Reports::kBoolean && failed != "Close") {
      EXPECT_EQ(result, 0u);
    }
    if (failed == "FreeIterator" && std::string(GetParam().name) != "RecoverDeviceTypeAuthor") {
      EXPECT_EQ(result, static_cast<uint32_t>(-3));
    }
    if (failed == "RemoveSortList") {
      EXPECT_EQ(result, kFailed);
    }
    Check(result, -3);
  }
}

// ---- container calls

TEST_P(DatabaseFailures, EachContainerCallInTurnFails) {
  for (const auto call : {PlatformFaults::kCreate, PlatformFaults::kAppend, PlatformFaults::kFlush,
                          PlatformFaults::kReceive}) {
    Prepare();
    GetParam().call();
    const int calls = PlatformFaults::Count(call);
    for (int n = 1; n <= calls; ++n) {
      SCOPED_TRACE(testing::Message() << "call " << call << ", " << n);
      Prepare();
      PlatformFaults::Fail(call, n, call == PlatformFaults::kAppend ? kFailed : 0);
      ByodOrder before, after;
      BYOD_order_GetOrder(&before);
      const uint32_t result = GetParam().call();
      Check(result, 0);
      BYOD_order_GetOrder(&after);
      EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
    }
  }
}

// ---- allocations

TEST_P(DatabaseFailures, EachAllocationInTurnFails) {
  for (uint32_t n = 1;; ++n) {
    SCOPED_TRACE(n);
    ASSERT_LT(n, 1000u);
    Prepare();
    FailingAllocation failing(n);
    const uint32_t result = GetParam().call();
    const bool failed = failing.Failed();
    failing.Disarm();
    CheckNothingLeft();
    if (!failed) {
      EXPECT_EQ(result, GetParam().reports == Reports::kBoolean ? 1u : 0u);
      break;
    }
    // The database double's own memory counts as a failure of the database, which for a lookup is
    // no failure of the whole.
    if (GetParam().reports == Reports::kStatus && result != 0) {
      EXPECT_TRUE(result == kFailed || (result & 0xFFFF0000u) != 0x40010000u) << result;
    }
  }
}

TEST(DatabaseAllocations, KeysFieldsAndTheHandleNeedNeitherMemoryNorTheDatabase) {
  MemoryDbm::Reset();
  BYOD_db_OpenCfgDBM();
  char key[BYOD_DB_GROUP_KEY_SIZE];
  ByodDeviceInfo copy = {};
  FailingAllocation failing(1);
  const uint32_t length = BYOD_db_MakeGroupAutzKey("staff", key);
  AddDeviceInfoToDBRule(&kInfo, copy.name, copy.vendor, copy.category, copy.os);
  const int32_t handle = BYOD_db_GetDBHandle();
  const bool failed = failing.Failed();
  failing.Disarm();
  EXPECT_FALSE(failed);
  EXPECT_EQ(length, 21u);
  EXPECT_EQ(std::memcmp(&copy, &kInfo, sizeof copy), 0);
  EXPECT_EQ(handle, 5);
  EXPECT_EQ(MemoryDbm::CallCount(), 1);  // the opening
  BYOD_db_CloseCfgDBM();
}

TEST(DatabaseAllocations, AuthorizationRecordsFailWithoutMemoryOfTheirOwn) {
  MemoryDbm::Reset();
  BYOD_db_OpenCfgDBM();
  const Message message({Number(1000, 1)});
  char type[128] = "t";
  uint32_t length = 0;
  {
    FailingAllocation failing(1);
    EXPECT_EQ(BYOD_db_FindGroupAutzRecord("g", type, &length), nullptr);
  }
  {
    FailingAllocation failing(1);
    EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", "t", message.get()), kFailed);
  }
  EXPECT_EQ(MemoryDbm::CallCount(), 1);  // the opening: both fail before they ask
  BYOD_db_CloseCfgDBM();
}

// A deletion without memory said that nothing was stored, and the set came back at the next start.
TEST(DatabaseAllocations, AnAuthorizationThatCannotBeLookedForIsNotDeleted) {
  MemoryDbm::Reset();
  BYOD_db_OpenCfgDBM();
  const Message message({Number(1000, 1)});
  const char type[128] = "t";
  ASSERT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("g", type, message.get()), 0u);
  FailingAllocation failing(1);
  const uint32_t result = BYOD_db_DeleteDeviceTypeAuthorAttr("g", type);
  failing.Disarm();
  EXPECT_EQ(result, kFailed);
  EXPECT_EQ(MemoryDbm::Lists()[Key("BYOD_GroupAutz_g")].records.size(), 1u);
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", type), 0u);
  EXPECT_TRUE(MemoryDbm::Lists()[Key("BYOD_GroupAutz_g")].records.empty());
  BYOD_db_CloseCfgDBM();
}

}  // namespace
