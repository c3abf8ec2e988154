// SPDX-License-Identifier: Apache-2.0
// Authorization attributes of user groups by device type.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "byod_db.h"
#include "byod_lauthservice.h"
#include "net/free_deleter.h"
#include "support/golden.h"
#include "support/memory_dbm.h"
#include "support/message.h"
#include "support/platform_faults.h"

namespace {

using namespace support;
using Calls = std::vector<DbmCall>;
using Elements = std::vector<Element>;

constexpr uint32_t kFailed = 0x40010001u;

struct Handed {
  std::string record, group;
  Elements elements;
};
std::vector<Handed> handed;

uint32_t Hook(const void* record, const char* group, uint32_t message) {
  handed.push_back(
      {std::string(static_cast<const char*>(record), 128), group, ElementsOf(message)});
  return kFailed;  // is ignored
}

struct Authorization : testing::Test {
  void SetUp() override {
    MemoryDbm::Reset();
    PlatformFaults::Reset();
    handed.clear();
    ByodServiceTable table = {};
    table.add_device_author_attr = Hook;
    BYOD_lauthservice_SetService(&table);
    BYOD_db_OpenCfgDBM();
    MemoryDbm::TakeCalls();
  }
  void TearDown() override {
    BYOD_db_CloseCfgDBM();
    BYOD_lauthservice_ResetService();
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
    EXPECT_EQ(MemoryDbm::OpenIterators(), 0);
  }
};

std::string GroupKey(const std::string& group) {
  return Key("BYOD_GroupAutz_" + group);
}

std::string Field(std::string text) {
  text.resize(128, '\0');
  return text;
}

const Elements kVlan20 = {Bytes(1000, std::string("vlan=20\0", 8))};

uint32_t Add(const std::string& group, const std::string& type, const Elements& elements) {
  const Message message(elements);
  const uint32_t result =
      BYOD_db_AddDeviceTypeAuthorAttr(group.c_str(), type.c_str(), message.get());
  EXPECT_EQ(message.elements(), elements);  // still the caller's
  return result;
}

// A message whose memory form has this size.
Elements Sized(size_t size) {
  return {Bytes(1000, std::string(size - 12, 's'))};
}

void Recover(const std::string& key) {
  BYOD_db_RecoverDeviceTypeAuthor(5, key.c_str(), static_cast<uint32_t>(key.size()));
}

// ---- keys

TEST_F(Authorization, KeyIsThePrefixAndTheGroupWithItsNul) {
  char key[130];
  std::memset(key, '#', sizeof key);
  EXPECT_EQ(BYOD_db_MakeGroupAutzKey("staff", key), 21u);
  EXPECT_STREQ(key, "BYOD_GroupAutz_staff");
  EXPECT_EQ(BYOD_db_MakeGroupAutzKey("", key), 16u);
  EXPECT_STREQ(key, "BYOD_GroupAutz_");
}

TEST_F(Authorization, KeyIsCutAt128Characters) {
  for (const size_t length : {112u, 113u, 114u, 200u}) {
    char key[140];
    std::memset(key, '#', sizeof key);
    const std::string group(length, 'g');
    const size_t kept = std::min<size_t>(length, 113);
    EXPECT_EQ(BYOD_db_MakeGroupAutzKey(group.c_str(), key), 15 + kept + 1) << length;
    EXPECT_EQ(std::string(key), "BYOD_GroupAutz_" + std::string(kept, 'g')) << length;
    EXPECT_EQ(key[129], '#') << length;
  }
}

// ---- adding

TEST_F(Authorization, RecordIsTheDeviceTypeAndTheMessage) {
  EXPECT_EQ(Add("staff", "printer", kVlan20), 0u);
  const std::string record = ReadGolden("records.txt").at("Authorization");
  std::string probe = Field("printer");
  probe.resize(5888, '\0');
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"IsKeyExist", 5, GroupKey("staff"), {}, ""},
                   {"CreateSortList", 5, GroupKey("staff"), {0, 128, 6, 0, 1, 3}, ""},
                   {"GetSortList", 5, GroupKey("staff"), {5888}, probe},
                   {"InsertSortList",
                    5,
                    GroupKey("staff"),
                    {static_cast<uint32_t>(record.size()), 3},
                    record}}));
  ASSERT_EQ(PlatformFaults::Flushes().size(), 1u);
  EXPECT_EQ(PlatformFaults::Flushes()[0].mode, 2u);
  EXPECT_EQ(PlatformFaults::Flushes()[0].length, record.size() - 128);
}

