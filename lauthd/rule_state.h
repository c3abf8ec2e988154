// The state that an administrator gave one rule, to be taken, given and stored as a whole.
#ifndef LAUTHD_RULE_STATE_H
#define LAUTHD_RULE_STATE_H

#include <utility>

#include "lauthd/device_info.h"
#include "lauthd/rule_cursor.h"

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
  return old;
}

/// Takes a rule out of its table, when no listing stands on it any more.
template <typename Kind>
void EraseRule(typename Kind::Rule* rule) {
  RuleCursor<Kind>::Leave(rule);
  Kind::Erase(rule);
}

/// Puts a rule back to what it was when this was made.
template <typename Kind>
struct FormerRule {
  typename Kind::Key key;
  bool existed;
  OwnedInfo info;

  void Restore() {
    typename Kind::Rule* rule = Kind::Find(key);
    if (!existed) {
      if (rule != nullptr) EraseRule<Kind>(rule);
      return;
    }
    if (rule == nullptr) {
      uint16_t created = 0;
      uint32_t err = 0;
      rule = Kind::FindOrNew(key, &created, &err);
    }
    // Only a custom rule can be missing, and only memory for it.
    if (rule != nullptr) ExchangeInfo<Kind>(*rule, std::move(info));
  }
};

}  // namespace byod::lauthd

#endif  // LAUTHD_RULE_STATE_H
