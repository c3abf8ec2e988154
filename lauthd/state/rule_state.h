// SPDX-License-Identifier: Apache-2.0
// What an administrator configured of a rule, handled as a whole.
#ifndef LAUTHD_STATE_RULE_STATE_H
#define LAUTHD_STATE_RULE_STATE_H

#include <utility>

#include "lauthd/state/device_info.h"
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
  Kind::Erase(rule);
}

/// What a rule was before it was changed.
template <typename Kind>
struct FormerRule {
  bool existed = false;
  bool was_stored = false;  // something of it, in the database
  OwnedInfo info;

  /// @param info  the configured information of a rule that there was
  static FormerRule Of(uint32_t origin, OwnedInfo info) {
    const bool modified = BYOD_data_IsPredefinedRuleModify(origin, info.get()) == 1;
    return {true, IsConfigured(origin, modified), std::move(info)};
  }

  /// One that was stored, but not in effect.
  static FormerRule Idle() { return {false, true, nullptr}; }

  /// Makes the rule what it was; it existed.
  void Restore(const typename Kind::Key& key) {
    typename Kind::Rule* rule = Kind::Find(key);
    if (rule == nullptr) {
      uint16_t created = 0;
      uint32_t err = 0;
      rule = Kind::FindOrNew(key, &created, &err);
    }
    // Only a custom rule can be missing, and only memory for it.
    if (rule != nullptr) ExchangeInfo<Kind>(*rule, std::move(info));
  }
};

/// Removes all that an administrator configured from the tables; the predefined rules stay.
void DropConfigured();

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RULE_STATE_H
