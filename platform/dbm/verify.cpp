// SPDX-License-Identifier: Apache-2.0
// Judging a database file whole. SQLite finds damage only where it happens to read, and keeps no
// checksums of the file itself, so an open reads everything once.
#include <map>
#include <string>

#include "lauth_dbm_admin.h"
#include "platform/dbm/schema.h"
#include "platform/dbm/store.h"

namespace lauth::dbm {
namespace {

bool IsUint32(int64_t number) {
  return number >= 0 && number <= int64_t{UINT32_MAX};
}

Result VerifyPages(Connection& connection, Depth depth) {
  std::string verdict;
  const Result result = connection.Read(
      depth == Depth::kOpening ? "PRAGMA quick_check(1)" : "PRAGMA integrity_check(1)", verdict);
  if (result != DBM_OK) return result;
  return verdict == "ok" ? DBM_OK : connection.FailDamaged(verdict.c_str());
}

Result VerifyIdentity(Connection& connection, const Identity& identity) {
  Statement read(connection, "SELECT owner, mode, word0, word1, word2, word3, name FROM store");
  bool row = false;
  if (const Result result = read.Step(row); result != DBM_OK) return result;
  if (!row) return connection.FailDamaged("does not say whose it is");
  Identity stored;
  stored.owner = read.Bytes(0);
  stored.mode = static_cast<uint32_t>(read.Number(1));
  for (size_t i = 0; i < stored.words.size(); ++i) {
    stored.words[i] = static_cast<uint32_t>(read.Number(static_cast<int>(i) + 2));
  }
  stored.store = read.Bytes(6);
  if (const Result result = read.Step(row); result != DBM_OK) return result;
  if (row) return connection.FailDamaged("says twice whose it is");
  if (stored == identity) return DBM_OK;
  return Fail(DBM_ERR_REFUSED,
              "%s: was created as %s of %s and with other parameters, or by another",
              connection.name().c_str(), stored.store.c_str(), stored.owner.c_str());
}

Result CheckData(const DataCheck& check, std::string_view key, uint32_t kind,
                 std::string_view data) {
  return check ? check(key, kind, data) : DBM_OK;
}

struct KeyedList {
  std::string key;
  List list;
};
using Lists = std::map<int64_t, KeyedList>;  // by their ids

Result ReadLists(Connection& connection, Lists& lists) {
  Statement read(connection,
                 "SELECT id, offset, length, number, sum, comparison, reserved, key FROM list");
  for (;;) {
    bool row = false;
    if (const Result result = read.Step(row); result != DBM_OK || !row) return result;
    const std::string_view key = read.Bytes(7);
    const bool in_range = IsUint32(read.Number(1)) && read.Number(1) <= DBM_MAX_DATA &&
                          read.Number(2) >= 1 && read.Number(2) <= DBM_MAX_KEY &&
                          IsUint32(read.Number(3)) && read.Number(5) == DBM_COMPARE_TEXT &&
                          read.Number(6) == 0 && !key.empty() && key.size() <= DBM_MAX_KEY;
    if (!in_range) return connection.FailDamaged("a list's description is wrong");
    const List list{read.Number(0), static_cast<uint32_t>(read.Number(1)),
                    static_cast<uint32_t>(read.Number(2)), static_cast<uint32_t>(read.Number(3))};
    if (read.Number(4) != int64_t{ListSum(key, list)}) {
      return connection.FailDamaged("a list's description is not as it was stored");
    }
    lists.insert({list.id, {std::string(key), list}});
  }
}

// The records of all lists, in the order in which they lie in the file.
Result VerifyRecords(Connection& connection, const Lists& lists, const DataCheck& check) {
  Statement read(connection,
                 "SELECT list, sort_key, data, sum FROM record ORDER BY list, sort_key");
  auto owner = lists.end();  // of the record before, as is the sort key
  std::string before;
  for (;;) {
    bool row = false;
    if (const Result result = read.Step(row); result != DBM_OK || !row) return result;
    const int64_t id = read.Number(0);
    const std::string_view sort_key = read.Bytes(1);
    const std::string_view data = read.Bytes(2);
    const bool follows =
        owner == lists.end() || id > owner->first || (id == owner->first && sort_key > before);
    if (!follows) return connection.FailDamaged("a list is out of order");
    if (owner == lists.end() || id != owner->first) owner = lists.find(id);
    if (owner == lists.end()) return connection.FailDamaged("there are records of no list");
    const auto& [key, list] = owner->second;
    if (data.size() > DBM_MAX_DATA || !HoldsSortKey(list, data.size())) {
      return connection.FailDamaged("a record's size is wrong");
    }
    if (read.Number(3) != int64_t{RecordSum(id, data)} || SortKeyOf(list, data) != sort_key) {
      return connection.FailDamaged("a record is not as it was stored");
    }
    before = sort_key;
    if (const Result result = CheckData(check, key, LAUTH_DB_LIST, data); result != DBM_OK) {
      return result;
    }
  }
}

Result VerifyLists(Connection& connection, const DataCheck& check) {
  Lists lists;
  const Result result = ReadLists(connection, lists);
  return result == DBM_OK ? VerifyRecords(connection, lists, check) : result;
}

Result VerifyValues(Connection& connection, const DataCheck& check) {
  Statement read(connection, "SELECT key, area, form, data, sum FROM value");
  for (;;) {
    bool row = false;
    if (const Result result = read.Step(row); result != DBM_OK) return result;
    if (!row) break;
    const std::string_view key = read.Bytes(0);
    const std::string_view data = read.Bytes(3);
    const bool in_range = IsUint32(read.Number(1)) && IsUint32(read.Number(2)) && !key.empty() &&
                          key.size() <= DBM_MAX_KEY && data.size() <= DBM_MAX_DATA;
    if (!in_range ||
        read.Number(4) != int64_t{ValueSum(key, static_cast<uint32_t>(read.Number(1)),
                                           static_cast<uint32_t>(read.Number(2)), data)}) {
      return connection.FailDamaged("a value is not as it was stored");
    }
    if (const Result result = CheckData(check, key, LAUTH_DB_VALUE, data); result != DBM_OK) {
      return result;
    }
  }
  int64_t twice = 0;
  const Result result =
      connection.Read("SELECT count(*) FROM list WHERE key IN (SELECT key FROM value)", twice);
  if (result == DBM_OK && twice != 0) return connection.FailDamaged("a key names two things");
  return result;
}

}  // namespace

Result VerifyKind(Connection& connection) {
  int64_t application = 0;
  int64_t version = 0;
  Result result = connection.Read("PRAGMA application_id", application);
  if (result == DBM_OK) result = connection.Read("PRAGMA user_version", version);
  if (result != DBM_OK) return result;
  if (application != kApplication) {
    return connection.FailDamaged("is a database of another program");
  }
  if (version != kVersion) return connection.FailDamaged("has a format of another version");

  for (const Table& table : kTables) {
    const std::string lookup = "SELECT sql FROM sqlite_schema WHERE type = 'table' AND name = '" +
                               std::string(table.name) + "'";
    std::string sql;
    if (result = connection.Read(lookup.c_str(), sql); result != DBM_OK) return result;
    if (sql != table.sql) return connection.FailDamaged("does not have the tables it should have");
  }
  int64_t others = 0;
  result = connection.Read("SELECT count(*) FROM sqlite_schema WHERE type IN ('trigger', 'view')",
                           others);
  if (result == DBM_OK && others != 0) {
    result = connection.FailDamaged("has triggers or views, which it should not have");
  }
  return result;
}

Result Verify(Connection& connection, const Identity& identity, Depth depth,
              const DataCheck& check) {
  // One transaction, so that changes of other processes do not come between.
  Result result = connection.Execute("BEGIN");
  if (result != DBM_OK) return result;
  result = VerifyKind(connection);
  if (result == DBM_OK) result = VerifyPages(connection, depth);
  if (result == DBM_OK) result = VerifyIdentity(connection, identity);
  if (result == DBM_OK) result = VerifyLists(connection, check);
  if (result == DBM_OK) result = VerifyValues(connection, check);
  if (result == DBM_OK) return connection.Execute("COMMIT");
  sqlite3_exec(connection.sqlite(), "ROLLBACK", nullptr, nullptr, nullptr);
  return result;
}

}  // namespace lauth::dbm
