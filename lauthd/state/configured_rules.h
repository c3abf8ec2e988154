// SPDX-License-Identifier: Apache-2.0
// The rules of a kind that an administrator made or modified, in the order of their table: so that
// they are counted and paged through without walking the table.
//
// This is kept beside the tables as they change. Without memory for it, and after the tables were
// filled by the library, it is dropped, and built again by the next question.
#ifndef LAUTHD_STATE_CONFIGURED_RULES_H
#define LAUTHD_STATE_CONFIGURED_RULES_H

#include <cstring>
#include <functional>
#include <new>
#include <set>

#include "byod_data.h"
#include "lauthd/state/mac_rule_set.h"
#include "lauthd/state/origin.h"

namespace byod::lauthd {

/// How the rules named by a text stand in order. Of several with one text each is an entry.
template <typename TextRule, auto kText>
struct ConfiguredTexts {
  using Rule = TextRule;
  using Entry = Rule*;
  using Place = const char*;

  static Entry EntryOf(Rule& rule) { return &rule; }

  struct Less {
    using is_transparent = void;
    bool operator()(const Rule* a, const Rule* b) const {
      const int order = std::strcmp(a->*kText, b->*kText);
      return order != 0 ? order < 0 : std::less<const Rule*>()(a, b);
    }
    bool operator()(const Rule* a, Place b) const { return std::strcmp(a->*kText, b) < 0; }
    bool operator()(Place a, const Rule* b) const { return std::strcmp(a, b->*kText) < 0; }
  };
};

/// By value: the record of a MAC rule may become that of another one.
struct ConfiguredBlocks {
  using Rule = ByodMacRule;
  using Entry = MacRuleSet::Prefix;
  using Place = Entry;
  using Less = std::less<>;

  static Entry EntryOf(const Rule& rule) { return MacRuleSet::PlaceOf(rule); }
};

/// One of each kind in a process, as there is one table.
template <typename Order>
class ConfiguredRules {
 public:
  using Rule = typename Order::Rule;
  using Entry = typename Order::Entry;

  static ConfiguredRules& Get() {
    static ConfiguredRules rules;
    return rules;
  }

  /// From here on the rules are kept here. The table has no configured rule.
  void Begin() {
    Drop();
    in_use_ = complete_ = true;
  }
  void End() {
    Drop();
    in_use_ = false;
  }

  /// Called when the table has been changed in other ways than are noticed here.
  void Drop() {
    entries_.clear();
    complete_ = false;
  }

  /// Called when a rule has been made, and after each change of what it says.
  void Update(Rule& rule) {
    if (!complete_) return;
    if (IsConfigured(rule.origin, rule.modified)) {
      Insert(rule);
    } else {
      Leave(rule);
    }
  }

  /// Called before a rule is erased.
  void Leave(Rule& rule) {
    if (complete_) entries_.erase(Order::EntryOf(rule));
  }

  /// Called before a rule is erased that another record with the same key replaces.
  void Move(Rule& from, Rule& to) {
    auto node = entries_.extract(Order::EntryOf(from));
    if (node.empty()) return;
    node.value() = Order::EntryOf(to);
    entries_.insert(std::move(node));
  }

  /**
   * Builds what is missing.
   *
   * @param for_each  (take): calls take(rule) for all rules of the table
   * @return false without memory: the table has to be walked
   */
  template <typename ForEach>
  bool Complete(ForEach for_each) {
    if (complete_ || !in_use_) return complete_;
    complete_ = true;
    for_each([this](Rule& rule) { Update(rule); });
    return complete_;
  }

  /// Once it is complete. @return null at the end
  const Entry* FirstBehind(typename Order::Place place) const {
    const auto found = entries_.upper_bound(place);
    return found != entries_.end() ? &*found : nullptr;
  }
  size_t size() const { return entries_.size(); }

 private:
  void Insert(Rule& rule) {
    try {
      entries_.insert(Order::EntryOf(rule));
    } catch (const std::bad_alloc&) {
      Drop();
    }
  }

  std::set<Entry, typename Order::Less> entries_;
  bool in_use_ = false;
  bool complete_ = false;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_CONFIGURED_RULES_H
