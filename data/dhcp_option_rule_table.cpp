// SPDX-License-Identifier: Apache-2.0
// The DHCP option rules: by option text, and in byte order of texts.
#include "data/text_rule_table.h"
#include "rulekinds/rule_kind.h"

namespace byod::data {
namespace {

struct DhcpOptionTable : rulekinds::DhcpOptionKind {
  using Key = const char*;

  static ByodDhcpOptionTable& Table() { return store.dhcp; }
  static RankedList<TextMark>& List() { return store.dhcp_list; }
  static TextIndex& Texts() { return store.dhcp_texts; }

  static Rule* Alloc() { return AllocRule<Rule>(); }
  static void SetKey(Rule& rule, Key text) { SetText<DhcpOptionTable>(rule, text); }
  static Rule* Find(Key text) { return BYOD_data_FindDhcpOptionRule(text); }
  static Rule* FindSame(Key text) { return Find(text); }
  static uint32_t Add(Rule* rule) { return BYOD_AddDhcpOptionRule(rule); }
  static void Erase(Rule* rule) { BYOD_DeleteDhcpOption(rule); }

  static bool Reserve(Rule&) { return true; }
  static void Index(Rule&) {}
  static void Unindex(Rule&) {}
};

}  // namespace
}  // namespace byod::data

using byod::data::DhcpOptionTable;

ByodDhcpOptionRule* BYOD_data_AllocDhcpOptionRule() {
  return byod::data::AllocRule<ByodDhcpOptionRule>();
}

void BYOD_data_FreeDhcpOptionRule(ByodDhcpOptionRule* rule) {
  byod::data::FreeRule(rule);
}

ByodDhcpOptionRule* BYOD_data_FindDhcpOptionRule(const char* text) {
  return byod::data::FindText<DhcpOptionTable>(text);
}

uint32_t BYOD_AddDhcpOptionRule(ByodDhcpOptionRule* rule) {
  return byod::data::AddText<DhcpOptionTable>(rule);
}

ByodDhcpOptionRule* BYOD_data_FindOrNewDhcpOptionRule(const char* text, uint32_t origin,
                                                      uint16_t* created, uint32_t* err) {
  return byod::data::FindOrNew<DhcpOptionTable>(text, origin, created, err);
}

void BYOD_data_AddFileDhcpOptionRule(const char* text, const ByodDeviceInfo* info) {
  byod::data::AddPredefined<DhcpOptionTable>(text, info);
}

uint32_t BYOD_data_UpdateDhcpOptionRule(const ByodTextRuleShowRec* record,
                                        ByodDhcpOptionRule* rule) {
  return byod::data::Update<DhcpOptionTable>(record, rule);
}

void BYOD_data_DelDhcpOptionRule(const char* text) {
  byod::data::Delete<DhcpOptionTable>(text);
}

void BYOD_data_DelDeviceInfoFromDhcpoptRule(uint32_t mode, uint16_t remove, const char* text) {
  byod::data::DeletePart<DhcpOptionTable>(mode, remove, text);
}

void byod_data_DelDeviceInfoFromCfgDhcpoptRule(ByodDhcpOptionRule* rule, uint32_t mode,
                                               uint16_t remove) {
  byod::data::DropEmptyCustomRule<DhcpOptionTable>(*rule, mode, remove);
}

void BYOD_DeleteDhcpOption(ByodDhcpOptionRule* rule) {
  byod::data::EraseText<DhcpOptionTable>(rule);
}

ByodDhcpOptionRule* BYOD_data_GetNextDhcpOptionRule(const char* text) {
  return byod::data::NextText<DhcpOptionTable>(text);
}
