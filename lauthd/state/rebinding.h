// SPDX-License-Identifier: Apache-2.0
// Moves stored modifications whose predefined rules are gone to the rules that answer instead.
#ifndef LAUTHD_STATE_REBINDING_H
#define LAUTHD_STATE_REBINDING_H

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "lauthd/state/idle_rules.h"
#include "lauthd/state/result.h"

namespace byod::lauthd {

class Store;

/// A stored modification whose rule is not in the catalogue, and where it can go.
template <typename Kind>
struct Binding {
  typename Kind::Key key;
  IdleRule rule;
  std::string successor;                  // as it is shown; empty: the catalogue names none
  typename Kind::Rule* target = nullptr;  // the successor, which can take it; null: it stays
  std::string why_not = {};               // it stays, as people read it
};

/**
 * What becomes of all of them. A modification stays stored where it is while its successor is
 * missing, or is modified already: two modifications are never mixed.
 */
class Rebinding {
 public:
  /// Valid until rules change. @throws std::bad_alloc
  explicit Rebinding(const IdleRules& idle);

  template <typename Kind>
  const std::vector<Binding<Kind>>& Of() const {
    return std::get<std::vector<Binding<Kind>>>(bindings_);
  }

  /// All of them, and those that have a rule to go to.
  size_t count() const { return count_; }
  size_t movable() const { return movable_; }

  /**
   * Moves those that can be, all or none, in one transaction.
   *
   * @return NoChange when there is none
   * @throws std::bad_alloc  with nothing changed
   */
  Result CarryOut(IdleRules& idle, Store& store);

 private:
  template <typename Kind>
  void Plan(const IdleRules& idle);

  std::tuple<std::vector<Binding<DhcpOptionKind>>, std::vector<Binding<MacKind>>,
             std::vector<Binding<UserAgentKind>>>
      bindings_;
  size_t count_ = 0;
  size_t movable_ = 0;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_REBINDING_H
