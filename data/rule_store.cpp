// SPDX-License-Identifier: Apache-2.0
#include "data/rule_store.h"

#include "data/containers/word_hash.h"
#include "data/fold_case.h"
#include "data/internal.h"
#include "lauth_avl.h"

namespace byod::data {

constinit RuleStore store;

bool LimitReached(uint32_t origin) {
  return origin == BYOD_RULE_CUSTOM && store.custom_limit != BYOD_NO_RULE_LIMIT &&
         Byod_GetCustomRuleCount() >= store.custom_limit;
}

namespace {

void ReleaseDhcpOptionRule(void* rule) {
  BYOD_data_FreeDhcpOptionRule(static_cast<ByodDhcpOptionRule*>(rule));
}

void ReleaseUserAgentRule(void* rule) {
  BYOD_data_FreeUserAgentRule(static_cast<ByodUserAgentRule*>(rule));
}

/// Empties a table record and gives it a new hash table. @return whether there was memory for it
template <typename Table>
bool MakeTextTable(Table& table) {
  table = {};
  table.hash = HASH_Create(BYOD_HASH_BUCKETS, byod_data_HashString);
  return table.hash != nullptr;
}

template <typename Table>
void DestroyTextTable(Table& table, void (*release)(void*)) {
  if (table.hash != nullptr) HASH_Destroy(HashOf(table.hash), release);
  table = {};
}

void ForgetIndexes() {
  store.dhcp_texts.Clear();
  store.user_agent_texts.Clear();
  store.dhcp_list.Clear();
  store.user_agent_list.Clear();
  store.user_agent_index.Clear();
  store.match_list.Clear();
}

}  // namespace
}  // namespace byod::data

using byod::data::store;

uint32_t BYOD_data_GlobalInfoInit(uint32_t limit) {
  store.custom_limit = limit;
  byod::data::ForgetIndexes();
  byod::data::DrawHashKey();
  const bool dhcp_made = byod::data::MakeTextTable(store.dhcp);
  const bool user_agent_made = byod::data::MakeTextTable(store.user_agent.table);
  // The MAC counts stay: Fini clears them, together with the tree that they count.
  store.mac.tree = AVL_Init(byod_data_MacRuleCompare, 0, byod_data_MacRuleRelease);
  if (store.mac.tree == nullptr) return BYOD_ERR_FAILED;
  return dhcp_made && user_agent_made ? 0 : BYOD_ERR_FAILED;
}

void BYOD_data_GlobalInfoFini() {
  byod::data::ForgetIndexes();
  byod::data::DestroyTextTable(store.dhcp, byod::data::ReleaseDhcpOptionRule);
  byod::data::DestroyTextTable(store.user_agent.table, byod::data::ReleaseUserAgentRule);
  if (store.mac.tree != nullptr) {
    AVL_Fini(store.mac.tree);
    store.mac = {};
  }
  store.spare_mac_rules.Clear();
  store.custom_limit = BYOD_NO_RULE_LIMIT;
}

ByodDhcpOptionTable* BYOD_data_GetDhcpOptionRuleTbl() {
  return &store.dhcp;
}
ByodUserAgentTable* BYOD_data_GetUserAgentRuleTbl() {
  return &store.user_agent.table;
}
ByodMacTable* BYOD_data_GetMacRuleTbl() {
  return &store.mac;
}

ByodLink** BYOD_data_GetDhcpOptionRuleList() {
  return &store.dhcp.list;
}
ByodLink** BYOD_data_GetUserAgentRuleList() {
  return &store.user_agent.table.list;
}
ByodLink** BYOD_data_GetUserAgentRuleMatchList() {
  return &store.user_agent.table.match_list;
}

uint32_t BYOD_data_GetDhcpOptionRuleCount() {
  return store.dhcp.rule_count;
}
uint32_t BYOD_data_GetUserAgentRuleCount() {
  return store.user_agent.table.rule_count;
}
uint32_t BYOD_data_GetMacRuleCount() {
  return store.mac.rule_count;
}

uint32_t Byod_GetCustomRuleCount() {
  return store.user_agent.table.custom_count + store.dhcp.custom_count + store.mac.custom_count;
}

// Multiply first, then XOR: FNV-1, not FNV-1a.
uint32_t byod_data_HashString(const char* text) {
  uint32_t hash = 0x811C9DC5;
  for (; *text != '\0'; ++text) {
    hash *= 16777619;
    hash ^= byod::FoldCase(*text);
  }
  return hash & (BYOD_HASH_BUCKETS - 1);
}