TEST_F(Authorization, AddingTwiceLeavesOneRecordWithTheSecondMessage) {
  EXPECT_EQ(Add("staff", "printer", kVlan20), 0u);
  const std::string first = MemoryDbm::Lists()[GroupKey("staff")].records["printer"];
  MemoryDbm::TakeCalls();
  EXPECT_EQ(Add("staff", "printer", {Number(7, 7)}), 0u);
  const Calls calls = MemoryDbm::TakeCalls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].name, "IsKeyExist");
  EXPECT_EQ(calls[1].name, "GetSortList");
  EXPECT_EQ(
      calls[2],
      (DbmCall{
          "RemoveSortList", 5, GroupKey("staff"), {static_cast<uint32_t>(first.size())}, first}));
  EXPECT_EQ(calls[3].name, "InsertSortList");
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("staff")].records,
            (std::map<std::string, std::string>{
                {"printer", Field("printer") + Serialize({Number(7, 7)})}}));
}

TEST_F(Authorization, OtherDeviceTypesAndGroupsAreLeftAlone) {
  Add("staff", "printer", kVlan20);
  Add("staff", "phone", kVlan20);
  Add("guest", "printer", kVlan20);
  Add("staff", "printer", {});
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("staff")].records.size(), 2u);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("staff")].records["phone"],
            Field("phone") + Serialize(kVlan20));
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("guest")].records["printer"],
            Field("printer") + Serialize(kVlan20));
}

TEST_F(Authorization, DeviceTypeIsCutAt127Characters) {
  EXPECT_EQ(Add("g", std::string(200, 't'), {}), 0u);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records.begin()->second,
            Field(std::string(127, 't')) + Serialize({}));
}

TEST_F(Authorization, ListIsThereOnlyWhenTheCheckSaysExactly1) {
  for (const int32_t result : {0, 2, -1}) {
    MemoryDbm::Fail("IsKeyExist", 1, result);
    const int created = MemoryDbm::CallCount("CreateSortList");
    EXPECT_EQ(Add("g", "t", {}), 0u);
    EXPECT_EQ(MemoryDbm::CallCount("CreateSortList"), created + 1) << result;
  }
}

TEST_F(Authorization, MessageThatIsNotWrittenExactlyFailsBeforeTheDatabaseIsAsked) {
  for (const uint32_t written : {0u, 7u, 9u}) {
    PlatformFaults::Fail(PlatformFaults::kFlush, 1, written);
    EXPECT_EQ(Add("g", "t", {}), kFailed) << written;
  }
  EXPECT_EQ(MemoryDbm::TakeCalls(), Calls{});
}

TEST_F(Authorization, EachDatabaseFailureOfAnAddIsReported) {
  MemoryDbm::Fail("CreateSortList", 1, -1);
  EXPECT_EQ(Add("g", "t", {}), kFailed);
  MemoryDbm::Fail("InsertSortList", 1, 5);
  EXPECT_EQ(Add("g", "t", {}), kFailed);
  EXPECT_EQ(Add("g", "t", {}), 0u);
  MemoryDbm::Fail("RemoveSortList", 1, -1);
  EXPECT_EQ(Add("g", "t", kVlan20), kFailed);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records["t"], Field("t") + Serialize({}));
}

// ---- finding and removing

TEST_F(Authorization, FoundRecordStandsInItsBufferAndIsTheCallers) {
  Add("staff", "printer", kVlan20);
  uint32_t length = 0;
  const std::unique_ptr<void, byod::net::FreeDeleter> found(
      BYOD_db_FindGroupAutzRecord("staff", Field("printer").data(), &length));
  ASSERT_NE(found, nullptr);
  const std::string record = Field("printer") + Serialize(kVlan20);
  EXPECT_EQ(length, record.size());
  std::string buffer = record;
  buffer.resize(5888, '\0');
  EXPECT_EQ(std::string(static_cast<char*>(found.get()), 5888), buffer);
}

TEST_F(Authorization, MissingRecordOrFailedLookupFindsNone) {
  uint32_t length = 99;
  EXPECT_EQ(BYOD_db_FindGroupAutzRecord("staff", Field("printer").data(), &length), nullptr);
  Add("staff", "printer", kVlan20);
  EXPECT_EQ(BYOD_db_FindGroupAutzRecord("staff", Field("phone").data(), &length), nullptr);
  for (const int32_t result : {0, -1}) {
    MemoryDbm::Fail("GetSortList", 1, result);
    EXPECT_EQ(BYOD_db_FindGroupAutzRecord("staff", Field("printer").data(), &length), nullptr);
  }
}

