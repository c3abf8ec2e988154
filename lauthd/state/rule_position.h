// SPDX-License-Identifier: Apache-2.0
// A position at a rule, and the list of all positions at rules of its type.
#ifndef LAUTHD_STATE_RULE_POSITION_H
#define LAUTHD_STATE_RULE_POSITION_H

namespace byod::lauthd {

/// What RuleCursor shares with code that replaces the records of rules. The tables are global to
/// the process, and so is the list.
template <typename Rule>
class RulePosition {
 public:
  RulePosition(const RulePosition&) = delete;
  RulePosition& operator=(const RulePosition&) = delete;

  /// Called before a rule is erased that another record replaces.
  static void Move(const Rule* from, Rule* to) {
    for (RulePosition* position = first_; position != nullptr;
         position = position->next_position_) {
      if (position->next_ == from) position->next_ = to;
    }
  }

 protected:
  explicit RulePosition(Rule* next) : next_(next), next_position_(first_) { first_ = this; }
  ~RulePosition() {
    RulePosition** link = &first_;
    while (*link != this)
      link = &(*link)->next_position_;
    *link = next_position_;
  }

  /// Calls call(position) for all positions.
  template <typename Call>
  static void ForEach(Call call) {
    for (RulePosition* position = first_; position != nullptr; position = position->next_position_)
      call(position);
  }

  Rule* next_;

 private:
  static inline RulePosition* first_ = nullptr;

  RulePosition* next_position_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RULE_POSITION_H
