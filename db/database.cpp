// SPDX-License-Identifier: Apache-2.0
// The database's one handle, and what all lists in it share.
#include "byod_db.h"
#include "lauth_dbm.h"

namespace {

constexpr int32_t kClosed = -1;
constexpr char kName[] = "eBYOD";
constexpr char kOwner[] = "BYOD";
constexpr uint32_t kMode = 7;

/// How the database is opened; the platform reads it as laid out.
struct OpenParameters {
  uint32_t words[4];
  char store[16];
};
constexpr OpenParameters kParameters = {{0, 0, 1, 0}, "SEC-BYOD-CFG"};
static_assert(sizeof kParameters == 32);

int32_t database = kClosed;

}  // namespace

uint32_t BYOD_db_OpenCfgDBM() {
  int32_t opened = kClosed;
  if (DBM_Open(kName, kOwner, kMode, &kParameters, &opened) != 0) return BYOD_ERR_FAILED;
  database = opened;
  return 0;
}

void BYOD_db_CloseCfgDBM() {
  if (database == kClosed) return;
  DBM_Close(database);
  database = kClosed;
}

int32_t BYOD_db_GetDBHandle() {
  return database;
}

int32_t BYOD_db_Delete() {
  return DBM_Delete(kName);
}

uint32_t AddToSortList(const char* key, uint32_t key_length, uint32_t record_size,
                       const void* record, uint32_t list) {
  return DBM_InsertSortList(database, key, key_length, record_size, record, list) == 0
             ? 0
             : BYOD_ERR_FAILED;
}

uint32_t BYOD_db_RemoveFromSortList(const char* key, uint32_t key_length, uint32_t record_size,
                                    const void* record) {
  return DBM_RemoveSortList(database, key, key_length, record_size, record) == 0 ? 0
                                                                                 : BYOD_ERR_FAILED;
}
