// SPDX-License-Identifier: Apache-2.0
// Many changes that take effect together or not at all.
#ifndef LAUTHD_STATE_BULK_H
#define LAUTHD_STATE_BULK_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "byod_order.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/idle_rules.h"
#include "lauthd/state/rule_state.h"

namespace byod::lauthd {

/**
 * While a bulk is open, this remembers the first state of all that it changes. An abort restores
 * that state; a commit stores what differs from it, once, however often it was changed.
 *
 * An abort needs no memory: all that it needs is allocated before a change is made, and a custom
 * rule that is deleted stays in its table, withdrawn, until the bulk has ended.
 */
class Bulk {
 public:
  bool Open() const { return open_; }
  void Begin() { open_ = true; }

  /// Allocates what Remember needs for one more rule: once a rule has been changed, remembering
  /// what it was cannot fail. @throws std::bad_alloc
  template <typename Kind>
  void MakeRoom() {
    if (!open_ || !std::get<Spare<Kind>>(spares_).empty()) return;
    Rules<Kind> one;
    one.try_emplace({});
    std::get<Spare<Kind>>(spares_) = one.extract(one.begin());
  }

  /// Called after every change of a rule, for which MakeRoom was called before; does nothing
  /// outside of a bulk.
  template <typename Kind>
  void Remember(const typename Kind::Key& key, FormerRule<Kind> former) {
    if (!open_ || RulesOf<Kind>().contains(key)) return;
    auto& spare = std::get<Spare<Kind>>(spares_);
    spare.key() = key;
    spare.mapped() = std::move(former);
    RulesOf<Kind>().insert(std::move(spare));
  }

  /// Deletes a custom rule in an open bulk; MakeRoom was called before.
  template <typename Kind>
  void Delete(typename Kind::Rule* rule) {
    const auto key = Kind::KeyOf(*rule);
    const auto former = RulesOf<Kind>().find(key);
    const bool is_new =
        former != RulesOf<Kind>().end() && !former->second.existed && !former->second.has_other_key;
    if (is_new) return EraseRule<Kind>(rule);
    Remember<Kind>(key, FormerRule<Kind>::Withdrawn());
    WithdrawRule<Kind>(rule);
  }

  /// Makes a withdrawn rule one without information, as if it had been erased and made again;
  /// MakeRoom was called before.
  template <typename Kind>
  void Reuse(typename Kind::Rule* rule, const typename Kind::Key& key) {
    const auto former_key = Kind::KeyOf(*rule);
    const auto former = RulesOf<Kind>().find(former_key);
    ReinstateRule<Kind>(rule);
    OwnedInfo info = ExchangeInfo<Kind>(*rule, nullptr);
    if (std::exchange(former->second.keeps_info, false)) former->second.info = std::move(info);
    if (Kind::SameKey(former_key, key)) return;
    Kind::TakeName(*rule, key);
    Remember<Kind>(key, FormerRule<Kind>::OfOtherKey());
  }

  /// Gives up a rule that a failed change has just made.
  template <typename Kind>
  void Discard(typename Kind::Rule* rule) {
    if (RulesOf<Kind>().contains(Kind::KeyOf(*rule))) return Delete<Kind>(rule);
    EraseRule<Kind>(rule);
  }
  void Remember(const ByodOrder& order) {
    if (open_ && !order_) order_ = order;
  }
  /// @throws std::bad_alloc, with nothing changed
  void Remember(const IdleRules& idle) {
    if (open_ && !idle_) idle_ = idle;
  }
  /// Called before a set is changed. @throws std::bad_alloc, with nothing changed
  void Remember(const Authorization& authorization, const std::string& group,
                const std::string& category) {
    if (!open_) return;
    if (!authorization_) authorization_ = authorization;
    sets_.emplace(group, category);
  }

  /// Stores the current state of all that has changed. @return 0, or anything else for failure
  uint32_t Save(const IdleRules& idle, const Authorization& authorization) const;

  /// Ends the bulk and keeps its changes.
  void Finish();

  /// Ends the bulk and undoes its changes. Needs no memory.
  void RollBack(IdleRules& idle, Authorization& authorization);

 private:
  /// In the order of the database, so that a commit appends to it.
  template <typename Kind>
  using Rules = std::map<typename Kind::Key, FormerRule<Kind>, DatabaseOrder<Kind>>;

  template <typename Kind>
  Rules<Kind>& RulesOf() {
    return std::get<Rules<Kind>>(rules_);
  }
  template <typename Kind>
  const Rules<Kind>& RulesOf() const {
    return std::get<Rules<Kind>>(rules_);
  }

  // A map element that MakeRoom allocated; empty once it is in use.
  template <typename Kind>
  using Spare = typename Rules<Kind>::node_type;

  bool open_ = false;
  std::tuple<Spare<DhcpOptionKind>, Spare<UserAgentKind>, Spare<MacKind>> spares_;
  std::tuple<Rules<DhcpOptionKind>, Rules<UserAgentKind>, Rules<MacKind>> rules_;
  std::optional<IdleRules> idle_;
  std::optional<ByodOrder> order_;
  std::optional<Authorization> authorization_;
  std::set<std::pair<std::string, std::string>> sets_;  // the changed ones, by group and category
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_BULK_H
