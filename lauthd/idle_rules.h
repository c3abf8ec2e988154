// Stored rules that are not in effect, as there is no place for them: a predefined rule has come
// that overlaps them, or the limit of custom rules has been lowered. They stay stored, are listed
// and can be changed and deleted, and take effect as soon as there is room.
#ifndef LAUTHD_IDLE_RULES_H
#define LAUTHD_IDLE_RULES_H

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "lauthd/rule_kind.h"

namespace byod::lauthd {

/// A rule that is in no table, and borrows its information.
template <typename Kind>
typename Kind::Rule LooseRule(const typename Kind::Key& key, ByodDeviceInfo& info) {
  typename Kind::Rule rule = Kind::MakeRule(key);
  rule.origin = BYOD_RULE_CUSTOM;
  if (BYOD_data_IsDeviceInfoExist(&info) == 1) rule.configured = &info;
  return rule;
}

/// Stores such a rule. @return 0 or BYOD_ERR_FAILED
template <typename Kind>
uint32_t SaveIdle(const typename Kind::Key& key, ByodDeviceInfo info) {
  const typename Kind::Rule rule = LooseRule<Kind>(key, info);
  return Kind::Save(&rule);
}

/// @return what keeps a rule out of its table, as part of a sentence: "overlaps ..."
template <typename Kind>
std::string WhyIdle(const typename Kind::Key& key);

/// Between themselves they do not overlap, nor have the same text: no such rule is accepted.
class IdleRules {
 public:
  /// In the order of the database: in that order they get what room there is.
  template <typename Kind>
  using Map = std::map<typename Kind::Key, ByodDeviceInfo, DatabaseOrder<Kind>>;

  template <typename Kind>
  const Map<Kind>& Of() const {
    return std::get<Map<Kind>>(maps_);
  }

  /// @param info  null: the rule has none
  template <typename Kind>
  void Put(const typename Kind::Key& key, const ByodDeviceInfo* info) {
    std::get<Map<Kind>>(maps_).insert_or_assign(key, info != nullptr ? *info : ByodDeviceInfo());
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

  /// Puts the rules for which there is room now into their tables.
  void Retry();

 private:
  std::tuple<Map<DhcpOptionKind>, Map<MacKind>, Map<UserAgentKind>> maps_;
};

/// Says in the log that a stored rule is not in effect, and why.
template <typename Kind>
void LogIdle(const typename Kind::Key& key);

}  // namespace byod::lauthd

#endif  // LAUTHD_IDLE_RULES_H
