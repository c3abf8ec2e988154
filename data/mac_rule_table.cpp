// SPDX-License-Identifier: Apache-2.0
// The MAC rules: a tree in the order of the masked addresses.
#include <cstring>

#include "data/rule_store.h"
#include "data/rule_table.h"
#include "lauth_avl.h"
#include "net/mac_address.h"
#include "rulekinds/rule_kind.h"

namespace byod::data {
namespace {

struct MacTable : rulekinds::MacKind {
  using Key = const ByodMacRule*;

  static Rule* Alloc() { return store.spare_mac_rules.Take(store.mac.rule_count); }
  static void SetKey(Rule& rule, Key probe) {
    std::memcpy(rule.mac, probe->mac, sizeof rule.mac);
    std::memcpy(rule.mask, probe->mask, sizeof rule.mask);
  }
  // A deletion takes the rule that covers the probe, so a prefix rule too.
  static Rule* Find(Key probe) { return BYOD_data_FindMacRule(probe); }
  static Rule* FindSame(Key probe) { return BYOD_data_SetFindMacRule(probe); }
  static uint32_t Add(Rule* rule) { return Byod_AddMacRule(rule); }
  static void Erase(Rule* rule) { BYOD_DeleteMacRule(rule); }
};

using Compare = int (*)(const void*, const void*);

ByodMacRule* Get(const ByodMacRule* probe, Compare compare) {
  if (store.mac.tree == nullptr) return nullptr;
  return static_cast<ByodMacRule*>(AVL_Get(store.mac.tree, probe, compare));
}

ByodMacRule* First() {
  return static_cast<ByodMacRule*>(AVL_GetLeftMost(store.mac.tree));
}

ByodMacRule* Next(ByodMacRule* rule) {
  return static_cast<ByodMacRule*>(AVL_GetNext(store.mac.tree, rule));
}

/// A walk through the tree in order, ended with its scope.
class Walk {
 public:
  Walk() : walk_(AVL_Walk_Init(store.mac.tree)) {}
  ~Walk() {
    if (walk_ != nullptr) AVL_Walk_Fini(walk_);
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  ByodMacRule* Next() {
    return walk_ != nullptr ? static_cast<ByodMacRule*>(AVL_WalkNode(walk_)) : nullptr;
  }

 private:
  void* walk_;
};

}  // namespace
}  // namespace byod::data

using byod::data::MacTable;
using byod::data::store;
using byod::net::LoadMac;

ByodMacRule* BYOD_data_AllocMacRule() {
  return byod::data::AllocRule<ByodMacRule>();
}

void BYOD_data_FreeMacRule(ByodMacRule* rule) {
  byod::data::FreeRule(rule);
}

ByodMacRule* BYOD_data_FindMacRule(const ByodMacRule* probe) {
  return byod::data::Get(probe, byod_data_MacRuleMatch);
}

ByodMacRule* BYOD_data_SetFindMacRule(const ByodMacRule* probe) {
  ByodMacRule* const rule = byod::data::Get(probe, byod_data_MacRuleCompareExact);
  if (rule == nullptr || std::memcmp(rule->mask, probe->mask, sizeof rule->mask) != 0) {
    return nullptr;
  }
  return rule;
}

uint32_t Byod_AddMacRule(ByodMacRule* rule) {
  if (byod::data::LimitReached(rule->origin)) return BYOD_ERR_RULE_LIMIT;
  if (const uint32_t refused = AVL_Insert(store.mac.tree, rule)) return refused;
  byod::data::Count(store.mac, rule->origin, 1);
  return 0;
}

ByodMacRule* BYOD_data_FindOrNewMacRule(const ByodMacRule* probe, uint32_t origin,
                                        uint16_t* created, uint32_t* err) {
  return byod::data::FindOrNew<MacTable>(probe, origin, created, err);
}

void BYOD_data_AddFileMacRule(const ByodMacRule* probe, const ByodDeviceInfo* info) {
  byod::data::AddPredefined<MacTable>(probe, info);
}

uint32_t BYOD_data_UpdateMacRule(const ByodMacRuleShowRec* record, ByodMacRule* rule) {
  return byod::data::Update<MacTable>(record, rule);
}

void BYOD_data_DelMacRule(const ByodMacRule* probe) {
  byod::data::Delete<MacTable>(probe);
}

void BYOD_data_DelDeviceInfoFromMacRule(uint32_t mode, uint16_t remove, const ByodMacRule* probe) {
  byod::data::DeletePart<MacTable>(mode, remove, probe);
}

// Counts whatever the tree reports: the rule is released in any case.
void BYOD_DeleteMacRule(ByodMacRule* rule) {
  if (rule == nullptr) return;
  AVL_Remove(store.mac.tree, rule);
  byod::data::Count(store.mac, rule->origin, -1);
  BYOD_data_FreeMacRule(rule);
}

void byod_data_MacRuleRelease(void* rule) {
  if (AVL_Remove(store.mac.tree, rule) == 0) BYOD_data_FreeMacRule(static_cast<ByodMacRule*>(rule));
}

ByodMacRule* BYOD_FindRuleFromMacAvlPre(ByodMacRule* rule) {
  return static_cast<ByodMacRule*>(AVL_GetPrev(store.mac.tree, rule));
}

ByodMacRule* BYOD_FindRuleFromMacAvlNext(const ByodMacRule* probe) {
  const uint64_t mac = LoadMac(probe->mac);
  if (mac == 0 && LoadMac(probe->mask) == 0) return byod::data::First();
  if (ByodMacRule* const rule = BYOD_data_FindMacRule(probe)) return byod::data::Next(rule);
  ByodMacRule* const first = byod::data::First();
  if (first == nullptr || LoadMac(first->mac) > mac) return first;
  if (LoadMac(first->mac) == mac) return byod::data::Next(first);
  // Kept: every step asks for the node after null and compares the first rule again. What a tree
  // returns for null decides; ours returns nothing, and the first rule is the answer.
  ByodMacRule* last = first;
  while (LoadMac(first->mac) < mac) {
    ByodMacRule* const next = byod::data::Next(nullptr);
    if (next == nullptr) break;
    last = next;
  }
  return last;
}

ByodMacRule* BYOD_ProcGetNextMacByConfig(const ByodMacRule* probe) {
  const uint64_t mac = LoadMac(probe->mac);
  byod::data::Walk walk;
  ByodMacRule* rule = walk.Next();
  while (rule != nullptr && LoadMac(rule->mac) <= mac)
    rule = walk.Next();
  // The order of the tree is that of masked addresses: from here on all count.
  while (rule != nullptr && rule->origin != BYOD_RULE_CUSTOM && rule->modified != 1) {
    rule = walk.Next();
  }
  return rule;
}
