// SPDX-License-Identifier: Apache-2.0
// The database as bytes, out and in.
#include "lauthd/requests/backup_requests.h"

#include <chrono>
#include <functional>

#include "byod_db.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/requests/rule_changes.h"
#include "lauthd/state/recovery.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

class BackupRequests : public HandlersWithDatabase {
 protected:
  Answer Do(uint32_t phase, const Elements& more = {}) {
    return Set(TakeRestore, Elements{Number(BYOD_EXT_PHASE, phase)} + more);
  }
  std::string Backup() {
    std::string bytes;
    for (const Element& element : Get(SendBackup).elements) {
      if (element.type == BYOD_EXT_DATA) bytes += element.bytes;
    }
    return bytes;
  }
  Answer Restore(const std::string& bytes) {
    if (Answer begun = Do(BYOD_PHASE_BEGIN, {Counter(BYOD_EXT_TOTAL, bytes.size())});
        !begun.result.Ok()) {
      return begun;
    }
    for (size_t at = 0; at < bytes.size(); at += BYOD_EXT_DATA_MAX)
      Do(BYOD_PHASE_MORE, {Bytes(BYOD_EXT_DATA, bytes.substr(at, BYOD_EXT_DATA_MAX))});
    return Do(BYOD_PHASE_COMMIT);
  }
};

TEST_F(BackupRequests, BackupAnnouncesItsSizeAndHoldsTheRules) {
  Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A());
  const std::string backup = Backup();
  EXPECT_TRUE(Get(SendBackup).Has(Counter(BYOD_EXT_TOTAL, backup.size())));
  Undo(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A());
  Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::B());
  ASSERT_TRUE(Restore(backup).result.Ok());
  EXPECT_EQ(UserAgentKind::Count(), 1u);
  EXPECT_STREQ(UserAgentKind::First()->keyword, "Android");
}

TEST_F(BackupRequests, OtherBytesAreRefusedAndChangeNothing) {
  Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A());
  EXPECT_EQ(Restore("not a database").refusal(), uint32_t{BYOD_REFUSAL_BAD_DATA});
  EXPECT_EQ(UserAgentKind::Count(), 1u);
}

TEST_F(BackupRequests, MoreOrFewerBytesThanAnnouncedAreRefused) {
  Do(BYOD_PHASE_BEGIN, {Counter(BYOD_EXT_TOTAL, 4)});
  EXPECT_EQ(Do(BYOD_PHASE_MORE, {Bytes(BYOD_EXT_DATA, "12345")}).refusal(),
            uint32_t{BYOD_REFUSAL_BAD_DATA});
  EXPECT_EQ(session_.upload, nullptr);
  Do(BYOD_PHASE_BEGIN, {Counter(BYOD_EXT_TOTAL, 4)});
  Do(BYOD_PHASE_MORE, {Bytes(BYOD_EXT_DATA, "123")});
  EXPECT_EQ(Do(BYOD_PHASE_COMMIT).refusal(), uint32_t{BYOD_REFUSAL_BAD_DATA});
}

/// What no request would have been accepted for, under the texts of the refusal.
TEST_F(BackupRequests, RecordsThatNoRequestCouldHaveMadeAreRefused) {
  const auto store = [](const char* key, uint32_t length, const void* record, uint32_t list) {
    EXPECT_EQ(DBM_InsertSortList(BYOD_db_GetDBHandle(), key,
                                 static_cast<uint32_t>(std::strlen(key) + 1), length, record, list),
              0);
  };
  const auto store_mac = [&](const char* address, const char(&mask)[7]) {
    ByodMacRuleShowRec record = {};
    std::strcpy(record.mac_text, address);
    std::memcpy(record.mask, mask, sizeof record.mask);
    ASSERT_EQ(BYOD_db_EnsureMacList(), 1u);
    store(BYOD_DB_MAC_KEY, sizeof record, &record, BYOD_DB_MAC_LIST);
  };
  const auto store_text = [&](const char* text, char fill) {
    ByodTextRuleShowRec record = {};
    std::strcpy(record.text, text);
    if (fill != '\0') std::memset(record.info.vendor, fill, sizeof record.info.vendor);
    ASSERT_EQ(BYOD_db_EnsureUserAgentList(), 1u);
    store(BYOD_DB_USERAGENT_KEY, sizeof record, &record, BYOD_DB_USERAGENT_LIST);
  };
  const auto store_set = [&](const char* category) {
    const support::Message set({Text(BYOD_EXT_ATTR_NAME, "vlan")});
    ASSERT_EQ(BYOD_db_AddDeviceTypeAuthorAttr("group", category, set.get()), 0u);
  };
  const auto store_order = [&] {
    const std::string twice =
        support::Serialize({Number(BYOD_TLV_ORDER, 1), Number(BYOD_TLV_ORDER, 1)});
    ASSERT_EQ(DBM_SetBinary(BYOD_db_GetDBHandle(), BYOD_DB_ORDER_KEY, sizeof BYOD_DB_ORDER_KEY, 0,
                            static_cast<uint32_t>(twice.size()), twice.data(), 4),
              0);
  };
  const struct {
    const char* fault;
    std::function<void()> write;
  } kFaults[] = {
      {"key", [&] { store_mac("0011-22", "\xff\xff\xff\xff\xff\xff"); }},
      {"key", [&] { store_mac("0011-2233-4455", "\xff\x00\xff\x00\x00\x00"); }},
      {"key", [&] { store_mac("0011-2233-4455", "\x00\x00\x00\x00\x00\x00"); }},
      {"key", [&] { store_text("", '\0'); }},
      {"does not end", [&] { store_text("endless", 'x'); }},
      {"cannot be read", [&] { store_set("PC"); }},
      {"twice", store_order},
  };
  Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A());
  const std::string good = Backup();
  for (const auto& [fault, write] : kFaults) {
    write();
    const std::string bad = Backup();
    ASSERT_TRUE(Restore(good).result.Ok());
    const Answer answer = Restore(bad);
    EXPECT_EQ(answer.refusal(), uint32_t{BYOD_REFUSAL_BAD_DATA});
    EXPECT_NE(answer.result.reason.find(fault), std::string::npos) << answer.result.reason;
    EXPECT_EQ(UserAgentKind::Count(), 1u);
    EXPECT_EQ(state_.store.DatabaseState(), uint32_t{BYOD_DATABASE_OPEN});
  }
}

