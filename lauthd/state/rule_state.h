// SPDX-License-Identifier: Apache-2.0
// What an administrator configured of a rule, handled as a whole.
#ifndef LAUTHD_STATE_RULE_STATE_H
#define LAUTHD_STATE_RULE_STATE_H

#include <utility>

#include "lauthd/state/device_info.h"
#include "lauthd/state/match_order.h"
#include "lauthd/state/rule_cursor.h"

namespace byod::lauthd {

template <typename Kind>
void SetModified(typename Kind::Rule& rule) {
  rule.modified =
      static_cast<uint16_t>(BYOD_data_IsPredefinedRuleModify(rule.origin, rule.configured));
}

/// Gives a rule another configured information. @return the one that it had
template <typename Kind>
OwnedInfo ExchangeInfo(typename Kind::Rule& rule, OwnedInfo info) {
  OwnedInfo old(std::exchange(rule.configured, info.release()));
  SetModified<Kind>(rule);
  Kind::InfoChanged(rule);
  return old;
}

/// Takes a rule out of its table, when no listing stands on it any more.
template <typename Kind>
void EraseRule(typename Kind::Rule* rule) {
  RuleCursor<Kind>::Leave(rule);
  if (IsWithdrawn(*rule)) --withdrawn_rules<typename Kind::Rule>;
  Kind::Erase(rule);
}

/// Puts a new rule where it belongs among those of its length. @return it, which may be another
/// record now; null without memory, and then it has been erased
template <typename Kind>
typename Kind::Rule* ArrangeRule(typename Kind::Rule* rule) {
  if constexpr (Kind::kMethod == BYOD_METHOD_USERAGENT) {
    const auto key = Kind::KeyOf(*rule);
    if (ArrangeMatchList(*rule)) return Kind::Find(key);
    EraseRule<Kind>(rule);
    return nullptr;
  }
  return rule;
}

/// Deletes a custom rule so that it can be reinstated, which needs no memory.
template <typename Kind>
void WithdrawRule(typename Kind::Rule* rule) {
  RuleCursor<Kind>::Leave(rule);
  Kind::Configured().Leave(*rule);
  rule->origin = kWithdrawnOrigin;
  --Kind::Table().custom_count;
  ++withdrawn_rules<typename Kind::Rule>;
}

template <typename Kind>
void ReinstateRule(typename Kind::Rule* rule) {
  rule->origin = BYOD_RULE_CUSTOM;
  ++Kind::Table().custom_count;
  --withdrawn_rules<typename Kind::Rule>;
  Kind::Configured().Update(*rule);
}

/// What a rule was before it was changed.
template <typename Kind>
struct FormerRule {
  bool existed = false;
  bool was_stored = false;     // something of it, in the database
  bool keeps_info = false;     // is withdrawn, and has its information still
  bool has_other_key = false;  // another key's former rule, by the name that it has now
  OwnedInfo info;

  /// @param info  the configured information of a rule that there was
  static FormerRule Of(uint32_t origin, OwnedInfo info) {
    const bool modified = BYOD_data_IsPredefinedRuleModify(origin, info.get()) == 1;
    return {true, IsConfigured(origin, modified), false, false, std::move(info)};
  }

  /// A custom one that is being withdrawn.
  static FormerRule Withdrawn() { return {true, true, true, false, nullptr}; }

  /// One that was stored, but not in effect.
  static FormerRule Idle() { return {false, true, false, false, nullptr}; }

  static FormerRule OfOtherKey() { return {false, false, false, true, nullptr}; }

  /// Makes the rule what it was; it existed, and is in its table. Needs no memory.
  void Restore(const typename Kind::Key& key) {
    typename Kind::Rule* rule = Kind::FindWithdrawn(key);
    if (rule != nullptr) {
      ReinstateRule<Kind>(rule);
    } else {
      rule = Kind::Find(key);
    }
    Kind::TakeName(*rule, key);
    if (!keeps_info) ExchangeInfo<Kind>(*rule, std::move(info));
  }
};

/// Removes all that an administrator configured from the tables; the predefined rules stay.
void DropConfigured();

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RULE_STATE_H
