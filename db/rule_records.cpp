// SPDX-License-Identifier: Apache-2.0
// The stored rules. Each list states how a record holds its key; the operations are written once.
#include "byod_db.h"
#include "data/bounded_copy.h"
#include "db/sort_list.h"
#include "mac.h"
#include "net/mac_address.h"
#include "rulekinds/rule_kind.h"

namespace byod::db {
namespace {

struct MacList : rulekinds::MacKind {
  static void WriteKey(Record& record, const Rule& rule) {
    net::WriteMac<net::kStored>(record.mac_text, rule.mac);
    std::memcpy(record.mask, rule.mask, sizeof record.mask);
  }

  /// The text counts as far as it can be read.
  static Rule* FindOrNew(const Record& record, uint16_t* created, uint32_t* err) {
    char text[BYOD_MACTEXT_SIZE];
    CopyText(text, record.mac_text);
    Rule probe = {};
    MacStringtoMacaddr(text, probe.mac);
    std::memcpy(probe.mask, record.mask, sizeof probe.mask);
    return BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, created, err);
  }

  static uint32_t Update(const Record& record, Rule* rule) {
    return BYOD_data_UpdateMacRule(&record, rule);
  }
};

template <typename Kind, auto kFindOrNew, auto kUpdate>
struct TextList : Kind {
  using Rule = typename Kind::Rule;
  using Record = typename Kind::Record;

  static void WriteKey(Record& record, const Rule& rule) {
    CopyText(record.text, rule.*Kind::kText);
  }

  static Rule* FindOrNew(const Record& record, uint16_t* created, uint32_t* err) {
    char text[BYOD_RULETEXT_SIZE];
    CopyText(text, record.text);
    return kFindOrNew(text, BYOD_RULE_CUSTOM, created, err);
  }

  static uint32_t Update(const Record& record, Rule* rule) { return kUpdate(&record, rule); }
};

using UserAgentList = TextList<rulekinds::UserAgentKind, BYOD_data_FindOrNewUserAgentRule,
                               BYOD_data_UpdateUserAgentRule>;
using DhcpOptionList = TextList<rulekinds::DhcpOptionKind, BYOD_data_FindOrNewDhcpOptionRule,
                                BYOD_data_UpdateDhcpOptionRule>;

template <typename List>
bool Ensure() {
  return EnsureList(List::kDatabaseKey, sizeof List::kDatabaseKey, List::kSortKeySize,
                    List::kDatabaseList);
}

template <typename List>
uint32_t AddRecord(const typename List::Record* record) {
  if (record == nullptr || !Ensure<List>()) return BYOD_ERR_FAILED;
  return AddToSortList(List::kDatabaseKey, sizeof List::kDatabaseKey, sizeof *record, record,
                       List::kDatabaseList);
}

template <typename List>
uint32_t AddRule(const typename List::Rule* rule) {
  if (rule == nullptr) return BYOD_ERR_FAILED;
  typename List::Record record = {};
  List::WriteKey(record, *rule);
  if (rule->configured != nullptr) {
    AddDeviceInfoToDBRule(rule->configured, record.info.name, record.info.vendor,
                          record.info.category, record.info.os);
  }
  return AddRecord<List>(&record);
}

template <typename List>
uint32_t DeleteRecord(const typename List::Record* record) {
  return BYOD_db_RemoveFromSortList(List::kDatabaseKey, sizeof List::kDatabaseKey, sizeof *record,
                                    record);
}

/// @param record  its sort key says what is sought
template <typename List>
bool Exists(typename List::Record& record) {
  if (BYOD_db_OpenCfgDBM() != 0 || BYOD_db_GetDBHandle() == -1) return false;
  const bool found = DBM_GetSortList(BYOD_db_GetDBHandle(), List::kDatabaseKey,
                                     sizeof List::kDatabaseKey, sizeof record, &record) > 0;
  BYOD_db_CloseCfgDBM();
  return found;
}

template <typename List>
int32_t Recover(int32_t handle, const char* key, uint32_t key_length) {
  typename List::Record record;
  return ForEachRecord(handle, key, key_length, record, [](const typename List::Record& stored) {
    uint16_t created;
    uint32_t err;
    typename List::Rule* const rule = List::FindOrNew(stored, &created, &err);
    if (rule == nullptr) return;
    List::Update(stored, rule);
    rule->modified =
        static_cast<uint16_t>(BYOD_data_IsPredefinedRuleModify(rule->origin, rule->configured));
  });
}

}  // namespace
}  // namespace byod::db

