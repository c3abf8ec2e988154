// SPDX-License-Identifier: Apache-2.0
// A list of records in the database, in the order of their first bytes.
#ifndef BYOD_DB_SORT_LIST_H
#define BYOD_DB_SORT_LIST_H

#include <cstdint>

#include "byod_db.h"
#include "lauth_dbm.h"

namespace byod::db {

/// Whether a list is in the open database, made if need be: its sort key are the first bytes of a
/// record, compared up to their first NUL.
inline bool EnsureList(const char* key, uint32_t key_length, uint32_t sort_key_length,
                       uint32_t list) {
  constexpr uint32_t kBytesToNul = 6;
  const int32_t handle = BYOD_db_GetDBHandle();
  if (DBM_IsKeyExist(handle, key, key_length) == 1) return true;
  const uint32_t descriptor[4] = {0, sort_key_length, kBytesToNul, 0};
  return DBM_CreateSortList(handle, key, key_length, descriptor, 1, list) == 0;
}

/// Calls visit(record) for every record of a list. Record is zero-filled before each read.
/// @return the result of releasing the iterator
template <typename Record, typename Visit>
int32_t ForEachRecord(int32_t handle, const char* key, uint32_t key_length, Record& record,
                      Visit visit) {
  uintptr_t iterator = 0;
  for (;;) {
    record = {};
    if (DBM_GetNextSortList(handle, key, key_length, &iterator, 0, 0, sizeof record, &record) < 1) {
      break;
    }
    visit(record);
  }
  return DBM_FreeIterator(handle, &iterator);
}

}  // namespace byod::db

#endif  // BYOD_DB_SORT_LIST_H
