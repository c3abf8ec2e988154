// SPDX-License-Identifier: Apache-2.0
#include "support/memory_dbm.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "lauth_dbm.h"

namespace support {
namespace {

struct Result {
  std::string name;
  int n;
  int32_t result;
  bool carry_out;
};

struct Store {
  int32_t handle = 5;
  int open = 0;
  int iterators = 0;
  std::map<std::string, MemoryDbm::List> lists;
  std::map<std::string, std::string> values;
  std::vector<DbmCall> calls;
  int all = 0;
  std::map<std::string, int> count;
  std::vector<Result> results;
};

Store& TheStore() {
  static Store store;
  return store;
}

// An iterator's variable holds how many records have been read, and this mark.
constexpr uintptr_t kIterator = 0x1000000;

std::string Bytes(const void* data, uint32_t size) {
  return {static_cast<const char*>(data), size};
}

std::string SortKey(const MemoryDbm::List& list, const std::string& record) {
  const std::string field = record.substr(list.descriptor[0], list.descriptor[1]);
  return field.substr(0, field.find('\0'));
}

int32_t CopyOut(const std::string& from, uint32_t size, void* to) {
  const size_t count = std::min<size_t>(from.size(), size);
  std::memcpy(to, from.data(), count);
  return static_cast<int32_t>(count);
}

// Writes the call down, fails it if it is to fail, and else does it. Memory that runs out is a
// failure of the database's own.
template <typename Action>
int32_t Carry(DbmCall call, Action action) {
  Store& store = TheStore();
  ++store.all;
  const int n = ++store.count[call.name];
  std::optional<int32_t> pretended;
  for (const Result& result : store.results) {
    if (result.name.empty() ? result.n != store.all : result.name != call.name || result.n != n) {
      continue;
    }
    if (!result.carry_out) {
      store.calls.push_back(std::move(call));
      return result.result;
    }
    pretended = result.result;
  }
  store.calls.push_back(std::move(call));
  const int32_t result = action(store);
  return pretended.value_or(result);
}

template <typename Action>
int32_t CarryOut(const char* name, int32_t handle, const std::string& key,
                 std::vector<uint32_t> numbers, const std::string& bytes, Action action) {
  return Carry({name, handle, key, std::move(numbers), bytes}, action);
}

#define GUARDED(...)                \
  try {                             \
    __VA_ARGS__                     \
  } catch (const std::bad_alloc&) { \
    return DBM_ERR_MEMORY;          \
  }

}  // namespace

void PrintTo(const DbmCall& call, std::ostream* out) {
  *out << call.name << '(' << call.handle << ", \"" << call.key.c_str() << "\"[" << call.key.size()
       << ']';
  for (const uint32_t number : call.numbers)
    *out << ", " << number;
  *out << ", " << call.bytes.size() << " bytes \"" << call.bytes.substr(0, 40) << "\")";
}

void MemoryDbm::Reset(int32_t handle) {
  TheStore() = {};
  TheStore().handle = handle;
}

std::vector<DbmCall> MemoryDbm::TakeCalls() {
  return std::exchange(TheStore().calls, {});
}
int MemoryDbm::CallCount() {
  return TheStore().all;
}
int MemoryDbm::CallCount(const std::string& name) {
  return TheStore().count[name];
}

void MemoryDbm::Fail(const std::string& name, int n, int32_t result) {
  Store& store = TheStore();
  store.results.push_back(
      {name, n + (name.empty() ? store.all : store.count[name]), result, false});
}

void MemoryDbm::Pretend(const std::string& name, int n, int32_t result) {
  Fail(name, n, result);
  TheStore().results.back().carry_out = true;
}

std::map<std::string, MemoryDbm::List>& MemoryDbm::Lists() {
  return TheStore().lists;
}
std::map<std::string, std::string>& MemoryDbm::Values() {
  return TheStore().values;
}
int MemoryDbm::OpenHandles() {
  return TheStore().open;
}
int MemoryDbm::OpenIterators() {
  return TheStore().iterators;
}

}  // namespace support

using namespace support;

