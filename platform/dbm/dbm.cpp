// SPDX-License-Identifier: Apache-2.0
// The calls of lauth_dbm.h: arguments are checked here, the rest is the database's.
#include "lauth_dbm.h"

#include "platform/dbm/database.h"
#include "platform/dbm/handles.h"

namespace {

using namespace lauth::dbm;

Result RefuseMissing(const char* what) {
  return Fail(DBM_ERR_REFUSED, "the %s is missing", what);
}

// Runs a function with the database of a handle and a checked key.
template <typename Function>
Result WithKey(int32_t handle, const void* key, uint32_t length, Function function) noexcept {
  if (key == nullptr || length == 0 || length > DBM_MAX_KEY) {
    return Fail(DBM_ERR_REFUSED, "a key has 1 to %d bytes", int{DBM_MAX_KEY});
  }
  const std::string_view bytes(static_cast<const char*>(key), length);
  return WithDatabase(handle, [&](Database& database) { return function(database, bytes); });
}

// As above, with checked data that the call stores or looks for.
template <typename Function>
Result WithData(int32_t handle, const void* key, uint32_t key_length, const void* data,
                uint32_t length, Function function) noexcept {
  if (data == nullptr && length != 0) return RefuseMissing("data");
  if (length > DBM_MAX_DATA) {
    return Fail(DBM_ERR_REFUSED, "%u bytes are more than the %d that can be stored", length,
                int{DBM_MAX_DATA});
  }
  const std::string_view bytes(static_cast<const char*>(data), length);
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return function(database, key_bytes, bytes);
  });
}

}  // namespace

int32_t DBM_Open(const char* name, const char* owner, uint32_t mode, const void* parameters,
                 int32_t* handle) {
  return Guarded([&]() -> Result {
    Identity identity;
    Place place;
    std::shared_ptr<Database> database;
    if (handle == nullptr) return RefuseMissing("place for the handle");
    Result result = MakeIdentity(owner, mode, parameters, identity);
    if (result == DBM_OK) result = Locate(name, place);
    if (result == DBM_OK) result = MayOpen();
    if (result == DBM_OK) result = Database::Open(place, identity, database);
    return result == DBM_OK ? AddHandle(std::move(database), *handle) : result;
  });
}

int32_t DBM_Close(int32_t handle) {
  return Guarded([&]() -> Result {
    std::shared_ptr<Database> database;
    if (const Result result = RemoveHandle(handle, database); result != DBM_OK) return result;
    const std::lock_guard guard(database->mutex());
    return database->Close();
  });
}

int32_t DBM_Delete(const char* name) {
  return Guarded([&]() -> Result {
    Place place;
    Result result = Locate(name, place);
    if (result == DBM_OK) result = MayOpen();
    return result == DBM_OK ? DeleteDatabase(place) : result;
  });
}

int32_t DBM_SetBinary(int32_t handle, const void* key, uint32_t key_length, uint32_t area,
                      uint32_t length, const void* data, uint32_t form) {
  return WithData(handle, key, key_length, data, length,
                  [&](Database& database, std::string_view key_bytes, std::string_view bytes) {
                    return database.SetValue(key_bytes, area, form, bytes);
                  });
}

int32_t DBM_GetBinary(int32_t handle, const void* key, uint32_t key_length, uint32_t area,
                      uint32_t size, void* data) {
  if (data == nullptr && size != 0) return RefuseMissing("buffer");
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return database.GetValue(key_bytes, area, Buffer{data, size});
  });
}

int32_t DBM_IsKeyExist(int32_t handle, const void* key, uint32_t key_length) {
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return database.HasKey(key_bytes);
  });
}

int32_t DBM_CreateSortList(int32_t handle, const void* key, uint32_t key_length,
                           const uint32_t descriptor[4], uint32_t count, uint32_t list) {
  if (descriptor == nullptr) return RefuseMissing("descriptor");
  if (count != 1) return Fail(DBM_ERR_REFUSED, "a sort list has 1 descriptor, not %u", count);
  if (descriptor[0] > DBM_MAX_DATA - DBM_MAX_KEY || descriptor[1] == 0 ||
      descriptor[1] > DBM_MAX_KEY || descriptor[2] != DBM_COMPARE_TEXT || descriptor[3] != 0) {
    return Fail(DBM_ERR_REFUSED, "no sort list can be described by %u, %u, %u, %u", descriptor[0],
                descriptor[1], descriptor[2], descriptor[3]);
  }
  const List wanted{0, descriptor[0], descriptor[1], list};
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return database.CreateList(key_bytes, wanted);
  });
}

int32_t DBM_InsertSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                           const void* record, uint32_t list) {
  return WithData(handle, key, key_length, record, size,
                  [&](Database& database, std::string_view key_bytes, std::string_view bytes) {
                    return database.Insert(key_bytes, bytes, list);
                  });
}

int32_t DBM_RemoveSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                           const void* record) {
  return WithData(handle, key, key_length, record, size,
                  [](Database& database, std::string_view key_bytes, std::string_view bytes) {
                    return database.Remove(key_bytes, bytes);
                  });
}

int32_t DBM_GetSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                        void* record) {
  if (record == nullptr || size == 0) return RefuseMissing("buffer");
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return database.Get(key_bytes, Buffer{record, size});
  });
}

int32_t DBM_GetNextSortList(int32_t handle, const void* key, uint32_t key_length,
                            uintptr_t* iterator, uint32_t reserved, uint32_t unused, uint32_t size,
                            void* record) {
  if (iterator == nullptr) return RefuseMissing("iterator");
  if (record == nullptr || size == 0) return RefuseMissing("buffer");
  if (reserved != 0 || unused != 0) {
    return Fail(DBM_ERR_REFUSED, "no walk is known by the codes %u and %u", reserved, unused);
  }
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return database.GetNext(key_bytes, *iterator, Buffer{record, size});
  });
}

int32_t DBM_FreeIterator(int32_t handle, uintptr_t* iterator) {
  if (iterator == nullptr) return RefuseMissing("iterator");
  if (*iterator == 0) return DBM_OK;
  const Result result =
      WithDatabase(handle, [&](Database& database) { return database.FreeIterator(*iterator); });
  *iterator = 0;
  return result;
}

int32_t DBM_DeleteKey(int32_t handle, const void* key, uint32_t key_length) {
  return WithKey(handle, key, key_length, [&](Database& database, std::string_view key_bytes) {
    return database.DeleteKey(key_bytes);
  });
}
