// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/recovery.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "byod_db.h"
#include "byod_order.h"
#include "data/fold_case.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/log.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/idle_rules.h"
#include "lauthd/state/match_order.h"
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/rule_state.h"
#include "protocol/extensions.h"
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

/// Calls take(record) for each record of a list.
template <typename Kind, typename Take>
void ForEachRecord(int32_t handle, Take take) {
  const bool reading = LAUTH_db_BeginReading(handle) == 0;  // else it only takes longer
  const auto key_length = static_cast<uint32_t>(std::strlen(Kind::kDatabaseKey) + 1);
  uintptr_t iterator = 0;
  typename Kind::Record record = {};
  while (DBM_GetNextSortList(handle, Kind::kDatabaseKey, key_length, &iterator, 0, 0, sizeof record,
                             &record) > 0) {
    take(record);
    record = {};
  }
  DBM_FreeIterator(handle, &iterator);
  if (reading) LAUTH_db_EndReading(handle);
}

/// The text under which a record's rule would be stored.
template <typename Kind>
std::string KeyAsStored(const typename Kind::Record& record) {
  return Kind::StoredKey(Kind::RecordOf(Kind::MakeRule(Kind::KeyOfRecord(record))));
}

/// Whether a record's key is one: an address may be cut short, or be something else.
template <typename Kind>
bool HasKey(const typename Kind::Record& record) {
  return EqualWithoutCase(Kind::StoredKey(record).c_str(), KeyAsStored<Kind>(record).c_str());
}

/// Checks for each stored record whether its rule is in effect, and is spelt the same.
template <typename Kind>
void Tidy(int32_t handle, IdleRules& idle) {
  std::vector<typename Kind::Record> respelt;
  ForEachRecord<Kind>(handle, [&](const typename Kind::Record& record) {
    if (!HasKey<Kind>(record)) return;
    const auto key = Kind::KeyOfRecord(record);
    auto* const rule = Kind::Find(key);
    if (rule != nullptr) Kind::TakeName(*rule, key);
    if (rule == nullptr) {
      idle.Put<Kind>(key, &record.info, IsModification(record));
    } else if (Kind::StoredKey(Kind::RecordOf(*rule)) != Kind::StoredKey(record)) {
      respelt.push_back(record);
    }
  });
  if (respelt.empty()) return;

  bool kept = LAUTH_db_Begin(handle) == 0;
  for (const auto& record : respelt) {
    const auto* const rule = Kind::Find(Kind::KeyOfRecord(record));
    if (Kind::UnsaveRecord(record) != 0) kept = false;
    if (IsConfigured(rule->origin, rule->modified) && Kind::Save(rule) != 0) kept = false;
  }
  if (!kept) {
    LAUTH_db_Rollback(handle);
  } else {
    kept = LAUTH_db_Commit(handle) == 0;
  }
  if (!kept) Log(Severity::kWarning, "the database cannot be tidied: %s", LAUTH_db_ErrorText());
}

void LogKeyless(const ByodMacRuleShowRec& record) {
  const ByodDeviceInfo& info = record.info;
  Log(Severity::kWarning,
      "the database holds a MAC rule whose address \"%s\" is not a complete one; it is left alone "
      "and has no effect (name \"%.127s\", vendor \"%.63s\", category \"%.63s\", OS \"%.63s\")",
      MacKind::StoredKey(record).c_str(), info.name, info.vendor, info.category, info.os);
}

/// Recovers the MAC rules in the order of the database, each cut out of those around it: the
/// library knows only a table without rules within rules. A record without a whole address is left
/// alone, and a modification whose rule is gone waits for it.
int32_t RecoverMacRules(int32_t handle, const char*, uint32_t) {
  ForEachRecord<MacKind>(handle, [](const ByodMacRuleShowRec& record) {
    if (!HasKey<MacKind>(record)) return LogKeyless(record);
    const auto key = MacKind::KeyOfRecord(record);
    uint16_t created = 0;
    uint32_t err = 0;
    ByodMacRule* const rule =
        IsModification(record) ? MacKind::Find(key) : MacKind::FindOrNew(key, &created, &err);
    if (rule == nullptr) return;
    BYOD_data_UpdateMacRule(&record, rule);
    SetModified<MacKind>(*rule);
    MacKind::InfoChanged(*rule);
  });
  return 0;
}

