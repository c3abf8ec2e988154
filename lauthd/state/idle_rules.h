// SPDX-License-Identifier: Apache-2.0
// Stored rules that are not in effect: a predefined rule has come that overlaps them, the
// predefined rule that they modify is gone, or the limit of custom rules has been lowered. They
// stay stored, are listed and can be changed and deleted, and take effect as soon as they can.
#ifndef LAUTHD_STATE_IDLE_RULES_H
#define LAUTHD_STATE_IDLE_RULES_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "lauthd/state/rule_kind.h"
#include "rulefiles/successors.h"

namespace byod::lauthd {

struct IdleRule {
  ByodDeviceInfo info;
  bool modification;  // of a predefined rule that is gone
};

/// A rule that is in no table, and borrows its information.
template <typename Kind>
typename Kind::Rule DetachedRule(const typename Kind::Key& key, IdleRule& idle) {
  typename Kind::Rule rule = Kind::MakeRule(key);
  rule.origin = idle.modification ? BYOD_RULE_PREDEFINED : BYOD_RULE_CUSTOM;
  rule.modified = idle.modification;
  if (BYOD_data_IsDeviceInfoExist(&idle.info) == 1) rule.configured = &idle.info;
  return rule;
}

/// Stores such a rule. @return 0 or BYOD_ERR_FAILED
template <typename Kind>
uint32_t SaveIdle(const typename Kind::Key& key, IdleRule idle) {
  const typename Kind::Rule rule = DetachedRule<Kind>(key, idle);
  return Kind::Save(&rule);
}

/// @return what keeps a rule from taking effect, as people read it: "overlaps ..."
template <typename Kind>
std::string WhyIdle(const typename Kind::Key& key, const IdleRule& idle);

/// Between themselves they do not overlap, nor have the same text: no such rule is accepted.
class IdleRules {
 public:
  /// In the order of the database: in that order they get what room there is.
  template <typename Kind>
  using Map = std::map<typename Kind::Key, IdleRule, DatabaseOrder<Kind>>;

  template <typename Kind>
  const Map<Kind>& Of() const {
    return std::get<Map<Kind>>(maps_);
  }

  /// @param info  null: the rule has none
  template <typename Kind>
  void Put(const typename Kind::Key& key, const ByodDeviceInfo* info, bool modification) {
    IdleRule rule = {info != nullptr ? *info : ByodDeviceInfo(), modification};
    rule.info.name[BYOD_DEVNAME_SIZE - 1] = '\0';
    std::get<Map<Kind>>(maps_).insert_or_assign(key, rule);
  }

  template <typename Kind>
  void Erase(const typename Kind::Key& key) {
    std::get<Map<Kind>>(maps_).erase(key);
  }

  void Clear() { maps_ = {}; }

  bool Empty() const {
    return std::get<0>(maps_).empty() && std::get<1>(maps_).empty() && std::get<2>(maps_).empty();
  }

  /// @return the rule that a key names, as a table would find it; null if there is none
  template <typename Kind>
  const typename Map<Kind>::value_type* Find(const typename Kind::Key& key) const;

  /// @return another rule that cannot be stored beside one of this key; null if there is none
  template <typename Kind>
  const typename Map<Kind>::value_type* InTheWayOf(const typename Kind::Key& key) const;

  /// Takes over which rules answer in place of those that are no longer in the catalogue.
  /// @throws std::bad_alloc
  void SetSuccessors(const std::vector<rulefiles::Successor>& successors);

  /// @return the rule that the catalogue names as the successor of another one; null if it names
  ///         none
  const rulefiles::Successor* SuccessorOf(uint32_t method, const std::string& rule) const;

  /// Puts the rules for which there is room now into their tables, and says so in the log.
  void Retry();

  /// Says in the log of each rule that it is not in effect, and why.
  void LogAll() const;

 private:
  using Successors = std::map<std::string, rulefiles::Successor>;  // by the identities of rules

  std::shared_ptr<const Successors> successors_;  // shared by copies; null: none
  std::tuple<Map<DhcpOptionKind>, Map<MacKind>, Map<UserAgentKind>> maps_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_IDLE_RULES_H
