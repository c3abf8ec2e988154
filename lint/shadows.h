// SPDX-License-Identifier: Apache-2.0
// Finds an earlier rule that matches everything that an alternative matches.
#ifndef BYOD_LINT_SHADOWS_H
#define BYOD_LINT_SHADOWS_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lint/expression.h"

namespace byod::lint {

/**
 * Alternatives of the rules tried so far.
 *
 * Each is filed under one of its terms, the one with the fewest entries. An alternative that is
 * implied by another has that term inside a term of the other, so a look-up of every part of the
 * other's terms finds it. Only parts are looked up whose length some filed term has.
 */
class Shadows {
 public:
  /// @param rule   its number, from Find
  /// @param terms  at least one; the texts are borrowed
  void Add(size_t rule, const Terms& terms);

  /// @return the first rule added of those that match whenever all of these terms occur
  std::optional<size_t> Find(const Terms& terms) const;

 private:
  struct Filed {
    size_t order;
    size_t rule;
    Terms terms;
  };

  std::unordered_map<std::string_view, std::vector<Filed>> filed_;
  std::vector<bool> lengths_;  // of filed terms
  size_t count_ = 0;
};

}  // namespace byod::lint

#endif  // BYOD_LINT_SHADOWS_H
