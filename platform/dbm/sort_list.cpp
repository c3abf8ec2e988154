// SPDX-License-Identifier: Apache-2.0
// Sort lists.
#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/dbm/database.h"

namespace lauth::dbm {
namespace {

// Of all iterators of the process, so that one database's is not taken for another's.
std::atomic<uintptr_t> last_iterator{0};

Result Copy(std::string_view stored, Buffer wanted) {
  const size_t length = std::min<size_t>(stored.size(), wanted.size);
  if (length > 0) std::memcpy(wanted.data, stored.data(), length);
  return static_cast<Result>(length);
}

}  // namespace

Result Database::FindList(std::string_view key, List& list, bool& found) {
  Statement find(connection_, Sql::kFindList);
  const Result result = find.Bind(key).Step(found);
  if (result != DBM_OK || !found) return result;
  list = {find.Number(0), static_cast<uint32_t>(find.Number(1)),
          static_cast<uint32_t>(find.Number(2)), static_cast<uint32_t>(find.Number(3))};
  return find.Number(4) == int64_t{ListSum(key, list)}
             ? DBM_OK
             : connection_.FailDamaged("a list's description is not as it was stored");
}

Result Database::CreateList(std::string_view key, const List& wanted) {
  Change change(*this);
  List list;
  bool found = false;
  bool taken = false;
  Result result = change.Begin();
  if (result == DBM_OK) result = FindList(key, list, found);
  if (result == DBM_OK) result = FindValue(key, taken);
  if (result != DBM_OK) return result;
  list.id = 0;
  if (found && list == wanted) return DBM_OK;
  if (found || taken) {
    return Fail(DBM_ERR_REFUSED, "%s: the key names %s", connection_.name().c_str(),
                found ? "a sort list with another description" : "a value");
  }
  result = Statement(connection_, Sql::kAddList)
               .Bind(key)
               .Bind(int64_t{wanted.offset})
               .Bind(int64_t{wanted.length})
               .Bind(int64_t{DBM_COMPARE_TEXT})
               .Bind(int64_t{0})
               .Bind(int64_t{wanted.number})
               .Bind(int64_t{ListSum(key, wanted)})
               .Run();
  return result == DBM_OK ? change.Commit() : result;
}

Result Database::Insert(std::string_view key, std::string_view record, uint32_t number) {
  Change change(*this);
  List list;
  bool found = false;
  Result result = change.Begin();
  if (result == DBM_OK) result = FindList(key, list, found);
  if (result != DBM_OK) return result;
  if (!found) return Fail(DBM_ERR_NOTFOUND, "%s: no such list", connection_.name().c_str());
  if (number != list.number) {
    return Fail(DBM_ERR_REFUSED, "%s: the list has number %u, not %u", connection_.name().c_str(),
                list.number, number);
  }
  if (!HoldsSortKey(list, record.size())) {
    return Fail(DBM_ERR_REFUSED, "%s: the record has no room for its sort key",
                connection_.name().c_str());
  }
  result = Statement(connection_, Sql::kPutRecord)
               .Bind(list.id)
               .Bind(SortKeyOf(list, record))
               .Bind(record)
               .Bind(int64_t{RecordSum(list.id, record)})
               .Run();
  return result == DBM_OK ? change.Commit() : result;
}

Result Database::Remove(std::string_view key, std::string_view record) {
  Change change(*this);
  List list;
  bool found = false;
  Result result = change.Begin();
  if (result == DBM_OK) result = FindList(key, list, found);
  if (result != DBM_OK) return result;
  if (!found) return Fail(DBM_ERR_NOTFOUND, "%s: no such list", connection_.name().c_str());
  if (!HoldsSortKey(list, record.size())) {
    return Fail(DBM_ERR_REFUSED, "%s: the record has no room for its sort key",
                connection_.name().c_str());
  }
  result =
      Statement(connection_, Sql::kRemoveRecord).Bind(list.id).Bind(SortKeyOf(list, record)).Run();
  if (result != DBM_OK) return result;
  if (sqlite3_changes(connection_.sqlite()) == 0) {
    return Fail(DBM_ERR_NOTFOUND, "%s: no such record", connection_.name().c_str());
  }
  return change.Commit();
}

Result Database::Get(std::string_view key, Buffer record) {
  Reading reading(*this);
  List list;
  bool found = false;
  Result result = reading.Begin();
  if (result == DBM_OK) result = FindList(key, list, found);
  if (result != DBM_OK || !found) return result;
  const std::string_view probe(static_cast<const char*>(record.data), record.size);
  if (!HoldsSortKey(list, probe.size())) {
    return Fail(DBM_ERR_REFUSED, "%s: the record has no room for its sort key",
                connection_.name().c_str());
  }
  Statement get(connection_, Sql::kGetRecord);
  result = get.Bind(list.id).Bind(SortKeyOf(list, probe)).Step(found);
  if (result != DBM_OK || !found) return result;
  if (get.Number(1) != int64_t{RecordSum(list.id, get.Bytes(0))}) {
    return connection_.FailDamaged("a record is not as it was stored");
  }
  return Copy(get.Bytes(0), record);
}

Result Database::GetNext(std::string_view key, uintptr_t& iterator, Buffer record) {
  auto cursor = cursors_.find(iterator);
  if (iterator != 0 && (cursor == cursors_.end() || cursor->second.list_key != key)) {
    return Fail(DBM_ERR_REFUSED, "%s: not an iterator of this list", connection_.name().c_str());
  }
  if (iterator != 0 && cursor->second.walk != nullptr) return WalkOn(cursor->second, record);
  Reading reading(*this);
  List list;
  bool found = false;
  Result result = reading.Begin();
  if (result == DBM_OK) result = FindList(key, list, found);
  if (result != DBM_OK || !found) return result;
  Statement next(connection_, iterator == 0 ? Sql::kFirstRecord : Sql::kNextRecord);
  next.Bind(list.id);
  if (iterator != 0) next.Bind(cursor->second.sort_key);
  result = next.Step(found);
  if (result != DBM_OK || !found) return result;
  if (next.Number(1) != int64_t{RecordSum(list.id, next.Bytes(0))}) {
    return connection_.FailDamaged("a record is not as it was stored");
  }
  std::string sort_key(next.Bytes(2));
  if (iterator == 0) {
    uintptr_t fresh = ++last_iterator;
    while (fresh == 0 || cursors_.contains(fresh))
      fresh = ++last_iterator;
    cursor = cursors_.emplace(fresh, Cursor{std::string(key), std::move(sort_key)}).first;
    iterator = fresh;
  } else {
    cursor->second.sort_key.swap(sort_key);  // the old one stays bound until the end
  }
  if (reading_) {
    cursor->second.list = list.id;
    cursor->second.walk = std::make_unique<Statement>(
        connection_,
        "SELECT data, sum, sort_key FROM record WHERE list = ?1 AND sort_key > ?2"
        " ORDER BY sort_key");
    // The bytes stay where they are until the walk ends: the place moves on in another string.
    cursor->second.walk_from = cursor->second.sort_key;
    cursor->second.walk->Bind(list.id).Bind(cursor->second.walk_from);
  }
  ++walked_;
  return Copy(next.Bytes(0), record);
}

/// The next step of a walk through one state: nothing has to be sought.
Result Database::WalkOn(Cursor& cursor, Buffer record) {
  bool found = false;
  const Result result = cursor.walk->Step(found);
  if (result != DBM_OK || !found) {
    cursor.walk.reset();
    return result;
  }
  if (cursor.walk->Number(1) != int64_t{RecordSum(cursor.list, cursor.walk->Bytes(0))}) {
    return connection_.FailDamaged("a record is not as it was stored");
  }
  cursor.sort_key = cursor.walk->Bytes(2);
  ++walked_;
  return Copy(cursor.walk->Bytes(0), record);
}

Result Database::FreeIterator(uintptr_t& iterator) {
  const uintptr_t given = std::exchange(iterator, 0);
  if (given == 0 || cursors_.erase(given) == 1) return DBM_OK;
  return Fail(DBM_ERR_REFUSED, "%s: not an iterator", connection_.name().c_str());
}

}  // namespace lauth::dbm
