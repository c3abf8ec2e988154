// SPDX-License-Identifier: Apache-2.0
// Opening, closing and removing the database, the lists in it, and the checks of what is stored:
// every call with its exact arguments.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "byod_db.h"
#include "support/memory_dbm.h"

namespace {

using namespace support;
using Calls = std::vector<DbmCall>;

constexpr uint32_t kFailed = 0x40010001u;

std::string OpenParameters() {
  const uint32_t words[4] = {0, 0, 1, 0};
  std::string bytes(reinterpret_cast<const char*>(words), sizeof words);
  bytes += "SEC-BYOD-CFG";
  bytes.resize(32, '\0');
  return bytes;
}

const DbmCall kOpen = {"Open", -1, "eBYOD,BYOD", {7}, OpenParameters()};

struct Database : testing::Test {
  void SetUp() override { MemoryDbm::Reset(); }
  void TearDown() override {
    BYOD_db_CloseCfgDBM();
    EXPECT_EQ(MemoryDbm::OpenHandles(), 0);
  }
};

TEST_F(Database, IsClosedAtFirstAndOpenedWithItsNameOwnerModeAndParameters) {
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
  EXPECT_EQ(BYOD_db_OpenCfgDBM(), 0u);
  EXPECT_EQ(BYOD_db_GetDBHandle(), 5);
  EXPECT_EQ(MemoryDbm::TakeCalls(), Calls{kOpen});
}

TEST_F(Database, FailedOpenLeavesTheHandleAsItWas) {
  for (const int32_t result : {-1, 1, 77}) {
    MemoryDbm::Fail("Open", 1, result);
    EXPECT_EQ(BYOD_db_OpenCfgDBM(), kFailed);
    EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
  }
  EXPECT_EQ(BYOD_db_OpenCfgDBM(), 0u);
  MemoryDbm::Fail("Open", 1, -1);
  EXPECT_EQ(BYOD_db_OpenCfgDBM(), kFailed);
  EXPECT_EQ(BYOD_db_GetDBHandle(), 5);
}

TEST_F(Database, ClosesOnlyWhatIsOpenAndOnlyOnce) {
  BYOD_db_CloseCfgDBM();
  EXPECT_EQ(MemoryDbm::TakeCalls(), Calls{});
  BYOD_db_OpenCfgDBM();
  MemoryDbm::TakeCalls();
  BYOD_db_CloseCfgDBM();
  BYOD_db_CloseCfgDBM();
  EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"Close", 5, "", {}, ""}}));
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
}

TEST_F(Database, HandleIsForgottenAlsoWhenClosingFails) {
  BYOD_db_OpenCfgDBM();
  MemoryDbm::Pretend("Close", 1, -1);
  BYOD_db_CloseCfgDBM();
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
}

TEST_F(Database, HandlesZeroAndBelowMinusOneAreOpen) {
  for (const int32_t handle : {0, -2, -2147483647}) {
    MemoryDbm::Reset(handle);
    EXPECT_EQ(BYOD_db_OpenCfgDBM(), 0u);
    EXPECT_EQ(BYOD_db_GetDBHandle(), handle);
    EXPECT_EQ(BYOD_db_EnsureMacList(), 1u);
    MemoryDbm::TakeCalls();
    BYOD_db_CloseCfgDBM();
    EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"Close", handle, "", {}, ""}}));
    EXPECT_EQ(BYOD_db_IsUAExistInDb("x"), 0u);
    EXPECT_EQ(MemoryDbm::CallCount("GetSortList"), 1) << handle;
  }
}

TEST_F(Database, RemovalPassesOnThePlatformsResult) {
  EXPECT_EQ(BYOD_db_Delete(), 0);
  EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"Delete", -1, "eBYOD", {}, ""}}));
  for (const int32_t result : {-4, 9}) {
    MemoryDbm::Fail("Delete", 1, result);
    EXPECT_EQ(BYOD_db_Delete(), result);
  }
}

// ---- lists

struct ListCase {
  uint32_t (*ensure)();
  std::string key;
  uint32_t sort_length, number;
};

