#include "lauthd/recovery.h"

#include <cstring>
#include <string_view>
#include <vector>

#include "byod_db.h"
#include "byod_order.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/authorization.h"
#include "lauthd/idle_rules.h"
#include "lauthd/log.h"
#include "lauthd/match_order.h"
#include "lauthd/reload.h"
#include "lauthd/rule_kind.h"
#include "tlv/message.h"

namespace byod::lauthd {
namespace {

/// @return the key as text without its NUL; empty when it is no text
std::string_view TextOf(const void* key, uint32_t key_length) {
  const auto* const text = static_cast<const char*>(key);
  if (key_length < 2 || std::memchr(text, '\0', key_length) != text + key_length - 1) return {};
  return {text, key_length - 1};
}

bool IsGroup(std::string_view key) {
  return key.starts_with(BYOD_DB_GROUP_PREFIX);
}

/// Checks for each stored record whether its rule is in effect, and is spelt the same.
template <typename Kind>
void Tidy(int32_t handle, IdleRules& idle) {
  std::vector<typename Kind::Key> respelt;
  const bool reading = LAUTH_db_BeginReading(handle) == 0;  // else it only takes longer
  const auto key_length = static_cast<uint32_t>(std::strlen(Kind::kDatabaseKey) + 1);
  uintptr_t iterator = 0;
  typename Kind::Record record = {};
  while (DBM_GetNextSortList(handle, Kind::kDatabaseKey, key_length, &iterator, 0, 0, sizeof record,
                             &record) > 0) {
    const auto key = Kind::KeyOfRecord(record);
    const auto* const rule = Kind::Find(key);
    if (rule == nullptr) {
      const bool known = idle.Of<Kind>().contains(key);
      idle.Put<Kind>(key, &record.info);
      if (!known) LogIdle<Kind>(key);
    } else if (!Kind::SameKey(Kind::KeyOf(*rule), key)) {
      respelt.push_back(key);
    }
    record = {};
  }
  DBM_FreeIterator(handle, &iterator);
  if (reading) LAUTH_db_EndReading(handle);
  if (respelt.empty()) return;

  bool kept = LAUTH_db_Begin(handle) == 0;
  for (const auto& key : respelt) {
    const auto* const rule = Kind::Find(key);
    if (Kind::Unsave(key) != 0) kept = false;
    if (IsConfigured(rule->origin, rule->modified) && Kind::Save(rule) != 0) kept = false;
  }
  if (!kept) {
    LAUTH_db_Rollback(handle);
  } else {
    kept = LAUTH_db_Commit(handle) == 0;
  }
  if (!kept) Log(Severity::kWarning, "the database cannot be tidied: %s", LAUTH_db_ErrorText());
}

int32_t RecoverOrder(int32_t handle, const char* key, uint32_t key_length) {
  BYOD_db_ReCoverOrder(handle, key, key_length);
  return 0;
}

struct StoredKey {
  const char* name;
  uint32_t kind;         // LAUTH_DB_*
  uint32_t record_size;  // of each record; 0 = any
  int32_t (*recover)(int32_t handle, const char* key, uint32_t key_length);
  void (*tidy)(int32_t handle, IdleRules& idle);  // nullptr = nothing to tidy
};

constexpr StoredKey kStoredKeys[] = {
    {BYOD_DB_ORDER_KEY, LAUTH_DB_VALUE, 0, RecoverOrder, nullptr},
    {BYOD_DB_MAC_KEY, LAUTH_DB_LIST, sizeof(ByodMacRuleShowRec), BYOD_db_RecoverMacRule,
     Tidy<MacKind>},
    {BYOD_DB_USERAGENT_KEY, LAUTH_DB_LIST, sizeof(ByodTextRuleShowRec),
     BYOD_db_RecoverUserAgentRule, Tidy<UserAgentKind>},
    {BYOD_DB_DHCPOPT_KEY, LAUTH_DB_LIST, sizeof(ByodTextRuleShowRec), BYOD_db_ReCoverDhcpOptionRule,
     Tidy<DhcpOptionKind>},
};

const StoredKey* Find(std::string_view key) {
  for (const StoredKey& stored : kStoredKeys) {
    if (key == stored.name) return &stored;
  }
  return nullptr;
}

struct Walk {
  int32_t handle;
  std::vector<const StoredKey*> untidy;
};

/// Recovers what one key holds.
/// @return whether each record made a custom rule of its own, which then is spelt like the record
bool RecoverRules(int32_t handle, const StoredKey& stored, const char* key, uint32_t key_length) {
  const int64_t records = LAUTH_db_WalkCount(handle);
  const uint32_t rules = Byod_GetCustomRuleCount();
  stored.recover(handle, key, key_length);
  return LAUTH_db_WalkCount(handle) - records == int64_t{Byod_GetCustomRuleCount() - rules};
}

int32_t RecoverKey(void* context, const void* key, uint32_t key_length, uint32_t kind) {
  Walk& walk = *static_cast<Walk*>(context);
  const auto* const name = static_cast<const char*>(key);
  const std::string_view text = TextOf(key, key_length);
  if (IsGroup(text) && kind == LAUTH_DB_LIST) {
    BYOD_db_RecoverDeviceTypeAuthor(walk.handle, name, key_length);
  } else if (const StoredKey* const stored = Find(text); stored && stored->kind == kind) {
    const bool alike = RecoverRules(walk.handle, *stored, name, key_length);
    if (!alike && stored->tidy != nullptr) walk.untidy.push_back(stored);
  } else {
    Log(Severity::kWarning, "the database holds something unknown, which is left alone: \"%.*s\"",
        static_cast<int>(text.size()), text.data());
  }
  return 0;
}

}  // namespace

void TidyAll(int32_t handle, IdleRules& idle) {
  ForEachKind([&](auto kind) { Tidy<decltype(kind)>(handle, idle); });
}

void RecoverAll(int32_t handle, IdleRules& idle, Authorization& authorization) {
  DropConfigured();
  idle.Clear();
  authorization.Clear();
  BYOD_order_UnSetOrder();
  Walk walk = {handle, {}};
  const bool reading = LAUTH_db_BeginReading(handle) == 0;  // else it only takes longer
  if (LAUTH_db_WalkKeys(handle, RecoverKey, &walk) != 0) {
    Log(Severity::kError, "the database cannot be read to its end: %s", LAUTH_db_ErrorText());
  }
  if (reading) LAUTH_db_EndReading(handle);
  for (const StoredKey* const stored : walk.untidy)
    stored->tidy(handle, idle);
  if (!ArrangeMatchList()) {
    Log(Severity::kError, "no memory to order the User-Agent rules of one length");
  }
  Log(Severity::kInfo, "recovered %u custom rules", Byod_GetCustomRuleCount());
}

int32_t CheckRestored(void*, const void* key, uint32_t key_length, uint32_t kind, const void*,
                      uint32_t length) {
  const std::string_view text = TextOf(key, key_length);
  if (IsGroup(text)) {
    return kind == LAUTH_DB_LIST && length > BYOD_DB_DEVTYPE_SIZE && length <= BYOD_DB_AUTZ_MAX
               ? 0
               : -1;
  }
  const StoredKey* const stored = Find(text);
  if (stored == nullptr || stored->kind != kind) return -1;
  return stored->record_size == 0 || stored->record_size == length ? 0 : -1;
}

}  // namespace byod::lauthd
