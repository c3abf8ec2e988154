// SPDX-License-Identifier: Apache-2.0
// An open database: what a handle stands for.
#ifndef LAUTH_PLATFORM_DBM_DATABASE_H
#define LAUTH_PLATFORM_DBM_DATABASE_H

#include <sys/types.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dbm/connection.h"
#include "platform/dbm/lock.h"
#include "platform/dbm/place.h"
#include "platform/dbm/store.h"

namespace lauth::dbm {

/// Bytes that a caller wants filled.
struct Buffer {
  void* data;
  uint32_t size;
};

struct Key {
  std::string bytes;
  uint32_t kind;
};

class Database {
 public:
  /// Opens the database of a place, and creates it if need be.
  static Result Open(const Place& place, const Identity& identity,
                     std::shared_ptr<Database>& database);

  /// Closes; what is open within is withdrawn.
  Result Close();

  Result CreateList(std::string_view key, const List& wanted);
  Result Insert(std::string_view key, std::string_view record, uint32_t number);
  Result Remove(std::string_view key, std::string_view record);
  Result Get(std::string_view key, Buffer record);
  Result GetNext(std::string_view key, uintptr_t& iterator, Buffer record);
  Result FreeIterator(uintptr_t& iterator);
  int64_t WalkCount() const { return walked_; }

  Result SetValue(std::string_view key, uint32_t area, uint32_t form, std::string_view data);
  Result GetValue(std::string_view key, uint32_t area, Buffer data);

  Result HasKey(std::string_view key);
  Result DeleteKey(std::string_view key);
  Result AllKeys(std::vector<Key>& keys);

  Result BeginReading();
  Result EndReading();

  Result BeginBulk();
  Result CommitBulk();
  Result RollbackBulk();

  Result Backup(const std::string& file);

  /// Held for the length of a call.
  std::mutex& mutex() { return mutex_; }

 private:
  friend class Change;
  friend class Reading;

  // Where an iterator is.
  struct Cursor {
    std::string list_key;
    std::string sort_key;
    // In a reading: the list, being read from the place on.
    int64_t list = 0;
    std::string walk_from = {};
    std::unique_ptr<Statement> walk = nullptr;
  };

  Result CheckPlace();
  Result Run(Sql which) { return Statement(connection_, which).Run(); }
  Result Commit();
  Result RefuseInReading() const;
  Result WalkOn(Cursor& cursor, Buffer record);
  Result FindList(std::string_view key, List& list, bool& found);
  Result FindValue(std::string_view key, bool& found);

  std::mutex mutex_;
  Lock lock_;
  Connection connection_;
  bool bulk_ = false;
  bool reading_ = false;
  int64_t changes_at_begin_ = 0;
  std::map<uintptr_t, Cursor> cursors_;
  int64_t walked_ = 0;  // records that GetNext has given
};

/**
 * One change: from Begin to Commit all or nothing, withdrawn if the object goes before.
 *
 * Within a bulk change a single statement is all or nothing by itself, and a savepoint costs more
 * than the statement: SQLite keeps the former pages in a temporary file.
 */
class Change {
 public:
  enum class Writes { kOneStatement, kSeveral };

  explicit Change(Database& database, Writes writes = Writes::kOneStatement)
      : database_(database), writes_(writes) {}
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  ~Change();

  Result Begin();
  Result Commit();

 private:
  Database& database_;
  Writes writes_;
  bool open_ = false;
};

/// Several reads of one state.
class Reading {
 public:
  explicit Reading(Database& database) : database_(database) {}
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading();

  Result Begin();

 private:
  Database& database_;
  bool open_ = false;
};

/// @return the changes that this process has flushed
uint64_t FlushCount();

/// Removes the database of a place.
Result DeleteDatabase(const Place& place);

/// Puts a checked copy of a file in the place of a database.
Result Restore(const Place& place, const Identity& identity, const std::string& file,
               const DataCheck& check);

/// Puts back what the last restore replaced.
Result UndoRestore(const Place& place);

/// Checks what names and sizes alone show. SQLite would take an empty file for a new database and
/// roll a foreign journal back.
Result CheckFiles(const Place& place);

/// Closes the last connection to a database so that its file holds everything, without a log.
Result MoveLogIntoFile(const Place& place, Connection& connection);

/// Removes what an interrupted creation or restore left. The lock must be held alone.
Result RemoveFresh(const Place& place);

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_DATABASE_H
