// SPDX-License-Identifier: Apache-2.0
// The database as bytes, out and in.
#include "lauthd/requests/backup_requests.h"

#include "lauthd/requests/rule_changes.h"
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