const ListCase kLists[] = {
    {BYOD_db_EnsureMacList, Key("BYOD_MacRules"), 15, 2},
    {BYOD_db_EnsureUserAgentList, Key("BYOD_UserAgentRules"), 256, 1},
    {BYOD_db_EnsureDhcpOptionList, Key("BYOD_DhcpOptionRules"), 256, 0},
};

TEST_F(Database, KeysAreAsLongAsDocumented) {
  EXPECT_EQ(kLists[0].key.size(), 14u);
  EXPECT_EQ(kLists[1].key.size(), 20u);
  EXPECT_EQ(kLists[2].key.size(), 21u);
  EXPECT_EQ(Key(BYOD_DB_ORDER_KEY).size(), 11u);
}

TEST_F(Database, MissingListIsCreatedAndAnExistingOneReused) {
  BYOD_db_OpenCfgDBM();
  for (const ListCase& list : kLists) {
    MemoryDbm::TakeCalls();
    EXPECT_EQ(list.ensure(), 1u);
    EXPECT_EQ(
        MemoryDbm::TakeCalls(),
        (Calls{{"IsKeyExist", 5, list.key, {}, ""},
               {"CreateSortList", 5, list.key, {0, list.sort_length, 6, 0, 1, list.number}, ""}}));
    EXPECT_EQ(list.ensure(), 1u);
    EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"IsKeyExist", 5, list.key, {}, ""}}));
  }
}

TEST_F(Database, ListIsThereOnlyWhenTheCheckSaysExactly1) {
  BYOD_db_OpenCfgDBM();
  for (const ListCase& list : kLists) {
    for (const int32_t result : {0, 2, -1, 256}) {
      MemoryDbm::Fail("IsKeyExist", 1, result);
      const int created = MemoryDbm::CallCount("CreateSortList");
      EXPECT_EQ(list.ensure(), 1u);
      EXPECT_EQ(MemoryDbm::CallCount("CreateSortList"), created + 1) << result;
    }
  }
}

TEST_F(Database, ListThatCannotBeCreatedIsNotThere) {
  BYOD_db_OpenCfgDBM();
  for (const ListCase& list : kLists) {
    for (const int32_t result : {-1, 1}) {
      MemoryDbm::Fail("CreateSortList", 1, result);
      EXPECT_EQ(list.ensure(), 0u);
    }
  }
}

TEST_F(Database, RawInsertionAndRemovalPassTheirArgumentsOn) {
  BYOD_db_OpenCfgDBM();
  BYOD_db_EnsureMacList();
  MemoryDbm::TakeCalls();
  const std::string key = Key("BYOD_MacRules"), record(20, 'r');
  EXPECT_EQ(AddToSortList(key.c_str(), 14, 20, record.data(), 7), 0u);
  EXPECT_EQ(BYOD_db_RemoveFromSortList(key.c_str(), 14, 20, record.data()), 0u);
  EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"InsertSortList", 5, key, {20, 7}, record},
                                           {"RemoveSortList", 5, key, {20}, record}}));
  for (const int32_t result : {-1, 1}) {
    MemoryDbm::Fail("InsertSortList", 1, result);
    MemoryDbm::Fail("RemoveSortList", 1, result);
    EXPECT_EQ(AddToSortList(key.c_str(), 14, 20, record.data(), 7), kFailed);
    EXPECT_EQ(BYOD_db_RemoveFromSortList(key.c_str(), 14, 20, record.data()), kFailed);
  }
}

TEST_F(Database, ClosedDatabaseIsAskedWithTheStoredHandleAsItIs) {
  BYOD_db_EnsureMacList();
  EXPECT_EQ(MemoryDbm::TakeCalls()[0].handle, -1);
}

// ---- existence

constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};

struct Existence {
  std::function<uint32_t()> check;
  uint32_t (*ensure)();
  std::string key, probe;
};

std::string Padded(std::string text, size_t size) {
  text.resize(size, '\0');
  return text;
}

