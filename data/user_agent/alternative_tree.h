// SPDX-License-Identifier: Apache-2.0
// The alternatives that have one anchor, in the order of the match list.
#ifndef BYOD_DATA_USER_AGENT_ALTERNATIVE_TREE_H
#define BYOD_DATA_USER_AGENT_ALTERNATIVE_TREE_H

#include <cstdint>

#include "byod_data.h"

namespace byod::data {

struct Term;

/// Terms that must all occur.
struct Alternative {
  Alternative* left;  // in the tree of those with the same anchor, or without any
  Alternative* right;
  uint64_t label;  // the rule's
  const ByodUserAgentRule* rule;
  Term* anchor;  // one of the terms; null if there are none
  Term** terms;
  uint32_t term_count;
};

/**
 * A search tree by label, its nodes inside the alternatives. Along each path down the priorities
 * fall, and they are as good as random (a treap), so that paths are short whatever the order in
 * which rules come and go. New labels may be given at any time if they keep the order.
 *
 * Every step of a search goes one node down, so it ends.
 */
class AlternativeTree {
 public:
  bool empty() const { return root_ == nullptr; }

  void Insert(Alternative& alternative);
  void Erase(Alternative& alternative);

  /// Calls visit for one alternative after the other until it returns false.
  template <typename Visit>
  void VisitInOrder(Visit visit) const {
    VisitInOrder(root_, visit);
  }

 private:
  template <typename Visit>
  static bool VisitInOrder(const Alternative* at, Visit& visit) {
    for (; at != nullptr; at = at->right) {
      if (at->left != nullptr && !VisitInOrder(at->left, visit)) return false;
      if (!visit(*at)) return false;
    }
    return true;
  }

  Alternative* root_ = nullptr;
};

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_ALTERNATIVE_TREE_H
