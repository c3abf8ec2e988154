// SPDX-License-Identifier: Apache-2.0
// A position in a table of rules that stays valid while the table changes.
#ifndef LAUTHD_STATE_RULE_CURSOR_H
#define LAUTHD_STATE_RULE_CURSOR_H

#include <cstddef>

#include "lauthd/state/rule_kind.h"
#include "lauthd/state/rule_position.h"

namespace byod::lauthd {

/**
 * Walks a table while it is changed: a rule that is in the table all the time is visited exactly
 * once.
 *
 * All cursors of a kind are linked, so that a cursor can be advanced before the rule that it points
 * to is erased. Nothing else derives from RulePosition.
 */
template <typename Kind>
class RuleCursor : public RulePosition<typename Kind::Rule> {
  using Position = RulePosition<typename Kind::Rule>;
  using Position::next_;

 public:
  using Rule = typename Kind::Rule;

  RuleCursor() : Position(Kind::First()) {}

  /// @return the rule at the position, null at the end
  Rule* Here() const { return next_; }
  void Advance() { next_ = Kind::Next(next_); }

  /// Called before a rule is erased.
  static void Leave(Rule* rule) {
    ForEachCursor([rule](RuleCursor* cursor) {
      if (cursor->next_ == rule) cursor->Advance();
    });
  }

  /// Called before all rules are erased: saves the positions by key.
  static void LeaveAll() {
    ForEachCursor([](RuleCursor* cursor) { cursor->KeepKey(); });
  }

  /// Called when the tables have been filled again: restores the positions.
  static void ReturnAll() {
    ForEachCursor([](RuleCursor* cursor) { cursor->FindKey(); });
  }

 private:
  template <typename Call>
  static void ForEachCursor(Call call) {
    Position::ForEach([call](Position* position) { call(static_cast<RuleCursor*>(position)); });
  }

  void KeepKey() {
    at_end_ = next_ == nullptr;
    if (at_end_) return;
    key_ = Kind::KeyOf(*next_);
    // Of several rules with this key some may have been visited already.
    given_ = 0;
    for (Rule* rule = Kind::First(); rule != next_; rule = Kind::Next(rule)) {
      if (HasKey(*rule)) ++given_;
    }
    next_ = nullptr;
  }

  void FindKey() {
    next_ = nullptr;
    if (at_end_) return;
    next_ = Kind::First();
    while (next_ != nullptr && Kind::Before(*next_, key_))
      Advance();
    for (size_t i = 0; i < given_ && next_ != nullptr && HasKey(*next_); ++i)
      Advance();
  }

  bool HasKey(const Rule& rule) const { return Kind::SameKey(Kind::KeyOf(rule), key_); }

  typename Kind::Key key_ = {};
  size_t given_ = 0;
  bool at_end_ = false;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RULE_CURSOR_H
