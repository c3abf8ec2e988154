// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/connection.h"

#include <cerrno>
#include <cstring>

namespace lauth::dbm {
namespace {

// How long a change waits for those of other processes.
constexpr int kPatienceMilliseconds = 10000;

// In the order of Sql.
constexpr std::array<const char*, static_cast<size_t>(Sql::kCount)> kTexts = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SAVEPOINT step",
    "RELEASE step",
    "ROLLBACK TO step",
    "UPDATE store SET withdrawn = withdrawn + 1",
    "SELECT id, offset, length, number, sum FROM list WHERE key = ?1",
    "INSERT INTO list (key, offset, length, comparison, reserved, number, sum)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
    "DELETE FROM list WHERE id = ?1",
    "DELETE FROM record WHERE list = ?1",
    "INSERT INTO record (list, sort_key, data, sum) VALUES (?1, ?2, ?3, ?4)"
    " ON CONFLICT DO UPDATE SET data = excluded.data, sum = excluded.sum",
    "SELECT data, sum FROM record WHERE list = ?1 AND sort_key = ?2",
    "SELECT data, sum, sort_key FROM record WHERE list = ?1 ORDER BY sort_key LIMIT 1",
    "SELECT data, sum, sort_key FROM record WHERE list = ?1 AND sort_key > ?2"
    " ORDER BY sort_key LIMIT 1",
    "DELETE FROM record WHERE list = ?1 AND sort_key = ?2",
    "SELECT data, sum, area, form FROM value WHERE key = ?1",
    "INSERT INTO value (key, area, form, data, sum) VALUES (?1, ?2, ?3, ?4, ?5)"
    " ON CONFLICT DO UPDATE SET data = excluded.data, sum = excluded.sum",
    "DELETE FROM value WHERE key = ?1",
    "SELECT key, 1 FROM list UNION ALL SELECT key, 2 FROM value ORDER BY 1",
};

Result CodeFor(int sqlite_code) {
  switch (sqlite_code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return DBM_ERR_BUSY;
    case SQLITE_FULL:
      return DBM_ERR_FULL;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return DBM_ERR_DAMAGED;
    case SQLITE_NOMEM:
      return DBM_ERR_MEMORY;
    default:
      return DBM_ERR_FAILED;
  }
}

}  // namespace

Result Connection::Open(const std::string& path, const std::string& name) {
  name_ = name;
  errno = 0;
  // The caller holds the database's mutex, so SQLite needs none for the connection.
  int code =
      sqlite3_open_v2(path.c_str(), &sqlite_,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  if (code == SQLITE_OK) code = sqlite3_busy_timeout(sqlite_, kPatienceMilliseconds);
  if (code == SQLITE_OK) {
    code = sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  }
  if (code == SQLITE_OK) {
    code = sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  }
  if (code == SQLITE_OK) {
    code = sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  return code == SQLITE_OK ? DBM_OK : Fail(code);
}

void Connection::LetCloseTidyUp(bool yes) {
  sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, yes ? 0 : 1, nullptr);
}

Result Connection::Close() {
  for (sqlite3_stmt*& statement : prepared_) {
    sqlite3_finalize(statement);
    statement = nullptr;
  }
  const int code = sqlite3_close(sqlite_);
  if (code != SQLITE_OK) return Fail(code);
  sqlite_ = nullptr;
  return DBM_OK;
}

Result Connection::Execute(const char* sql) {
  errno = 0;
  const int code = sqlite3_exec(sqlite_, sql, nullptr, nullptr, nullptr);
  return code == SQLITE_OK ? DBM_OK : Fail(code);
}

Result Connection::Read(const char* sql, int64_t& number) {
  Statement statement(*this, sql);
  bool row = false;
  if (const Result result = statement.Step(row); result != DBM_OK) return result;
  number = row ? statement.Number(0) : 0;
  return DBM_OK;
}

Result Connection::Read(const char* sql, std::string& text) {
  Statement statement(*this, sql);
  bool row = false;
  if (const Result result = statement.Step(row); result != DBM_OK) return result;
  text = row ? statement.Bytes(0) : "";
  return DBM_OK;
}

Result Connection::Fail(int code) const {
  const int reason = errno;  // of the call that failed: it was 0 before
  const char* detail = sqlite3_errstr(code);
  // The connection's own text says more, unless it is about another failure.
  if (sqlite_ != nullptr && sqlite3_extended_errcode(sqlite_) == code) {
    detail = sqlite3_errmsg(sqlite_);
  }
  // It does not say why the system refused.
  const int primary = code & 0xFF;
  if (reason == 0 || (primary != SQLITE_IOERR && primary != SQLITE_CANTOPEN)) {
    return dbm::Fail(CodeFor(code), "%s: %s", name_.c_str(), detail);
  }
  char buffer[128];
  return dbm::Fail(ResultOf(reason), "%s: %s: %s", name_.c_str(), detail,
                   strerror_r(reason, buffer, sizeof buffer));
}

Result Connection::FailDamaged(const char* reason) const {
  return dbm::Fail(DBM_ERR_DAMAGED, "%s: %s", name_.c_str(), reason);
}

sqlite3_stmt* Connection::Prepared(Sql which, int& code) {
  sqlite3_stmt*& statement = prepared_[static_cast<size_t>(which)];
  if (statement == nullptr) {
    code = sqlite3_prepare_v3(sqlite_, kTexts[static_cast<size_t>(which)], -1,
                              SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  }
  return statement;
}

Statement::Statement(Connection& connection, Sql which) : connection_(connection), kept_(true) {
  errno = 0;
  statement_ = connection.Prepared(which, code_);
}

Statement::Statement(Connection& connection, const char* sql)
    : connection_(connection), kept_(false) {
  errno = 0;
  code_ = sqlite3_prepare_v2(connection.sqlite_, sql, -1, &statement_, nullptr);
}

Statement::~Statement() {
  if (statement_ == nullptr) return;
  if (kept_) {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  } else {
    sqlite3_finalize(statement_);
  }
}

Statement& Statement::Bind(std::string_view bytes) {
  // A null pointer would bind NULL, not an empty value.
  const char* data = bytes.empty() ? "" : bytes.data();
  if (code_ == SQLITE_OK) {
    code_ = sqlite3_bind_blob64(statement_, ++bound_, data, bytes.size(), SQLITE_STATIC);
  }
  return *this;
}

Statement& Statement::Bind(int64_t number) {
  if (code_ == SQLITE_OK) code_ = sqlite3_bind_int64(statement_, ++bound_, number);
  return *this;
}

Result Statement::Step(bool& row) {
  row = false;
  if (code_ != SQLITE_OK) return connection_.Fail(code_);
  errno = 0;
  const int code = sqlite3_step(statement_);
  row = code == SQLITE_ROW;
  return row || code == SQLITE_DONE ? DBM_OK : connection_.Fail(code);
}

Result Statement::Run() {
  bool row = true;
  Result result = DBM_OK;
  while (row && result == DBM_OK)
    result = Step(row);
  return result;
}

std::string_view Statement::Bytes(int column) const {
  const void* data = sqlite3_column_blob(statement_, column);
  const int length = sqlite3_column_bytes(statement_, column);
  return data == nullptr
             ? std::string_view()
             : std::string_view(static_cast<const char*>(data), static_cast<size_t>(length));
}

int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(statement_, column);
}

}  // namespace lauth::dbm
