// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/recovery.h"

#include <array>
#include <cstring>
#include <new>
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
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/rule_state.h"
#include "net/mac_address.h"
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

/// A reading of the database, and an iterator through a list.
class ListWalk {
 public:
  explicit ListWalk(int32_t handle)
      : handle_(handle), reading_(LAUTH_db_BeginReading(handle) == 0) {}  // else it takes longer
  ~ListWalk() {
    DBM_FreeIterator(handle_, &iterator_);
    if (reading_) LAUTH_db_EndReading(handle_);
  }
  ListWalk(const ListWalk&) = delete;
  ListWalk& operator=(const ListWalk&) = delete;

  /// @return whether there was another record. @throws std::bad_alloc
  template <typename Record>
  bool Next(const char* key, uint32_t key_length, Record& record) {
    record = {};
    const int32_t got =
        DBM_GetNextSortList(handle_, key, key_length, &iterator_, 0, 0, sizeof record, &record);
    if (got == DBM_ERR_MEMORY) throw std::bad_alloc();
    if (got < 0) Log(Severity::kError, "the database cannot be read: %s", LAUTH_db_ErrorText());
    return got > 0;
  }

 private:
  int32_t handle_;
  bool reading_;
  uintptr_t iterator_ = 0;
};

/// Calls take(record) for each record of a list.
template <typename Kind, typename Take>
void ForEachRecord(int32_t handle, Take take) {
  ListWalk walk(handle);
  for (typename Kind::Record record;
       walk.Next(Kind::kDatabaseKey, sizeof Kind::kDatabaseKey, record);)
    take(record);
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

void LogKeyless(const ByodTextRuleShowRec&) {}  // every text is a key

/// Recovers the rules of a kind in the order of the database: MAC rules each cut out of those
/// around it, as the library knows only a table without rules within rules. A record without a
/// whole address is left alone, and a modification whose rule is gone waits for it.
template <typename Kind>
void RecoverRules(int32_t handle) {
  ForEachRecord<Kind>(handle, [](const typename Kind::Record& record) {
    if (!HasKey<Kind>(record)) return LogKeyless(record);
    const auto key = Kind::KeyOfRecord(record);
    uint16_t created = 0;
    uint32_t err = 0;
    auto* rule = IsModification(record) ? Kind::Find(key) : Kind::FindOrNew(key, &created, &err);
    if (err == BYOD_ERR_FAILED) throw std::bad_alloc();
    if (rule == nullptr) return;
    if (created == 1) rule = ArrangeRule<Kind>(rule);
    if (rule == nullptr) throw std::bad_alloc();
    if (Kind::Update(&record, rule) != 0) throw std::bad_alloc();
    SetModified<Kind>(*rule);
    Kind::InfoChanged(*rule);
  });
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

/// An order that cannot be read leaves the default one, and so does a lack of memory.
void RecoverOrder(int32_t handle) {
  ByodOrder order;
  BYOD_db_ReCoverOrder(handle, BYOD_DB_ORDER_KEY, sizeof BYOD_DB_ORDER_KEY);
  BYOD_order_GetOrder(&order);
  if (BYOD_orderIsDefault(&order)) {
    BYOD_db_ReCoverOrder(handle, BYOD_DB_ORDER_KEY, sizeof BYOD_DB_ORDER_KEY);
  }
}

template <typename Kind>
const char* FaultOfRule(BackupCheck& check, const void* data);

struct StoredKey {
  const char* name;
  uint32_t kind;         // LAUTH_DB_*
  uint32_t record_size;  // of each record; 0 = any
  void (*recover)(int32_t handle);
  void (*tidy)(int32_t handle, IdleRules& idle);  // nullptr = nothing to tidy
  const char* (*fault_of_rule)(BackupCheck& check, const void* data);
};

constexpr StoredKey kStoredKeys[] = {
    {BYOD_DB_ORDER_KEY, LAUTH_DB_VALUE, 0, RecoverOrder, nullptr, nullptr},
    {BYOD_DB_MAC_KEY, LAUTH_DB_LIST, sizeof(ByodMacRuleShowRec), RecoverRules<MacKind>,
     Tidy<MacKind>, FaultOfRule<MacKind>},
    {BYOD_DB_USERAGENT_KEY, LAUTH_DB_LIST, sizeof(ByodTextRuleShowRec), RecoverRules<UserAgentKind>,
     Tidy<UserAgentKind>, FaultOfRule<UserAgentKind>},
    {BYOD_DB_DHCPOPT_KEY, LAUTH_DB_LIST, sizeof(ByodTextRuleShowRec), RecoverRules<DhcpOptionKind>,
     Tidy<DhcpOptionKind>, FaultOfRule<DhcpOptionKind>},
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
bool RecoverStored(int32_t handle, const StoredKey& stored) {
  const int64_t records = LAUTH_db_WalkCount(handle);
  const uint32_t rules = Byod_GetCustomRuleCount();
  stored.recover(handle);
  return LAUTH_db_WalkCount(handle) - records == int64_t{Byod_GetCustomRuleCount() - rules};
}

/// Recovers the sets of a group. The library passes over a set that cannot be read, and so it does
/// without memory, which is tried again.
void RecoverGroup(int32_t handle, const char* key, uint32_t key_length) {
  uint64_t records = 0;
  ListWalk walk(handle);
  for (std::array<char, BYOD_DB_DEVTYPE_SIZE> record; walk.Next(key, key_length, record);)
    ++records;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const uint64_t sets = RecoveredSets();
    BYOD_db_RecoverDeviceTypeAuthor(handle, key, key_length);
    if (RecoveredSets() - sets == records) return;
  }
}

int32_t RecoverKey(void* context, const void* key, uint32_t key_length, uint32_t kind) {
  Walk& walk = *static_cast<Walk*>(context);
  const auto* const name = static_cast<const char*>(key);
  const std::string_view text = TextOf(key, key_length);
  if (IsGroup(text) && kind == LAUTH_DB_LIST) {
    RecoverGroup(walk.handle, name, key_length);
    const std::string_view group = text.substr(std::strlen(BYOD_DB_GROUP_PREFIX));
    if (group.size() >= BYOD_EXT_GROUP_SIZE) walk.long_groups.emplace_back(group);
  } else if (const StoredKey* const stored = Find(text); stored && stored->kind == kind) {
    const bool alike = RecoverStored(walk.handle, *stored);
    if (!alike && stored->tidy != nullptr) walk.untidy.push_back(stored);
  } else {
    Log(Severity::kWarning, "the database holds something unknown, which is left alone: \"%.*s\"",
        static_cast<int>(text.size()), text.data());
  }
  return 0;
}

/// Whether a text ends in its field, whose last byte may be a mark.
template <size_t Size>
bool Ends(const char (&text)[Size], size_t room = Size) {
  return std::memchr(text, '\0', room) != nullptr;
}

bool IsValidInfo(const ByodDeviceInfo& info) {
  const char mark = info.name[BYOD_DEVNAME_SIZE - 1];
  // A name of 127 characters ends in the place of the mark.
  const bool name_ends =
      Ends(info.name, BYOD_DEVNAME_SIZE - 1) ? mark == 0 || mark == 1 : mark == 0;
  return name_ends && Ends(info.vendor) && Ends(info.category) && Ends(info.os);
}

bool HasValidKey(const ByodMacRuleShowRec& record) {
  const uint64_t free_bits = ~net::LoadMac(record.mask) & 0xFFFFFFFFFFFF;
  return Ends(record.mac_text) && HasKey<MacKind>(record) && net::LoadMac(record.mask) != 0 &&
         (free_bits & (free_bits + 1)) == 0;
}

bool HasValidKey(const ByodTextRuleShowRec& record) {
  return Ends(record.text) && record.text[0] != '\0';
}

/// @return what is wrong with a rule; null if nothing
template <typename Kind>
const char* FaultOfRule(BackupCheck& check, const void* data) {
  typename Kind::Record record;
  std::memcpy(&record, data, sizeof record);
  if (!HasValidKey(record)) return "a rule's key is not valid";
  if (!IsValidInfo(record.info)) return "a text of a rule does not end";
  if (IsModification(record)) return nullptr;
  const auto* const rule = Kind::Find(Kind::KeyOfRecord(record));
  if (rule != nullptr && rule->origin == BYOD_RULE_PREDEFINED) return nullptr;
  if (++check.custom_rules <= check.rule_limit) return nullptr;
  return "it has more custom rules than the limit allows";
}

const char* FaultOfSet(std::string_view group, const void* data, uint32_t length) {
  const auto* const type = static_cast<const char*>(data);
  const bool named = length > BYOD_DB_DEVTYPE_SIZE && length <= BYOD_DB_AUTZ_MAX &&
                     !group.empty() && *type != '\0' &&
                     std::memchr(type, '\0', BYOD_DB_DEVTYPE_SIZE) != nullptr;
  if (!named) return "an authorization's key is not valid";
  const tlv::Message message(
      TLV_CreateReceiveMsg(tlv::kMemory, reinterpret_cast<uintptr_t>(type + BYOD_DB_DEVTYPE_SIZE),
                           length - BYOD_DB_DEVTYPE_SIZE));
  Attributes attributes;
  const bool readable = message && ReadAttributes(message.get(), attributes);
  return readable && !attributes.empty() ? nullptr : "an authorization cannot be read";
}

const char* FaultOfOrder(const void* data, uint32_t length) {
  const tlv::Message message(
      TLV_CreateReceiveMsg(tlv::kMemory, reinterpret_cast<uintptr_t>(data), length));
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  if (!message || BYOD_tlv_GetOrder(message.get(), order.slots) != 0) {
    return "the order cannot be read";
  }
  uint32_t seen = 0;
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT) break;
    if ((seen & 1u << slot) != 0) return "the order names a method twice";
    seen |= 1u << slot;
  }
  return seen != 0 ? nullptr : "the order names no method";
}

