// SPDX-License-Identifier: Apache-2.0
// Backup of a database that is in use, and the way back.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "platform/dbm/database.h"

namespace lauth::dbm {
namespace {

// A file under a passing name, gone with the object.
class PassingFile {
 public:
  explicit PassingFile(std::string path) : path_(std::move(path)) {}
  PassingFile(const PassingFile&) = delete;
  PassingFile& operator=(const PassingFile&) = delete;
  ~PassingFile() {
    if (created_) unlink(path_.c_str());
  }

  Result Create() {
    Descriptor file;
    const Result result = CreatePrivateFile(path_, file);
    created_ = result == DBM_OK;
    return result;
  }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool created_ = false;
};

Result CopyPages(Connection& from, Connection& to) {
  errno = 0;
  sqlite3_backup* backup = sqlite3_backup_init(to.sqlite(), "main", from.sqlite(), "main");
  if (backup == nullptr) return to.Fail(sqlite3_extended_errcode(to.sqlite()));
  sqlite3_backup_step(backup, -1);
  const int code = sqlite3_backup_finish(backup);
  return code == SQLITE_OK ? DBM_OK : to.Fail(code);
}

Result CopyBytes(const Descriptor& from, const std::string& from_path, const Descriptor& to,
                 const std::string& to_path) {
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t got = read(from.get(), block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return FailSystem("read", from_path.c_str());
    if (got == 0) return DBM_OK;
    for (ssize_t done = 0; done < got;) {
      const ssize_t put = write(to.get(), block.data() + done, static_cast<size_t>(got - done));
      if (put < 0 && errno == EINTR) continue;
      if (put < 0) return FailSystem("write", to_path.c_str());
      done += put;
    }
  }
}

// Makes a copy of the backup, whole and flushed, in the directory of the database.
Result CopyBackup(const Place& place, const std::string& file) {
  const Descriptor from(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat found;
  if (!from || fstat(from.get(), &found) != 0) return FailSystem("open", file.c_str());
  if (!S_ISREG(found.st_mode) || found.st_size == 0) {
    return Fail(DBM_ERR_DAMAGED, "%s: is not a backup", file.c_str());
  }
  if (HasContent(file + "-wal")) {
    return Fail(DBM_ERR_DAMAGED, "%s: is a database in use, not a backup", file.c_str());
  }
  Descriptor to;
  Result result = RemoveFresh(place);
  if (result == DBM_OK) result = CreateStateFile(place.fresh, to);
  return result == DBM_OK ? CopyBytes(from, file, to, place.fresh) : result;
}

Result CheckCopy(const Place& place, const Identity& identity, const std::string& file,
                 const DataCheck& check) {
  Connection connection;
  Result result = connection.Open(place.fresh, file);
  if (result == DBM_OK) result = Verify(connection, identity, Depth::kRestoring, check);
  if (result == DBM_OK) result = MakeDurable(connection);
  if (result == DBM_OK) result = connection.Close();
  if (result == DBM_OK && HasContent(place.fresh + "-wal")) {
    result = Fail(DBM_ERR_FAILED, "cannot move the log of %s into it", place.fresh.c_str());
  }
  return result == DBM_OK ? FlushFile(place.fresh) : result;
}

// Gives a database that cannot be opened, or what is left of it, another name too.
Result KeepDamaged(const Place& place) {
  std::string kept = place.database + ".damaged";
  for (int number = 1; NameIsTaken(kept) || NameIsTaken(kept + "-wal"); ++number) {
    kept = place.database + ".damaged." + std::to_string(number);
  }
  // The log goes first: the new file must never lie beside it.
  if (HasContent(place.log) && rename(place.log.c_str(), (kept + "-wal").c_str()) != 0) {
    return FailSystem("rename", place.log.c_str());
  }
  if (NameIsTaken(place.database) && link(place.database.c_str(), kept.c_str()) != 0) {
    return FailSystem("rename", place.database.c_str());
  }
  for (const std::string* path : {&place.log, &place.index, &place.journal}) {
    if (const Result result = RemoveFile(*path); result != DBM_OK) return result;
  }
  return FlushDirectory(place.directory);
}

// Leaves the old database alone in its place, without a log that the new one could be mistaken for
// the owner of.
Result PutOldAside(const Place& place, const Identity& identity) {
  Connection connection;
  Result result = DBM_OK;
  if (NameIsTaken(place.database)) {
    result = CheckFiles(place);
    if (result == DBM_OK) result = connection.Open(place.database);
    if (result == DBM_OK) result = Verify(connection, identity, Depth::kOpening);
    if (result == DBM_OK) return MoveLogIntoFile(place, connection);
    if (result != DBM_ERR_DAMAGED && result != DBM_ERR_REFUSED) return result;
    if (result = connection.Close(); result != DBM_OK) return result;
  }
  return KeepDamaged(place);
}

// Keeps the old database under another name too, if there is one, until the restore has ended.
Result KeepReplaced(const Place& place) {
  if (!NameIsTaken(place.database)) return DBM_OK;
  if (link(place.database.c_str(), place.replaced.c_str()) == 0) return DBM_OK;
  return FailSystem("rename", place.database.c_str());
}

// Gives what a restore has replaced its name back.
Result PutBack(const Place& place) {
  // The new file's log must not lie beside the old file.
  for (const std::string* path : {&place.log, &place.index}) {
    if (const Result result = RemoveFile(*path); result != DBM_OK) return result;
  }
  if (rename(place.replaced.c_str(), place.database.c_str()) != 0) {
    return FailSystem("replace", place.database.c_str());
  }
  return FlushDirectory(place.directory);
}

// Puts the checked copy in the place of the database; a failure leaves the old one there.
Result Replace(const Place& place) {
  Result result = KeepReplaced(place);
  if (result == DBM_OK && rename(place.fresh.c_str(), place.database.c_str()) != 0) {
    result = FailSystem("replace", place.database.c_str());
  }
  const bool in_place = result == DBM_OK;
  if (in_place) result = FlushDirectory(place.directory);
  if (result == DBM_OK) return result;
  const KeptErrorText reason;
  if (!in_place) {
    RemoveFile(place.replaced);
  } else if (NameIsTaken(place.replaced)) {
    PutBack(place);
  } else {
    RemoveFile(place.database);
  }
  return Fail(result, "%s", reason.get());
}

}  // namespace

Result Database::Backup(const std::string& file) {
  if (bulk_) {
    return Fail(DBM_ERR_REFUSED, "%s: a bulk change is under way", connection_.name().c_str());
  }
  PassingFile copy(file + ".new-" + std::to_string(getpid()));
  Result result = copy.Create();
  if (result != DBM_OK) return result;
  Connection to;
  result = to.Open(copy.path());
  // No other process knows the copy, and it is renamed into place only when it is whole.
  if (result == DBM_OK) result = to.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
  if (result == DBM_OK) result = CopyPages(connection_, to);
  if (result == DBM_OK) result = to.Close();
  if (result == DBM_OK) result = FlushFile(copy.path());
  if (result != DBM_OK) return result;
  if (link(copy.path().c_str(), file.c_str()) != 0) {
    const bool exists = errno == EEXIST;
    result = FailSystem("create", file.c_str());
    return exists ? DBM_ERR_REFUSED : result;
  }
  return FlushDirectory(DirectoryOf(file));
}

Result Restore(const Place& place, const Identity& identity, const std::string& file,
               const DataCheck& check) {
  Lock lock;
  Result result = PrepareDirectory(place);
  if (result == DBM_OK) result = lock.Acquire(place, Lock::Kind::kAlone);
  if (result != DBM_OK) return result;
  result = RemoveFile(place.replaced);
  if (result == DBM_OK) result = CopyBackup(place, file);
  if (result == DBM_OK) result = CheckCopy(place, identity, file, check);
  if (result == DBM_OK) result = PutOldAside(place, identity);
  if (result == DBM_OK) result = Replace(place);
  if (result == DBM_OK) return result;
  const KeptErrorText reason;
  RemoveFresh(place);
  return Fail(result, "%s", reason.get());
}

Result UndoRestore(const Place& place) {
  Lock lock;
  const Result result = lock.Acquire(place, Lock::Kind::kAlone);
  if (result != DBM_OK) return result;
  if (!NameIsTaken(place.replaced)) {
    return Fail(DBM_ERR_NOTFOUND, "%s: there is no such file", place.replaced.c_str());
  }
  return PutBack(place);
}

}  // namespace lauth::dbm
