// Finds, among the rules that are tried before, the one that leaves an alternative nothing to
// match.
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
 * Each is filed under the one of its terms that least is filed under. One that another alternative
 * implies has that term inside a term of the other, so looking up every part of the other's terms
 * finds it; only parts of lengths that something is filed under are looked up.
 */
class Shadows {
 public:
  /// @param rule   its number, told by Find
  /// @param terms  at least one; what they point to is borrowed
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
  std::vector<bool> lengths_;  // of the terms that something is filed under
  size_t count_ = 0;
};

}  // namespace byod::lint

#endif  // BYOD_LINT_SHADOWS_H