extern "C" {

int32_t DBM_Open(const char* name, const char* owner, uint32_t mode, const void* parameters,
                 int32_t* handle) {
  GUARDED(return CarryOut("Open", *handle, std::string(name) + "," + owner, {mode},
                          Bytes(parameters, 32), [&](Store& store) {
                            ++store.open;
                            *handle = store.handle;
                            return 0;
                          });)
}

int32_t DBM_Close(int32_t handle) {
  GUARDED(return CarryOut("Close", handle, "", {}, "", [&](Store& store) {
                   --store.open;
                   return 0;
                 });)
}

int32_t DBM_Delete(const char* name) {
  GUARDED(return CarryOut("Delete", -1, name, {}, "", [&](Store& store) {
                   store.lists.clear();
                   store.values.clear();
                   return 0;
                 });)
}

int32_t DBM_SetBinary(int32_t handle, const void* key, uint32_t key_length, uint32_t area,
                      uint32_t length, const void* data, uint32_t form) {
  GUARDED(const std::string name = Bytes(key, key_length);
          const std::string value = Bytes(data, length); return CarryOut(
              "SetBinary", handle, name, {area, length, form}, value, [&](Store& store) {
                store.values[name] = value;
                return 0;
              });)
}

int32_t DBM_GetBinary(int32_t handle, const void* key, uint32_t key_length, uint32_t area,
                      uint32_t size, void* data) {
  GUARDED(const std::string name = Bytes(key, key_length);
          return CarryOut("GetBinary", handle, name, {area, size}, "", [&](Store& store) {
            const auto at = store.values.find(name);
            if (at == store.values.end()) return static_cast<int32_t>(DBM_ERR_NOTFOUND);
            CopyOut(at->second, size, data);
            return static_cast<int32_t>(at->second.size());
          });)
}

int32_t DBM_IsKeyExist(int32_t handle, const void* key, uint32_t key_length) {
  GUARDED(const std::string name = Bytes(key, key_length);
          return CarryOut("IsKeyExist", handle, name, {}, "", [&](Store& store) {
            return static_cast<int32_t>(store.lists.count(name) + store.values.count(name));
          });)
}

int32_t DBM_CreateSortList(int32_t handle, const void* key, uint32_t key_length,
                           const uint32_t descriptor[4], uint32_t count, uint32_t list) {
  GUARDED(const std::string name = Bytes(key, key_length);
          return CarryOut("CreateSortList", handle, name,
                          {descriptor[0], descriptor[1], descriptor[2], descriptor[3], count, list},
                          "", [&](Store& store) {
                            store.lists[name] = {{descriptor, descriptor + 4}, list, {}};
                            return 0;
                          });)
}

int32_t DBM_InsertSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                           const void* record, uint32_t list) {
  GUARDED(const std::string name = Bytes(key, key_length);
          const std::string bytes = Bytes(record, size);
          return CarryOut("InsertSortList", handle, name, {size, list}, bytes, [&](Store& store) {
            const auto at = store.lists.find(name);
            if (at == store.lists.end()) return static_cast<int32_t>(DBM_ERR_NOTFOUND);
            at->second.records[SortKey(at->second, bytes)] = bytes;
            return 0;
          });)
}

int32_t DBM_RemoveSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                           const void* record) {
  GUARDED(const std::string name = Bytes(key, key_length);
          const std::string bytes = Bytes(record, size);
          return CarryOut("RemoveSortList", handle, name, {size}, bytes, [&](Store& store) {
            const auto at = store.lists.find(name);
            const bool removed = at != store.lists.end() &&
                                 at->second.records.erase(SortKey(at->second, bytes)) == 1;
            return static_cast<int32_t>(removed ? DBM_OK : DBM_ERR_NOTFOUND);
          });)
}

int32_t DBM_GetSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                        void* record) {
  GUARDED(const std::string name = Bytes(key, key_length);
          const std::string probe = Bytes(record, size);
          return CarryOut("GetSortList", handle, name, {size}, probe, [&](Store& store) {
            const auto list = store.lists.find(name);
            if (list == store.lists.end()) return 0;
            const auto at = list->second.records.find(SortKey(list->second, probe));
            return at == list->second.records.end() ? 0 : CopyOut(at->second, size, record);
          });)
}

int32_t DBM_GetNextSortList(int32_t handle, const void* key, uint32_t key_length,
                            uintptr_t* iterator, uint32_t reserved, uint32_t unused, uint32_t size,
                            void* record) {
  GUARDED(const std::string name = Bytes(key, key_length);
          return CarryOut("GetNextSortList", handle, name, {reserved, unused, size},
                          Bytes(record, size), [&](Store& store) {
                            if (*iterator == 0) {
                              *iterator = kIterator;
                              ++store.iterators;
                            }
                            const auto list = store.lists.find(name);
                            if (list == store.lists.end()) return 0;
                            const uintptr_t place = *iterator - kIterator;
                            if (place >= list->second.records.size()) return 0;
                            ++*iterator;
                            auto at = list->second.records.begin();
                            std::advance(at, place);
                            return CopyOut(at->second, size, record);
                          });)
}

int32_t DBM_FreeIterator(int32_t handle, uintptr_t* iterator) {
  // Released also when the call is to fail.
  if (*iterator != 0) --TheStore().iterators;
  *iterator = 0;
  GUARDED(return CarryOut("FreeIterator", handle, "", {}, "", [](Store&) { return 0; });)
}

int32_t DBM_DeleteKey(int32_t handle, const void* key, uint32_t key_length) {
  GUARDED(const std::string name = Bytes(key, key_length);
          return CarryOut("DeleteKey", handle, name, {}, "", [&](Store& store) {
            const size_t gone = store.lists.erase(name) + store.values.erase(name);
            return static_cast<int32_t>(gone == 0 ? DBM_ERR_NOTFOUND : DBM_OK);
          });)
}

}  // extern "C"