/// A modification whose predefined rule is gone was recovered as a rule of its own.
template <typename Kind>
void SetModificationsAside(int32_t handle, IdleRules& idle) {
  for (const auto& key : StoredModifications<Kind>(handle)) {
    auto* const rule = Kind::Find(key);
    if (rule == nullptr || rule->origin != BYOD_RULE_CUSTOM) continue;
    idle.Put<Kind>(key, rule->configured, true);
    EraseRule<Kind>(rule);
  }
}

/// Stores the sets of groups with longer names than ours under the names that they were read by, so
/// that what is changed and removed by these names is all that there is.
void ShortenGroups(int32_t handle, const std::vector<std::string>& groups,
                   const Authorization& authorization) {
  if (groups.empty()) return;
  bool kept = LAUTH_db_Begin(handle) == 0;
  for (const std::string& group : groups) {
    const std::string name = group.substr(0, BYOD_EXT_GROUP_SIZE - 1);
    Log(Severity::kNotice, "the group \"%s\" is called \"%s\" from now on", group.c_str(),
        name.c_str());
    if (BYOD_db_DelDevAutzAttrByGrp(group.c_str()) != 0) kept = false;
    const auto sets = authorization.groups().find(name);
    if (sets == authorization.groups().end()) continue;
    for (const auto& [category, attributes] : sets->second)
      if (StoreSet(name, category, &attributes) != 0) kept = false;
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
    {BYOD_DB_MAC_KEY, LAUTH_DB_LIST, sizeof(ByodMacRuleShowRec), RecoverMacRules, Tidy<MacKind>},
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
  std::vector<std::string> long_groups;
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
    const std::string_view group = text.substr(std::strlen(BYOD_DB_GROUP_PREFIX));
    if (group.size() >= BYOD_EXT_GROUP_SIZE) walk.long_groups.emplace_back(group);
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

template <typename Kind>
std::set<typename Kind::Key, DatabaseOrder<Kind>> StoredModifications(int32_t handle) {
  std::set<typename Kind::Key, DatabaseOrder<Kind>> keys;
  if (handle < 0) return keys;
  ForEachRecord<Kind>(handle, [&](const typename Kind::Record& record) {
    if (IsModification(record)) keys.insert(Kind::KeyOfRecord(record));
  });
  return keys;
}

template std::set<TextKey, DatabaseOrder<DhcpOptionKind>> StoredModifications<DhcpOptionKind>(
    int32_t);
template std::set<TextKey, DatabaseOrder<UserAgentKind>> StoredModifications<UserAgentKind>(
    int32_t);
template std::set<ByodMacRule, DatabaseOrder<MacKind>> StoredModifications<MacKind>(int32_t);

void TidyAll(int32_t handle, IdleRules& idle) {
  ForEachKind([&](auto kind) { Tidy<decltype(kind)>(handle, idle); });
}

void RecoverAll(int32_t handle, IdleRules& idle, Authorization& authorization) {
  DropConfigured();
  idle.Clear();
  authorization.Clear();
  BYOD_order_UnSetOrder();
  Walk walk = {handle, {}, {}};
  const bool reading = LAUTH_db_BeginReading(handle) == 0;  // else it only takes longer
  if (LAUTH_db_WalkKeys(handle, RecoverKey, &walk) != 0) {
    Log(Severity::kError, "the database cannot be read to its end: %s", LAUTH_db_ErrorText());
  }
  if (reading) LAUTH_db_EndReading(handle);
  ForEachKind([&](auto kind) {
    decltype(kind)::Configured().Drop();  // the library has made most of the rules
    SetModificationsAside<decltype(kind)>(handle, idle);
  });
  for (const StoredKey* const stored : walk.untidy)
    stored->tidy(handle, idle);
  idle.Retry();
  ShortenGroups(handle, walk.long_groups, authorization);
  if (!ArrangeMatchList()) {
    Log(Severity::kError, "no memory to order the User-Agent rules of one length");
  }
  idle.LogAll();
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
