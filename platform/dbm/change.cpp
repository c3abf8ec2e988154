// SPDX-License-Identifier: Apache-2.0
// Changes: how they begin, become durable, and are withdrawn.
#include <atomic>

#include "platform/dbm/database.h"

namespace lauth::dbm {
namespace {

// As wide as the machine counts without a lock: 64 bits would ask for a support library where they
// are two words, and 32 outlast the storage.
std::atomic<uintptr_t> flush_count{0};
static_assert(decltype(flush_count)::is_always_lock_free);

}  // namespace

uint64_t FlushCount() {
  return flush_count.load();
}

Result Change::Begin() {
  Database& database = database_;
  if (const Result result = database.RefuseInReading(); result != DBM_OK) return result;
  if (database.bulk_ && !database.connection_.InTransaction()) {
    return Fail(DBM_ERR_FAILED, "%s: the bulk change was lost at an earlier failure",
                database.connection_.name().c_str());
  }
  if (database.bulk_ && writes_ == Writes::kOneStatement) return DBM_OK;
  Result result = database.bulk_ ? DBM_OK : database.CheckPlace();
  if (result != DBM_OK) return result;
  result = database.Run(database.bulk_ ? Sql::kBeginStep : Sql::kBeginChange);
  open_ = result == DBM_OK;
  if (open_ && !database.bulk_) {
    database.changes_at_begin_ = sqlite3_total_changes64(database.connection_.sqlite());
  }
  return result;
}

Result Change::Commit() {
  if (!open_) return DBM_OK;
  const Result result = database_.bulk_ ? database_.Run(Sql::kCommitStep) : database_.Commit();
  if (result == DBM_OK) open_ = false;
  return result;
}

Change::~Change() {
  // SQLite itself may have withdrawn everything at a failure.
  if (!open_ || !database_.connection_.InTransaction()) return;
  const char* undo = database_.bulk_ ? "ROLLBACK TO step; RELEASE step" : "ROLLBACK";
  sqlite3_exec(database_.connection_.sqlite(), undo, nullptr, nullptr, nullptr);
}

Result Database::Commit() {
  const Result result = Run(Sql::kCommit);
  if (result == DBM_OK) {
    if (sqlite3_total_changes64(connection_.sqlite()) != changes_at_begin_) ++flush_count;
    return result;
  }
  if (connection_.InTransaction()) {
    sqlite3_exec(connection_.sqlite(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  // What could not be flushed may lie complete in the log all the same, and a crash now would find
  // it there. Another small change overwrites it.
  const KeptErrorText reason;
  const bool settled = Run(Sql::kSettle) == DBM_OK;
  if (settled) ++flush_count;
  return Fail(result, "%s%s", reason.get(),
              settled ? "" : "; a crash before the next change may yet bring this one back");
}

Result Database::RefuseInReading() const {
  if (!reading_) return DBM_OK;
  return Fail(DBM_ERR_REFUSED, "%s: a reading is under way", connection_.name().c_str());
}

Result Database::BeginReading() {
  if (bulk_) {
    return Fail(DBM_ERR_REFUSED, "%s: a bulk change is under way", connection_.name().c_str());
  }
  if (const Result refused = RefuseInReading(); refused != DBM_OK) return refused;
  const Result result = Run(Sql::kBegin);
  reading_ = result == DBM_OK;
  return result;
}

Result Database::EndReading() {
  if (!reading_) {
    return Fail(DBM_ERR_REFUSED, "%s: no reading is under way", connection_.name().c_str());
  }
  reading_ = false;
  for (auto& [iterator, cursor] : cursors_)
    cursor.walk.reset();
  const Result result = connection_.InTransaction() ? Run(Sql::kRollback) : DBM_OK;
  connection_.ForgetPages();
  return result;
}

// A change of a file that has lost its name would be lost when the last process closes it.
Result Database::CheckPlace() {
  int moved = 0;
  sqlite3_file_control(connection_.sqlite(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  if (moved == 0) return DBM_OK;
  return Fail(DBM_ERR_FAILED, "%s: the open file is no longer found under this name",
              connection_.name().c_str());
}

Result Database::BeginBulk() {
  if (const Result refused = RefuseInReading(); refused != DBM_OK) return refused;
  if (bulk_) {
    return Fail(DBM_ERR_REFUSED, "%s: a bulk change is under way", connection_.name().c_str());
  }
  Result result = CheckPlace();
  if (result == DBM_OK) result = Run(Sql::kBeginChange);
  bulk_ = result == DBM_OK;
  if (bulk_) changes_at_begin_ = sqlite3_total_changes64(connection_.sqlite());
  return result;
}

Result Database::CommitBulk() {
  if (!bulk_) {
    return Fail(DBM_ERR_REFUSED, "%s: no bulk change is under way", connection_.name().c_str());
  }
  bulk_ = false;
  if (!connection_.InTransaction()) {
    return Fail(DBM_ERR_FAILED, "%s: the bulk change was lost at an earlier failure",
                connection_.name().c_str());
  }
  return Commit();
}

Result Database::RollbackBulk() {
  if (!bulk_) {
    return Fail(DBM_ERR_REFUSED, "%s: no bulk change is under way", connection_.name().c_str());
  }
  bulk_ = false;
  return connection_.InTransaction() ? Run(Sql::kRollback) : DBM_OK;
}

Result Reading::Begin() {
  if (database_.connection_.InTransaction()) return DBM_OK;
  const Result result = database_.Run(Sql::kBegin);
  open_ = result == DBM_OK;
  return result;
}

Reading::~Reading() {
  if (open_ && database_.connection_.InTransaction()) {
    Statement(database_.connection_, Sql::kRollback).Run();
  }
}

}  // namespace lauth::dbm
