// SPDX-License-Identifier: Apache-2.0
// The calls of lauth_dbm_admin.h.
#include "lauth_dbm_admin.h"

#include "platform/dbm/database.h"
#include "platform/dbm/handles.h"

namespace {

using namespace lauth::dbm;

Result RefuseMissing(const char* what) {
  return Fail(DBM_ERR_REFUSED, "the %s is missing", what);
}

}  // namespace

int32_t LAUTH_db_SetDirectory(const char* directory) {
  return Guarded([&] { return SetDirectory(directory); });
}

const char* LAUTH_db_ErrorText(void) {
  return ErrorText();
}

int32_t LAUTH_db_WalkKeys(int32_t handle, LAUTH_db_KeyCallback callback, void* context) {
  if (callback == nullptr) return RefuseMissing("callback");
  return Guarded([&]() -> Result {
    std::vector<Key> keys;
    const Result result =
        WithDatabase(handle, [&](Database& database) { return database.AllKeys(keys); });
    if (result != DBM_OK) return result;
    for (const Key& key : keys) {
      const int32_t verdict =
          callback(context, key.bytes.data(), static_cast<uint32_t>(key.bytes.size()), key.kind);
      if (verdict != 0) return verdict;
    }
    return DBM_OK;
  });
}

int32_t LAUTH_db_BeginReading(int32_t handle) {
  return WithDatabase(handle, [](Database& database) { return database.BeginReading(); });
}

int64_t LAUTH_db_WalkCount(int32_t handle) {
  int64_t count = 0;
  const Result result = WithDatabase(handle, [&](Database& database) {
    count = database.WalkCount();
    return DBM_OK;
  });
  return result == DBM_OK ? count : result;
}

int32_t LAUTH_db_EndReading(int32_t handle) {
  return WithDatabase(handle, [](Database& database) { return database.EndReading(); });
}

int32_t LAUTH_db_Begin(int32_t handle) {
  return WithDatabase(handle, [](Database& database) { return database.BeginBulk(); });
}

int32_t LAUTH_db_Commit(int32_t handle) {
  return WithDatabase(handle, [](Database& database) { return database.CommitBulk(); });
}

int32_t LAUTH_db_Rollback(int32_t handle) {
  return WithDatabase(handle, [](Database& database) { return database.RollbackBulk(); });
}

int32_t LAUTH_db_Backup(int32_t handle, const char* file) {
  if (file == nullptr || *file == '\0') return RefuseMissing("backup's name");
  return WithDatabase(handle, [&](Database& database) { return database.Backup(file); });
}

int32_t LAUTH_db_Restore(const char* name, const char* owner, const void* parameters,
                         const char* file, LAUTH_db_DataCallback check, void* context) {
  return Guarded([&]() -> Result {
    Identity identity;
    Place place;
    if (file == nullptr || *file == '\0') return RefuseMissing("backup's name");
    Result result = MakeIdentity(owner, DBM_MODE, parameters, identity);
    if (result == DBM_OK) result = Locate(name, place);
    if (result == DBM_OK) result = MayOpen();
    if (result != DBM_OK) return result;
    DataCheck check_data;
    if (check != nullptr) {
      check_data = [&](std::string_view key, uint32_t kind, std::string_view data) {
        const bool good = check(context, key.data(), static_cast<uint32_t>(key.size()), kind,
                                data.data(), static_cast<uint32_t>(data.size())) == 0;
        return good ? DBM_OK : Fail(DBM_ERR_DAMAGED, "%s: holds data that is not valid", file);
      };
    }
    return Restore(place, identity, file, check_data);
  });
}

int32_t LAUTH_db_UndoRestore(const char* name) {
  return Guarded([&]() -> Result {
    Place place;
    Result result = Locate(name, place);
    if (result == DBM_OK) result = MayOpen();
    return result == DBM_OK ? UndoRestore(place) : result;
  });
}

int32_t LAUTH_db_EndRestore(const char* name) {
  return Guarded([&]() -> Result {
    Place place;
    const Result result = Locate(name, place);
    return result == DBM_OK ? RemoveFile(place.replaced) : result;
  });
}

uint64_t LAUTH_db_FlushCount(void) {
  return FlushCount();
}
