// SPDX-License-Identifier: Apache-2.0
// What the three rule tables do alike. A table states only its differences:
//
//   Rule, Key, Record      the rule, what names it, and its stored form
//   Alloc()                a zero-filled rule in no table
//   SetKey(rule, key)
//   Find(key)              the rule that a deletion means
//   FindSame(key)          the rule that makes a new one needless
//   Add(rule)              into the table: 0 or a code; Erase(rule) out of it, and released
#ifndef BYOD_DATA_RULE_TABLE_H
#define BYOD_DATA_RULE_TABLE_H

#include <cstdlib>
#include <memory>

#include "data/bounded_copy.h"
#include "data/internal.h"

namespace byod::data {

template <typename Rule>
Rule* AllocRule() {
  return static_cast<Rule*>(std::calloc(1, sizeof(Rule)));
}

template <typename Rule>
void DropConfigured(Rule& rule) {
  std::free(rule.configured);
  rule.configured = nullptr;
}

template <typename Rule>
void FreeRule(Rule* rule) {
  if (rule == nullptr) return;
  DropConfigured(*rule);
  std::free(rule->predefined);
  rule->predefined = nullptr;
  std::free(rule);
}

template <typename Rule>
struct RuleDeleter {
  void operator()(Rule* rule) const { FreeRule(rule); }
};

/// A rule that is in no table yet.
template <typename Rule>
using OwnedRule = std::unique_ptr<Rule, RuleDeleter<Rule>>;

template <typename T>
OwnedRule<typename T::Rule> MakeRule(typename T::Key key, uint32_t origin) {
  OwnedRule<typename T::Rule> rule(T::Alloc());
  if (rule) {
    rule->origin = origin;
    T::SetKey(*rule, key);
  }
  return rule;
}

template <typename T>
typename T::Rule* FindOrNew(typename T::Key key, uint32_t origin, uint16_t* created,
                            uint32_t* err) {
  *created = 0;
  *err = 0;
  if (auto* found = T::FindSame(key)) return found;
  auto rule = MakeRule<T>(key, origin);
  *err = rule ? T::Add(rule.get()) : uint32_t{BYOD_ERR_FAILED};
  if (*err != 0) return nullptr;
  *created = 1;
  return rule.release();
}

/// A rule that cannot be added is dropped without a word.
template <typename T>
void AddPredefined(typename T::Key key, const ByodDeviceInfo* info) {
  auto rule = MakeRule<T>(key, BYOD_RULE_PREDEFINED);
  if (!rule) return;
  rule->predefined = BYOD_data_CreateDeviceInfo(info->name, info->vendor, info->category, info->os);
  if (rule->predefined == nullptr) return;
  if (T::Add(rule.get()) == 0) rule.release();
}

template <typename T>
uint32_t Update(const typename T::Record* record, typename T::Rule* rule) {
  if (record == nullptr || rule == nullptr) return BYOD_ERR_FAILED;
  const ByodDeviceInfo& info = record->info;
  if (!BYOD_data_IsDeviceInfoExist(&info)) return 0;
  if (rule->configured == nullptr) {
    rule->configured = BYOD_data_CreateDeviceInfo(info.name, info.vendor, info.category, info.os);
    return rule->configured != nullptr ? 0 : BYOD_ERR_FAILED;
  }
  CopyPresentText(rule->configured->name, info.name);
  CopyPresentText(rule->configured->vendor, info.vendor);
  CopyPresentText(rule->configured->category, info.category);
  CopyPresentText(rule->configured->os, info.os);
  return 0;
}

/// Deletes what an administrator made: a custom rule, or a predefined rule's modification.
template <typename T>
void Delete(typename T::Key key) {
  auto* rule = T::Find(key);
  if (rule == nullptr) return;
  if (rule->origin == BYOD_RULE_CUSTOM) return T::Erase(rule);
  DropConfigured(*rule);
}

/// What becomes of a custom rule in whose information nothing would remain.
template <typename T>
void DropEmptyCustomRule(typename T::Rule& rule, uint32_t mode, uint16_t remove) {
  if (remove == 1 || mode == 1) return T::Erase(&rule);
  DropConfigured(rule);
}

template <typename T>
void DeletePart(uint32_t mode, uint16_t remove, typename T::Key key) {
  auto* rule = T::Find(key);
  if (rule == nullptr) return;
  if (rule->origin == BYOD_RULE_CUSTOM) {
    if (byod_data_StripDeviceInfo(mode, rule->configured) == 0) return;
    return DropEmptyCustomRule<T>(*rule, mode, remove);
  }
  if (rule->configured == nullptr) return;
  if (byod_data_StripDeviceInfoPart(mode, rule->configured) == 1) return;
  DropConfigured(*rule);
}

}  // namespace byod::data

#endif  // BYOD_DATA_RULE_TABLE_H