using byod::db::DhcpOptionList;
using byod::db::MacList;
using byod::db::UserAgentList;

void AddDeviceInfoToDBRule(const ByodDeviceInfo* info, char* name, char* vendor, char* category,
                           char* os) {
  byod::CopyText(name, BYOD_DEVNAME_SIZE, info->name);
  byod::CopyText(vendor, BYOD_ATTR_SIZE, info->vendor);
  byod::CopyText(category, BYOD_ATTR_SIZE, info->category);
  byod::CopyText(os, BYOD_ATTR_SIZE, info->os);
}

uint32_t BYOD_db_EnsureMacList() {
  return byod::db::Ensure<MacList>();
}
uint32_t BYOD_db_EnsureUserAgentList() {
  return byod::db::Ensure<UserAgentList>();
}
uint32_t BYOD_db_EnsureDhcpOptionList() {
  return byod::db::Ensure<DhcpOptionList>();
}

uint32_t BYOD_db_AddMacRule(const ByodMacRule* rule) {
  return byod::db::AddRule<MacList>(rule);
}

uint32_t BYOD_db_AddUserAgentRule(const ByodUserAgentRule* rule) {
  return byod::db::AddRule<UserAgentList>(rule);
}

uint32_t BYOD_db_AddDhcpOptionRule(const ByodDhcpOptionRule* rule) {
  return byod::db::AddRule<DhcpOptionList>(rule);
}

uint32_t BYOD_db_AddMacValue(const ByodMacRuleShowRec* record) {
  return byod::db::AddRecord<MacList>(record);
}

uint32_t BYOD_db_AddUAValue(const ByodTextRuleShowRec* record) {
  return byod::db::AddRecord<UserAgentList>(record);
}

uint32_t BYOD_db_AddDhcpOptionValue(const ByodTextRuleShowRec* record) {
  return byod::db::AddRecord<DhcpOptionList>(record);
}

uint32_t BYOD_db_DeleteMacRule(const ByodMacRuleShowRec* record) {
  return byod::db::DeleteRecord<MacList>(record);
}

uint32_t BYOD_db_DeleteUserAgentRule(const ByodTextRuleShowRec* record) {
  return byod::db::DeleteRecord<UserAgentList>(record);
}

uint32_t BYOD_db_DeleteDhcpOptionRule(const ByodTextRuleShowRec* record) {
  return byod::db::DeleteRecord<DhcpOptionList>(record);
}

uint32_t BYOD_db_IsMacExistInDb(const uint8_t* mac) {
  ByodMacRuleShowRec record = {};
  byod::net::WriteMac<byod::net::kStored>(record.mac_text, mac);
  return byod::db::Exists<MacList>(record);
}

uint32_t BYOD_db_IsUAExistInDb(const char* keyword) {
  ByodTextRuleShowRec record = {};
  byod::CopyText(record.text, keyword);
  return byod::db::Exists<UserAgentList>(record);
}

uint32_t BYOD_db_IsDhcpOptValueExistInDb(const char* text) {
  ByodTextRuleShowRec record = {};
  byod::CopyText(record.text, text);
  return byod::db::Exists<DhcpOptionList>(record);
}

int32_t BYOD_db_RecoverMacRule(int32_t handle, const char* key, uint32_t key_length) {
  return byod::db::Recover<MacList>(handle, key, key_length);
}

int32_t BYOD_db_RecoverUserAgentRule(int32_t handle, const char* key, uint32_t key_length) {
  return byod::db::Recover<UserAgentList>(handle, key, key_length);
}

int32_t BYOD_db_ReCoverDhcpOptionRule(int32_t handle, const char* key, uint32_t key_length) {
  return byod::db::Recover<DhcpOptionList>(handle, key, key_length);
}