std::vector<Existence> Existences() {
  return {
      {[] { return BYOD_db_IsMacExistInDb(kMac); }, BYOD_db_EnsureMacList, Key("BYOD_MacRules"),
       Padded("001a-2b3c-4d5e", 341)},
      {[] { return BYOD_db_IsUAExistInDb("iPhone"); }, BYOD_db_EnsureUserAgentList,
       Key("BYOD_UserAgentRules"), Padded("iPhone", 576)},
      {[] { return BYOD_db_IsDhcpOptValueExistInDb("1,3,6"); }, BYOD_db_EnsureDhcpOptionList,
       Key("BYOD_DhcpOptionRules"), Padded("1,3,6", 576)},
  };
}

TEST_F(Database, ExistenceCheckOpensLooksUpAndCloses) {
  for (const Existence& existence : Existences()) {
    MemoryDbm::Reset();
    EXPECT_EQ(existence.check(), 0u);
    EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{kOpen,
                                             {"GetSortList",
                                              5,
                                              existence.key,
                                              {static_cast<uint32_t>(existence.probe.size())},
                                              existence.probe},
                                             {"Close", 5, "", {}, ""}}));
    EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
  }
}

TEST_F(Database, ExistenceCheckFindsWhatIsStored) {
  for (const Existence& existence : Existences()) {
    MemoryDbm::Reset();
    BYOD_db_OpenCfgDBM();
    existence.ensure();
    const auto size = static_cast<uint32_t>(existence.probe.size());
    AddToSortList(existence.key.c_str(), static_cast<uint32_t>(existence.key.size()), size,
                  existence.probe.data(), MemoryDbm::Lists()[existence.key].number);
    BYOD_db_CloseCfgDBM();
    EXPECT_EQ(existence.check(), 1u);
    EXPECT_EQ(MemoryDbm::OpenHandles(), 0);
  }
}

TEST_F(Database, OnlyAResultAboveZeroIsAFind) {
  for (const Existence& existence : Existences()) {
    for (const auto& [result, found] : {std::pair{-1, 0u}, {0, 0u}, {1, 1u}, {341, 1u}}) {
      MemoryDbm::Reset();
      MemoryDbm::Fail("GetSortList", 1, result);
      EXPECT_EQ(existence.check(), found) << result;
      EXPECT_EQ(MemoryDbm::OpenHandles(), 0) << result;
    }
  }
}

TEST_F(Database, ExistenceIsDeniedWhereTheDatabaseCannotBeOpened) {
  for (const Existence& existence : Existences()) {
    MemoryDbm::Reset();
    MemoryDbm::Fail("Open", 1, -1);
    EXPECT_EQ(existence.check(), 0u);
    EXPECT_EQ(MemoryDbm::CallCount("GetSortList"), 0);
  }
}

TEST_F(Database, OpeningThatYieldsNoHandleDeniesExistence) {
  for (const Existence& existence : Existences()) {
    MemoryDbm::Reset(-1);
    EXPECT_EQ(existence.check(), 0u);
    EXPECT_EQ(MemoryDbm::CallCount("GetSortList"), 0);
    MemoryDbm::Reset();
  }
}

TEST_F(Database, ExistenceCheckLeavesADatabaseThatWasOpenClosed) {
  BYOD_db_OpenCfgDBM();
  EXPECT_EQ(BYOD_db_IsUAExistInDb("iPhone"), 0u);
  EXPECT_EQ(BYOD_db_GetDBHandle(), -1);
  MemoryDbm::Reset();
}

TEST_F(Database, TextToLookUpIsCutAt255Characters) {
  BYOD_db_IsUAExistInDb(std::string(300, 'u').c_str());
  EXPECT_EQ(MemoryDbm::TakeCalls()[1].bytes, Padded(std::string(255, 'u'), 576));
  BYOD_db_IsDhcpOptValueExistInDb(std::string(255, 'u').c_str());
  EXPECT_EQ(MemoryDbm::TakeCalls()[1].bytes, Padded(std::string(255, 'u'), 576));
}

}  // namespace