TEST_F(Authorization, All128BytesOfTheDeviceTypeAreHandedOn) {
  std::string field = Field("printer");
  field.replace(100, 4, "tail");
  uint32_t length;
  BYOD_db_FindGroupAutzRecord("g", field.data(), &length);
  EXPECT_EQ(MemoryDbm::TakeCalls()[0].bytes.substr(0, 128), field);
}

TEST_F(Authorization, RemovalPassesTheRecordWithItsLength) {
  const std::string record = Field("t") + "rest";
  EXPECT_EQ(BYOD_db_RemoveGroupAutzRecord("g", 132, record.data()), kFailed);
  EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"RemoveSortList", 5, GroupKey("g"), {132}, record}}));
  MemoryDbm::Fail("RemoveSortList", 1, 0);
  EXPECT_EQ(BYOD_db_RemoveGroupAutzRecord("g", 132, record.data()), 0u);
}

TEST_F(Authorization, DeletingWhatWasNeverStoredSucceeds) {
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", Field("t").data()), 0u);
  EXPECT_EQ(MemoryDbm::CallCount("RemoveSortList"), 0);
}

TEST_F(Authorization, DeletedDeviceTypeIsGone) {
  Add("g", "t", kVlan20);
  Add("g", "u", kVlan20);
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", Field("t").data()), 0u);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records.count("t"), 0u);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records.count("u"), 1u);
  MemoryDbm::Fail("RemoveSortList", 1, -1);
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", Field("u").data()), kFailed);
}

TEST_F(Authorization, DeletingAGroupPassesOnThePlatformsResult) {
  Add("staff", "t", kVlan20);
  MemoryDbm::TakeCalls();
  EXPECT_EQ(BYOD_db_DelDevAutzAttrByGrp("staff"), 0);
  EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"DeleteKey", 5, GroupKey("staff"), {}, ""}}));
  EXPECT_TRUE(MemoryDbm::Lists().empty());
  for (const int32_t result : {-2, 17}) {
    MemoryDbm::Fail("DeleteKey", 1, result);
    EXPECT_EQ(BYOD_db_DelDevAutzAttrByGrp("staff"), result);
  }
}

// ---- recovery

TEST_F(Authorization, RecoveryHandsEachRecordWithItsMessageToTheHook) {
  Add("staff", "printer", kVlan20);
  Add("staff", "phone", {Number(7, 7)});
  PlatformFaults::Reset();
  Recover(GroupKey("staff"));
  ASSERT_EQ(handed.size(), 2u);
  EXPECT_EQ(handed[0].record, Field("phone"));
  EXPECT_EQ(handed[0].group, "staff");
  EXPECT_EQ(handed[0].elements, (Elements{Number(7, 7)}));
  EXPECT_EQ(handed[1].record, Field("printer"));
  EXPECT_EQ(handed[1].elements, kVlan20);
  EXPECT_EQ(PlatformFaults::Made(), 2);
  for (const PlatformFaults::Receive& receive : PlatformFaults::Receives()) {
    EXPECT_EQ(receive.mode, 2u);
    EXPECT_EQ(receive.limit, 5760u);
  }
}

TEST_F(Authorization, RecoveryReadsWithTheHandleAndKeyThatItIsGivenIntoAClearedBuffer) {
  MemoryDbm::Lists()[GroupKey("g")] = {{0, 128, 6, 0}, 3, {{"t", Field("t") + Serialize(kVlan20)}}};
  BYOD_db_RecoverDeviceTypeAuthor(-9, GroupKey("g").c_str(), 17);
  const std::string cleared(5888, '\0');
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"GetNextSortList", -9, GroupKey("g"), {0, 0, 5888}, cleared},
                   {"GetNextSortList", -9, GroupKey("g"), {0, 0, 5888}, cleared},
                   {"FreeIterator", -9, "", {}, ""}}));
}

TEST_F(Authorization, KeyWithNothingBehindThePrefixDoesNothing) {
  Recover(GroupKey(""));
  EXPECT_EQ(MemoryDbm::TakeCalls(), Calls{});
}

TEST_F(Authorization, KeyThatIsNoGroupsIsIgnored) {
  for (const char* key : {"BYOD_MacRules", "", "BYOD_GroupAutz", "byod_groupautz_g"}) {
    Recover(Key(key));
  }
  EXPECT_EQ(MemoryDbm::TakeCalls(), Calls{});
}

