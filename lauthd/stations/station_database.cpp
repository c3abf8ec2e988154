// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <utility>

#include "lauthd/log.h"
#include "net/descriptor.h"

namespace byod::lauthd {
namespace {

constexpr int kSchema = 1;
constexpr int kBusyMilliseconds = 1000;
constexpr char kTable[] =
    "CREATE TABLE IF NOT EXISTS station (mac INTEGER PRIMARY KEY, seen INTEGER NOT NULL, "
    "record BLOB NOT NULL)";

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

Statement Prepare(sqlite3* handle, const char* text) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(handle, text, -1, &statement, nullptr);
  return Statement(statement);
}

bool IsDamage(int code) {
  return (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB;
}

/// The number behind "PRAGMA user_version"; negative on failure.
int SchemaOf(sqlite3* handle) {
  const Statement statement = Prepare(handle, "PRAGMA user_version");
  if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW) return -1;
  return sqlite3_column_int(statement.get(), 0);
}

/// Starts a thread that no signal interrupts.
template <typename Function>
std::thread StartQuietThread(Function function) {
  sigset_t all, former;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  try {
    std::thread thread(std::move(function));
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return thread;
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    throw;
  }
}

}  // namespace

StationDatabase::~StationDatabase() {
  if (thread_.joinable()) {
    {
      const std::lock_guard lock(mutex_);
      is_ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  CloseHandle();
}

// ---------------------------------------------------------------- the file

void StationDatabase::CloseHandle() {
  sqlite3_close(std::exchange(handle_, nullptr));
}

int StationDatabase::Execute(const char* statement) {
  return sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr);
}

/// @return SQLITE_OK, or why it cannot be used
int StationDatabase::Open() {
  if (handle_ != nullptr) return SQLITE_OK;
  // Readable by its owner alone, whatever the umask is.
  const net::Descriptor made(open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!made) return SQLITE_CANTOPEN;
  int code = sqlite3_open_v2(file_.c_str(), &handle_, SQLITE_OPEN_READWRITE, nullptr);
  if (code == SQLITE_OK) {
    sqlite3_busy_timeout(handle_, kBusyMilliseconds);
    code = Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA secure_delete=ON");
  }
  if (code == SQLITE_OK) {
    const int schema = SchemaOf(handle_);
    if (schema < 0) code = sqlite3_errcode(handle_);
    if (schema > kSchema) code = SQLITE_NOTADB;
  }
  if (code == SQLITE_OK) code = Execute(kTable);
  if (code == SQLITE_OK) code = Execute("PRAGMA user_version=1");
  if (code != SQLITE_OK) CloseHandle();
  return code;
}

void StationDatabase::MoveAside(const char* why) {
  CloseHandle();
  const std::string aside = file_ + ".damaged";
  std::rename(file_.c_str(), aside.c_str());
  for (const char* const suffix : {"-wal", "-shm"})
    unlink((file_ + suffix).c_str());
  Log(Severity::kError, "the database of stations is damaged (%s): moved to %s, begun again", why,
      aside.c_str());
}

void StationDatabase::Load(const std::function<bool(std::string_view)>& take) {
  if (access(file_.c_str(), F_OK) != 0) return;
  int code = Open();
  size_t unread = 0;
  if (code == SQLITE_OK) {
    const Statement statement = Prepare(handle_, "SELECT record FROM station ORDER BY seen");
    code = statement ? SQLITE_ROW : sqlite3_errcode(handle_);
    while (code == SQLITE_ROW && (code = sqlite3_step(statement.get())) == SQLITE_ROW) {
      const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement.get(), 0));
      const auto length = static_cast<size_t>(sqlite3_column_bytes(statement.get(), 0));
      if (!take({bytes, bytes != nullptr ? length : 0})) ++unread;
    }
  }
  if (unread > 0) {
    Log(Severity::kWarning, "%zu records of stations could not be read", unread);
  }
  if (code == SQLITE_OK || code == SQLITE_DONE) return;
  if (IsDamage(code)) return MoveAside(sqlite3_errstr(code));
  Log(Severity::kError, "the database of stations cannot be read: %s", sqlite3_errstr(code));
  CloseHandle();
}

bool StationDatabase::TryStore(const StationBatch& batch, int& code) {
  code = Open();
  if (code != SQLITE_OK) return false;
  code = Execute("BEGIN IMMEDIATE");
  if (code != SQLITE_OK) return false;
  if (batch.from_scratch) code = Execute("DELETE FROM station");
  const Statement put =
      Prepare(handle_, "INSERT OR REPLACE INTO station (mac, seen, record) VALUES (?, ?, ?)");
  const Statement drop = Prepare(handle_, "DELETE FROM station WHERE mac = ?");
  if (!put || !drop) code = sqlite3_errcode(handle_);
  for (const StationBatch::Entry& entry : batch.entries) {
    if (code != SQLITE_OK) break;
    sqlite3_stmt* const statement = entry.record.empty() ? drop.get() : put.get();
    sqlite3_bind_int64(statement, 1, static_cast<sqlite3_int64>(entry.mac));
    if (!entry.record.empty()) {
      sqlite3_bind_int64(statement, 2, entry.seen);
      sqlite3_bind_blob(statement, 3, entry.record.data(), static_cast<int>(entry.record.size()),
                        SQLITE_STATIC);
    }
    code = sqlite3_step(statement);
    if (code == SQLITE_DONE) code = SQLITE_OK;
    sqlite3_reset(statement);
  }
  if (code == SQLITE_OK) code = Execute("COMMIT");
  if (code != SQLITE_OK) Execute("ROLLBACK");
  return code == SQLITE_OK;
}

/// @return whether the batch is on the disk
bool StationDatabase::Store(const StationBatch& batch) {
  int code = SQLITE_OK;
  if (TryStore(batch, code)) {
    if (std::exchange(is_failing_, false)) {
      Log(Severity::kNotice, "the database of stations works again");
    }
    return true;
  }
  if (IsDamage(code)) {
    MoveAside(sqlite3_errstr(code));
  } else {
    if (!std::exchange(is_failing_, true)) {
      Log(Severity::kError, "the database of stations cannot be written: %s", sqlite3_errstr(code));
    }
    CloseHandle();
  }
  return false;
}

// ---------------------------------------------------------------- the thread

StationDatabase::Status StationDatabase::Poll() {
  const std::lock_guard lock(mutex_);
  return status_ == Status::kFailed ? std::exchange(status_, Status::kIdle) : status_;
}

void StationDatabase::Write(StationBatch batch) {
  {
    const std::lock_guard lock(mutex_);
    batch_ = std::move(batch);
    status_ = Status::kBusy;
  }
  if (!thread_.joinable()) thread_ = StartQuietThread([this] { Run(); });
  changed_.notify_all();
}

void StationDatabase::Wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return status_ != Status::kBusy; });
}

void StationDatabase::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return is_ending_ || status_ == Status::kBusy; });
    if (status_ != Status::kBusy) return;
    const StationBatch batch = std::move(batch_);
    lock.unlock();
    const bool stored = Store(batch);
    lock.lock();
    status_ = stored ? Status::kIdle : Status::kFailed;
    changed_.notify_all();
  }
}

}  // namespace byod::lauthd
