// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/dbm/schema.h"

namespace lauth::dbm {

Result CheckFiles(const Place& place) {
  const bool has_log = HasContent(place.log);
  struct stat found;
  if (lstat(place.database.c_str(), &found) != 0) {
    return FailSystem("use", place.database.c_str());
  }
  if (!S_ISREG(found.st_mode)) {
    return Fail(DBM_ERR_DAMAGED, "%s: is not an ordinary file", place.database.c_str());
  }
  if (found.st_size == 0) {
    return Fail(DBM_ERR_DAMAGED, "%s: is empty", place.database.c_str());
  }
  // A move of the log into the file may be half done, but then the log is still there.
  if (found.st_size % kPageSize != 0 && !has_log) {
    return Fail(DBM_ERR_DAMAGED, "%s: is not a database, or truncated", place.database.c_str());
  }
  if (NameIsTaken(place.journal)) {
    return Fail(DBM_ERR_DAMAGED, "%s: is the journal of a database of another program",
                place.journal.c_str());
  }
  return DBM_OK;
}

namespace {

// Makes the new database ready under another name and gives it its own when it is whole, so that an
// interruption leaves none rather than half of one.
Result Create(const Place& place, const Identity& identity) {
  if (HasContent(place.log)) {
    return Fail(DBM_ERR_DAMAGED, "%s: is there, but the database that it belongs to is gone",
                place.log.c_str());
  }
  Result result = RemoveFresh(place);
  if (result == DBM_OK) result = RemoveFile(place.log);
  if (result == DBM_OK) result = RemoveFile(place.index);
  Descriptor file;
  if (result == DBM_OK) result = CreateStateFile(place.fresh, file);
  file = Descriptor();
  if (result == DBM_OK) result = MakeStore(place.fresh, identity);
  if (result == DBM_OK && link(place.fresh.c_str(), place.database.c_str()) != 0) {
    result = FailSystem("create", place.database.c_str());
  }
  if (result == DBM_OK) result = RemoveFresh(place);
  return result == DBM_OK ? FlushDirectory(place.directory) : result;
}

// SQLite reads what it may not write, and says of a directory only that the database is read-only.
Result CheckAccess(const Place& place) {
  if (faccessat(AT_FDCWD, place.directory.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
    return FailSystem("write in", place.directory.c_str());
  }
  if (faccessat(AT_FDCWD, place.database.c_str(), R_OK | W_OK, AT_EACCESS) != 0) {
    return FailSystem("write", place.database.c_str());
  }
  return DBM_OK;
}

// Takes the shared lock with the database in its place.
Result LockExisting(const Place& place, const Identity& identity, Lock& lock) {
  for (;;) {
    Result result = lock.Acquire(place, Lock::Kind::kShared);
    if (result != DBM_OK || NameIsTaken(place.database)) return result;
    result = lock.Acquire(place, Lock::Kind::kAlone);
    if (result == DBM_OK && !NameIsTaken(place.database)) result = Create(place, identity);
    // While we waited to be alone another one may have created it.
    if (result != DBM_OK && !(result == DBM_ERR_BUSY && NameIsTaken(place.database))) return result;
  }
}

}  // namespace

Result RemoveFresh(const Place& place) {
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
    if (const Result result = RemoveFile(place.fresh + suffix); result != DBM_OK) return result;
  }
  return DBM_OK;
}

Result Database::Open(const Place& place, const Identity& identity,
                      std::shared_ptr<Database>& database) {
  Result result = PrepareDirectory(place);
  if (result != DBM_OK) return result;
  auto opened = std::make_shared<Database>();
  result = LockExisting(place, identity, opened->lock_);
  if (result == DBM_OK) result = CheckFiles(place);
  if (result == DBM_OK) result = CheckAccess(place);
  if (result == DBM_OK) result = opened->connection_.Open(place.database);
  if (result == DBM_OK) result = Verify(opened->connection_, identity, Depth::kOpening);
  if (result == DBM_OK) result = MakeDurable(opened->connection_);
  // The log is there now, and stays until the last close. SQLite flushes its name with its first
  // change, but does not notice when that fails.
  if (result == DBM_OK) result = FlushDirectory(place.directory);
  if (result == DBM_OK) database = std::move(opened);
  return result;
}

Result Database::Close() {
  cursors_.clear();
  bulk_ = false;
  reading_ = false;
  const Result result = connection_.Close();
  if (result == DBM_OK) lock_.Release();
  return result;
}

Result MoveLogIntoFile(const Place& place, Connection& connection) {
  connection.LetCloseTidyUp(true);
  Result result = connection.Close();
  if (result == DBM_OK && HasContent(place.log)) {
    result = Fail(DBM_ERR_FAILED, "cannot move %s into its database", place.log.c_str());
  }
  if (result == DBM_OK) result = RemoveFile(place.log);
  if (result == DBM_OK) result = RemoveFile(place.index);
  // Flushed, lest a loss of power brings the log back beside another file of the database's name.
  return result == DBM_OK ? FlushDirectory(place.directory) : result;
}

Result DeleteDatabase(const Place& place) {
  const auto fail_missing = [&place] {
    return Fail(DBM_ERR_NOTFOUND, "%s: there is no such database", place.database.c_str());
  };
  if (!NameIsTaken(place.directory)) return fail_missing();
  Lock lock;
  Result result = lock.Acquire(place, Lock::Kind::kAlone);
  if (result != DBM_OK) return result;
  if (!NameIsTaken(place.database)) {
    RemoveFile(place.lock);  // it may be there only since a moment ago
    return fail_missing();
  }
  Connection connection;
  result = CheckFiles(place);
  if (result == DBM_OK) result = connection.Open(place.database);
  if (result == DBM_OK) result = VerifyKind(connection);
  // So that the file without its log is still the whole old state.
  if (result == DBM_OK) result = MoveLogIntoFile(place, connection);
  if (result == DBM_OK) result = RemoveFresh(place);
  if (result == DBM_OK) result = RemoveFile(place.replaced);
  if (result == DBM_OK) result = RemoveFile(place.database);
  if (result == DBM_OK) result = FlushDirectory(place.directory);
  return result == DBM_OK ? RemoveFile(place.lock) : result;
}

}  // namespace lauth::dbm