class BackupRequestsUnderALimit : private HandlerDirectory, public Handlers {
 protected:
  BackupRequestsUnderALimit() : Handlers(Limited(path())) {}

  static Options Limited(const std::string& directory) {
    std::filesystem::create_directory(directory + "/.lauthd-kill3d");
    std::ofstream(directory + "/.lauthd-kill3d/database") << "half a backup";
    std::filesystem::last_write_time(
        directory + "/.lauthd-kill3d",
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    Options options;
    options.state_dir = directory;
    options.rule_limit = 2;
    return options;
  }
  const std::string& directory() const { return path(); }
};

TEST_F(BackupRequestsUnderALimit, WhatAKilledRestoreLeftIsRemovedAtTheStart) {
  EXPECT_FALSE(std::filesystem::exists(directory() + "/.lauthd-kill3d"));
  EXPECT_TRUE(std::filesystem::exists(directory() + "/eBYOD.db"));
}

TEST_F(BackupRequestsUnderALimit, WhatHasMoreRulesThanTheLimitIsRefusedAsAWhole) {
  for (const char* text : {"a", "b", "c"}) {
    ByodTextRuleShowRec record = {};
    std::strcpy(record.text, text);
    ASSERT_EQ(BYOD_db_AddUAValue(&record), 0u);
  }
  BackupCheck check = {2};
  for (const char* text : {"a", "b", "c"}) {
    ByodTextRuleShowRec record = {};
    std::strcpy(record.text, text);
    const int32_t checked =
        CheckRestored(&check, BYOD_DB_USERAGENT_KEY, sizeof BYOD_DB_USERAGENT_KEY, LAUTH_DB_LIST,
                      &record, sizeof record);
    EXPECT_EQ(checked == 0, *text != 'c');
  }
  const std::string copy = directory() + "/copy";
  ASSERT_EQ(LAUTH_db_Backup(BYOD_db_GetDBHandle(), copy.c_str()), 0);
  for (const char* text : {"b", "c"}) {
    ByodTextRuleShowRec record = {};
    std::strcpy(record.text, text);
    ASSERT_EQ(BYOD_db_DeleteUserAgentRule(&record), 0u);
  }
  ASSERT_TRUE(state_.store.Recover());
  const Result result = state_.store.Restore(copy, 2);
  EXPECT_EQ(result.refusal, uint32_t{BYOD_REFUSAL_LIMIT});
  EXPECT_EQ(UserAgentKind::Count(), 1u);
  EXPECT_FALSE(std::filesystem::exists(directory() + "/eBYOD.db.old"));
}

TEST_F(BackupRequests, PhasesOutOfTurnAreRefused) {
  EXPECT_EQ(Do(BYOD_PHASE_MORE).refusal(), uint32_t{BYOD_REFUSAL_BUSY});
  EXPECT_EQ(Do(BYOD_PHASE_BEGIN).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED}) << "no size";
  EXPECT_EQ(Do(BYOD_PHASE_BEGIN, {Counter(BYOD_EXT_TOTAL, (1ull << 30) + 1)}).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
  Do(BYOD_PHASE_BEGIN, {Counter(BYOD_EXT_TOTAL, 4)});
  EXPECT_EQ(Do(4).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_TRUE(Do(BYOD_PHASE_ABORT).result.Ok());
  EXPECT_EQ(session_.upload, nullptr);
}

class WithoutADatabase : public Handlers {};

TEST_F(WithoutADatabase, ThereIsNoBackupAndNoRestore) {
  EXPECT_EQ(Get(SendBackup).refusal(), uint32_t{BYOD_REFUSAL_NOT_FOUND});
  EXPECT_EQ(Set(TakeRestore, {Number(BYOD_EXT_PHASE, BYOD_PHASE_BEGIN), Counter(BYOD_EXT_TOTAL, 1)})
                .refusal(),
            uint32_t{BYOD_REFUSAL_NOT_FOUND});
}

}  // namespace
}  // namespace byod::lauthd
