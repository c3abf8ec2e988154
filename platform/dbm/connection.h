// SPDX-License-Identifier: Apache-2.0
// One SQLite connection with its prepared statements.
#ifndef LAUTH_PLATFORM_DBM_CONNECTION_H
#define LAUTH_PLATFORM_DBM_CONNECTION_H

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/dbm/error.h"

namespace lauth::dbm {

/// A statement that the connection prepares at its first use and keeps.
enum class Sql : size_t {
  kBegin,
  kBeginChange,
  kCommit,
  kRollback,
  kBeginStep,
  kCommitStep,
  kRollbackStep,
  kSettle,
  kFindList,
  kAddList,
  kRemoveList,
  kRemoveListRecords,
  kPutRecord,
  kGetRecord,
  kFirstRecord,
  kNextRecord,
  kRemoveRecord,
  kFindValue,
  kPutValue,
  kRemoveValue,
  kAllKeys,
  kCount
};

class Connection {
 public:
  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { Close(); }

  /**
   * Opens a file that exists. Nothing is read from it yet.
   *
   * @param name  what error texts call it
   */
  Result Open(const std::string& path, const std::string& name);
  Result Open(const std::string& path) { return Open(path, path); }

  /// Whether closing may move the log into the file; not at first.
  void LetCloseTidyUp(bool yes);

  /// Closes; later calls do nothing.
  Result Close();

  /// Gives back the memory of pages that a look at the whole file has left.
  void ForgetPages() { sqlite3_db_release_memory(sqlite_); }

  /// Runs statements that are of use only once.
  Result Execute(const char* sql);

  /// Reads the single number, or text, that a statement gives.
  Result Read(const char* sql, int64_t& number);
  Result Read(const char* sql, std::string& text);

  /// Fails with SQLite's code and text.
  Result Fail(int code) const;

  /// Fails as damaged, naming the file and what is wrong with it.
  Result FailDamaged(const char* reason) const;

  bool InTransaction() const { return sqlite3_get_autocommit(sqlite_) == 0; }
  sqlite3* sqlite() const { return sqlite_; }
  const std::string& name() const { return name_; }

 private:
  friend class Statement;
  sqlite3_stmt* Prepared(Sql which, int& code);

  std::string name_;
  sqlite3* sqlite_ = nullptr;
  std::array<sqlite3_stmt*, static_cast<size_t>(Sql::kCount)> prepared_{};
};

/// The use of a statement: bind in order, step, read the columns. Ends with the object.
class Statement {
 public:
  /// Uses a statement that the connection keeps.
  Statement(Connection& connection, Sql which);

  /// Uses a statement that is of use only once.
  Statement(Connection& connection, const char* sql);

  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  /// The bytes are borrowed until the statement's use ends.
  Statement& Bind(std::string_view bytes);
  Statement& Bind(int64_t number);

  /// Finds the next row. @return DBM_OK, with row set to whether there is one, or a failure
  Result Step(bool& row);

  /// Runs to the end.
  Result Run();

  /// Of the current row; valid until the next step.
  std::string_view Bytes(int column) const;
  int64_t Number(int column) const;

 private:
  Connection& connection_;
  sqlite3_stmt* statement_ = nullptr;
  bool kept_;
  int bound_ = 0;
  int code_ = SQLITE_OK;
};

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_CONNECTION_H