TEST_F(Authorization, PrefixCountsWhereverItStandsInTheKey) {
  MemoryDbm::Lists()[Key("old BYOD_GroupAutz_g")] = {
      {0, 128, 6, 0}, 3, {{"t", Field("t") + Serialize({})}}};
  Recover(Key("old BYOD_GroupAutz_g"));
  ASSERT_EQ(handed.size(), 1u);
  EXPECT_EQ(handed[0].group, "g");
}

TEST_F(Authorization, GroupOf40CharactersIsStoredWholeAndComesBackCutAt32) {
  std::string group;
  for (char c = 'a'; group.size() < 40; ++c)
    group.push_back(c);
  Add(group, "t", kVlan20);
  EXPECT_EQ(MemoryDbm::Lists().begin()->first, GroupKey(group));
  Recover(GroupKey(group));
  ASSERT_EQ(handed.size(), 1u);
  EXPECT_EQ(handed[0].group, group.substr(0, 32));
}

TEST_F(Authorization, GroupOf200CharactersIsStoredUnder128) {
  const std::string group(200, 'g');
  EXPECT_EQ(Add(group, "t", kVlan20), 0u);
  const std::string key = Key("BYOD_GroupAutz_" + std::string(113, 'g'));
  EXPECT_EQ(key.size(), 129u);
  EXPECT_EQ(MemoryDbm::Lists().begin()->first, key);
  EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr(group.c_str(), Field("t").data()), 0u);
  EXPECT_TRUE(MemoryDbm::Lists()[key].records.empty());
}

TEST_F(Authorization, GroupNamesOfEveryLengthComeBackWithAtMost32Characters) {
  for (size_t length = 1; length <= 120; ++length) {
    handed.clear();
    MemoryDbm::Lists().clear();
    const std::string group(length, 'g');
    Add(group, "t", {});
    Recover(MemoryDbm::Lists().begin()->first);
    ASSERT_EQ(handed.size(), 1u) << length;
    EXPECT_EQ(handed[0].group.size(), std::min<size_t>(length, 32)) << length;
  }
}

TEST_F(Authorization, MessageOf5760BytesComesBackAndOneByteMoreIsSkipped) {
  for (const size_t size : {5759u, 5760u, 5761u, 20'000u}) {
    handed.clear();
    const std::string type = std::to_string(size);
    ASSERT_EQ(Add("g", type, Sized(size)), 0u);
    EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records[type].size(), 128 + size);
    uint32_t length = 0;
    const std::unique_ptr<void, byod::net::FreeDeleter> found(
        BYOD_db_FindGroupAutzRecord("g", Field(type).data(), &length));
    EXPECT_EQ(length, std::min<size_t>(128 + size, 5888));
    Recover(GroupKey("g"));
    EXPECT_EQ(handed.size(), size <= 5760 ? 1u : 0u) << size;
    EXPECT_EQ(BYOD_db_DeleteDeviceTypeAuthorAttr("g", Field(type).data()), 0u);
  }
}

TEST_F(Authorization, RecordLongerThanTheBufferIsReplacedByTheNextAdd) {
  ASSERT_EQ(Add("g", "t", Sized(9000)), 0u);
  ASSERT_EQ(Add("g", "t", Sized(100)), 0u);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records.size(), 1u);
  EXPECT_EQ(MemoryDbm::Lists()[GroupKey("g")].records["t"].size(), 228u);
}

TEST_F(Authorization, RecordThatHoldsNoMessageIsSkippedAndTheOthersComeBack) {
  MemoryDbm::Lists()[GroupKey("g")] = {{0, 128, 6, 0},
                                       3,
                                       {{"a", Field("a") + "no message"},
                                        {"b", Field("b") + Serialize(kVlan20)},
                                        {"c", Field("c")},
                                        {"d", "d"},
                                        {"e", Field("e") + Serialize(kVlan20).substr(0, 5)},
                                        {"f", Field("f") + Serialize(kVlan20) + "and more"}}};
  Recover(GroupKey("g"));
  ASSERT_EQ(handed.size(), 2u);
  EXPECT_EQ(handed[0].record, Field("b"));
  EXPECT_EQ(handed[1].record, Field("f"));
  EXPECT_EQ(handed[1].elements, kVlan20);
}

TEST_F(Authorization, FailedFetchEndsTheRecoveryAndReleasesTheIterator) {
  Add("g", "a", {});
  Add("g", "b", {});
  MemoryDbm::Fail("GetNextSortList", 2, -1);
  Recover(GroupKey("g"));
  EXPECT_EQ(handed.size(), 1u);
  EXPECT_EQ(MemoryDbm::CallCount("FreeIterator"), 1);
}

}  // namespace