const char* FaultOf(BackupCheck& check, std::string_view key, uint32_t kind, const void* data,
                    uint32_t length) {
  if (IsGroup(key)) {
    if (kind != LAUTH_DB_LIST) return "it holds something unknown";
    return FaultOfSet(key.substr(std::strlen(BYOD_DB_GROUP_PREFIX)), data, length);
  }
  const StoredKey* const stored = Find(key);
  if (stored == nullptr || stored->kind != kind) return "it holds something unknown";
  if (stored->record_size == 0) return FaultOfOrder(data, length);
  if (stored->record_size != length) return "a record has another size";
  return stored->fault_of_rule(check, data);
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

void ForgetConfiguration(IdleRules& idle, Authorization& authorization) {
  DropConfigured();
  idle.Clear();
  authorization.Clear();
  BYOD_order_UnSetOrder();
}

void RecoverAll(int32_t handle, IdleRules& idle, Authorization& authorization) {
  ForgetConfiguration(idle, authorization);
  Walk walk = {handle, {}, {}};
  const bool reading = LAUTH_db_BeginReading(handle) == 0;  // else it only takes longer
  const int32_t walked = LAUTH_db_WalkKeys(handle, RecoverKey, &walk);
  if (reading) LAUTH_db_EndReading(handle);
  if (walked == DBM_ERR_MEMORY) throw std::bad_alloc();
  if (walked != 0) {
    Log(Severity::kError, "the database cannot be read to its end: %s", LAUTH_db_ErrorText());
  }
  // Rules that are made one after the other are indexed at once when that is needed.
  ForEachKind([](auto kind) { decltype(kind)::Configured().Drop(); });
  for (const StoredKey* const stored : walk.untidy)
    stored->tidy(handle, idle);
  idle.Retry();
  ShortenGroups(handle, walk.long_groups, authorization);
  idle.LogAll();
  Log(Severity::kInfo, "recovered %u custom rules", Byod_GetCustomRuleCount());
}

int32_t CheckRestored(void* context, const void* key, uint32_t key_length, uint32_t kind,
                      const void* data, uint32_t length) {
  BackupCheck& check = *static_cast<BackupCheck*>(context);
  check.fault = FaultOf(check, TextOf(key, key_length), kind, data, length);
  return check.fault == nullptr ? 0 : -1;
}

}  // namespace byod::lauthd
