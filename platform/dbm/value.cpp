// SPDX-License-Identifier: Apache-2.0
// Binary values, and keys of both kinds.
#include <algorithm>
#include <cstring>

#include "lauth_dbm_admin.h"
#include "platform/dbm/database.h"

namespace lauth::dbm {

Result Database::FindValue(std::string_view key, bool& found) {
  return Statement(connection_, Sql::kFindValue).Bind(key).Step(found);
}

Result Database::SetValue(std::string_view key, uint32_t area, uint32_t form,
                          std::string_view data) {
  Change change(*this);
  List list;
  bool is_list = false;
  Result result = change.Begin();
  if (result == DBM_OK) result = FindList(key, list, is_list);
  if (result != DBM_OK) return result;
  if (is_list) {
    return Fail(DBM_ERR_REFUSED, "%s: the key names a sort list", connection_.name().c_str());
  }
  {
    Statement find(connection_, Sql::kFindValue);
    bool found = false;
    if (result = find.Bind(key).Step(found); result != DBM_OK) return result;
    if (found && (find.Number(2) != int64_t{area} || find.Number(3) != int64_t{form})) {
      return Fail(DBM_ERR_REFUSED,
                  "%s: the value is stored with codes %lld and %lld, not %u and %u",
                  connection_.name().c_str(), static_cast<long long>(find.Number(2)),
                  static_cast<long long>(find.Number(3)), area, form);
    }
  }
  result = Statement(connection_, Sql::kPutValue)
               .Bind(key)
               .Bind(int64_t{area})
               .Bind(int64_t{form})
               .Bind(data)
               .Bind(int64_t{ValueSum(key, area, form, data)})
               .Run();
  return result == DBM_OK ? change.Commit() : result;
}

Result Database::GetValue(std::string_view key, uint32_t area, Buffer data) {
  Statement find(connection_, Sql::kFindValue);
  bool found = false;
  const Result result = find.Bind(key).Step(found);
  if (result != DBM_OK) return result;
  if (!found) return Fail(DBM_ERR_NOTFOUND, "%s: no such value", connection_.name().c_str());
  if (find.Number(2) != int64_t{area}) {
    return Fail(DBM_ERR_REFUSED, "%s: the value is stored with code %lld, not %u",
                connection_.name().c_str(), static_cast<long long>(find.Number(2)), area);
  }
  const std::string_view stored = find.Bytes(0);
  if (find.Number(1) !=
      int64_t{ValueSum(key, area, static_cast<uint32_t>(find.Number(3)), stored)}) {
    return connection_.FailDamaged("a value is not as it was stored");
  }
  const size_t length = std::min<size_t>(stored.size(), data.size);
  if (length > 0) std::memcpy(data.data, stored.data(), length);
  return static_cast<Result>(stored.size());
}

Result Database::HasKey(std::string_view key) {
  List list;
  bool found = false;
  // Mostly a list is asked about, and one statement is a reading by itself.
  Result result = FindList(key, list, found);
  if (result != DBM_OK) return result;
  if (found) return 1;
  Reading reading(*this);
  result = reading.Begin();
  if (result == DBM_OK) result = FindList(key, list, found);
  if (result == DBM_OK && !found) result = FindValue(key, found);
  if (result != DBM_OK) return result;
  return found ? 1 : 0;
}

Result Database::DeleteKey(std::string_view key) {
  Change change(*this, Change::Writes::kSeveral);
  List list;
  bool is_list = false;
  Result result = change.Begin();
  if (result == DBM_OK) result = FindList(key, list, is_list);
  if (result != DBM_OK) return result;
  if (is_list) {
    result = Statement(connection_, Sql::kRemoveListRecords).Bind(list.id).Run();
    if (result == DBM_OK) result = Statement(connection_, Sql::kRemoveList).Bind(list.id).Run();
  } else {
    result = Statement(connection_, Sql::kRemoveValue).Bind(key).Run();
  }
  if (result != DBM_OK) return result;
  if (sqlite3_changes(connection_.sqlite()) == 0) {
    return Fail(DBM_ERR_NOTFOUND, "%s: no such key", connection_.name().c_str());
  }
  return change.Commit();
}

Result Database::AllKeys(std::vector<Key>& keys) {
  Statement read(connection_, Sql::kAllKeys);
  for (;;) {
    bool row = false;
    if (const Result result = read.Step(row); result != DBM_OK || !row) return result;
    const uint32_t kind = read.Number(1) == 1 ? LAUTH_DB_LIST : LAUTH_DB_VALUE;
    keys.push_back({std::string(read.Bytes(0)), kind});
  }
}

}  // namespace lauth::dbm
