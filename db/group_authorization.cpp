// SPDX-License-Identifier: Apache-2.0
// The stored authorization attributes: a list for each user group, a record for each device type.
//
//   0    128  device type, the sort key
//   128  n    the attributes, a message in memory form that is not looked into
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "byod_db.h"
#include "byod_lauthservice.h"
#include "data/bounded_copy.h"
#include "db/sort_list.h"
#include "lauth_text.h"
#include "net/free_deleter.h"
#include "tlv/message.h"

namespace byod::db {
namespace {

template <typename T>
using OnHeap = std::unique_ptr<T, net::FreeDeleter>;

/// A record as it is read back; what was stored may be shorter.
struct AuthorizationRecord {
  char device_type[BYOD_DB_DEVTYPE_SIZE];
  uint8_t message[BYOD_DB_AUTZ_MAX - BYOD_DB_DEVTYPE_SIZE];
};
static_assert(sizeof(AuthorizationRecord) == BYOD_DB_AUTZ_MAX);

OnHeap<AuthorizationRecord> NewRecord() {
  return OnHeap<AuthorizationRecord>(
      static_cast<AuthorizationRecord*>(std::calloc(1, sizeof(AuthorizationRecord))));
}

struct GroupKey {
  explicit GroupKey(const char* group) : length(BYOD_db_MakeGroupAutzKey(group, text)) {}

  char text[BYOD_DB_GROUP_KEY_SIZE] = {};
  uint32_t length;
};

// The length to which the name of a group is cut when it is read back. The key that it is stored
// under holds more: kept.
constexpr size_t kRecoveredNameSize = 33;

/// Finds what is stored for a device type. @param record  cleared; @return its length, below 1 when
/// there is none
int32_t FindStored(const char* group, const char* device_type, AuthorizationRecord& record) {
  const GroupKey key(group);
  std::memcpy(record.device_type, device_type, sizeof record.device_type);
  return DBM_GetSortList(BYOD_db_GetDBHandle(), key.text, key.length, sizeof record, &record);
}

/// Removes what is stored for a device type. @return whether nothing is stored any more
bool RemoveStored(const char* group, const char* device_type) {
  const auto stored = NewRecord();
  if (!stored) return false;
  const int32_t length = FindStored(group, device_type, *stored);
  if (length < 1) return true;
  return BYOD_db_RemoveGroupAutzRecord(group, static_cast<uint32_t>(length), stored.get()) == 0;
}

}  // namespace
}  // namespace byod::db

using byod::db::GroupKey;
using byod::tlv::kMemory;

uint32_t BYOD_db_MakeGroupAutzKey(const char* group, char* key) {
  return static_cast<uint32_t>(
             scnprintf(key, BYOD_DB_GROUP_KEY_SIZE, "%s%s", BYOD_DB_GROUP_PREFIX, group)) +
         1;
}

uint32_t BYOD_db_AddDeviceTypeAuthorAttr(const char* group, const char* device_type,
                                         uint32_t message) {
  const uint32_t message_length = TLV_GetMsgLen(message, kMemory);
  const uint32_t length = BYOD_DB_DEVTYPE_SIZE + message_length;
  const byod::db::OnHeap<char> record(static_cast<char*>(std::calloc(1, length)));
  if (!record) return BYOD_ERR_FAILED;
  byod::CopyText(record.get(), BYOD_DB_DEVTYPE_SIZE, device_type);
  char* const behind = record.get() + BYOD_DB_DEVTYPE_SIZE;
  const uint32_t written =
      TLV_Flush(message, kMemory, message_length, reinterpret_cast<uintptr_t>(behind));
  if (written == 0 || written != message_length) return BYOD_ERR_FAILED;
  const GroupKey key(group);
  if (!byod::db::EnsureList(key.text, key.length, BYOD_DB_DEVTYPE_SIZE, BYOD_DB_GROUP_LIST)) {
    return BYOD_ERR_FAILED;
  }
  if (!byod::db::RemoveStored(group, record.get())) return BYOD_ERR_FAILED;
  return AddToSortList(key.text, key.length, length, record.get(), BYOD_DB_GROUP_LIST);
}

uint32_t BYOD_db_DeleteDeviceTypeAuthorAttr(const char* group, const char* device_type) {
  return byod::db::RemoveStored(group, device_type) ? 0 : BYOD_ERR_FAILED;
}

int32_t BYOD_db_DelDevAutzAttrByGrp(const char* group) {
  const GroupKey key(group);
  return DBM_DeleteKey(BYOD_db_GetDBHandle(), key.text, key.length);
}

void* BYOD_db_FindGroupAutzRecord(const char* group, const char* device_type, uint32_t* length) {
  auto record = byod::db::NewRecord();
  if (!record) return nullptr;
  const int32_t found = byod::db::FindStored(group, device_type, *record);
  if (found < 1) return nullptr;
  *length = static_cast<uint32_t>(found);
  return record.release();
}

uint32_t BYOD_db_RemoveGroupAutzRecord(const char* group, uint32_t length, const void* record) {
  const GroupKey key(group);
  return BYOD_db_RemoveFromSortList(key.text, key.length, length, record);
}

void BYOD_db_RecoverDeviceTypeAuthor(int32_t handle, const char* key, uint32_t key_length) {
  const char* const prefix = std::strstr(key, BYOD_DB_GROUP_PREFIX);
  if (prefix == nullptr) return;
  char group[byod::db::kRecoveredNameSize];
  byod::CopyText(group, prefix + std::strlen(BYOD_DB_GROUP_PREFIX));
  if (group[0] == '\0') return;
  const auto record = byod::db::NewRecord();
  if (!record) return;
  byod::db::ForEachRecord(
      handle, key, key_length, *record, [&](const byod::db::AuthorizationRecord& stored) {
        const byod::tlv::Message message(TLV_CreateReceiveMsg(
            kMemory, reinterpret_cast<uintptr_t>(stored.message), sizeof stored.message));
        if (message) BYOD_lauthservice_AddDeviceAuthorAttr(group, &stored, message.get());
      });
}
