// SPDX-License-Identifier: Apache-2.0
// A plain reading of what User-Agent expressions say.
#ifndef BYOD_TESTS_SUPPORT_PLAIN_MATCH_H
#define BYOD_TESTS_SUPPORT_PLAIN_MATCH_H

#include <algorithm>
#include <string_view>

namespace byod::test {

inline bool HasEveryTerm(std::string_view ua, std::string_view alternative) {
  while (!alternative.empty()) {
    const size_t end = std::min(alternative.find('&'), alternative.size());
    if (ua.find(alternative.substr(0, end)) == std::string_view::npos) return false;
    alternative.remove_prefix(std::min(end + 1, alternative.size()));
  }
  return true;
}

/// Whether an expression of at most 255 bytes matches a User-Agent.
inline bool Matches(std::string_view ua, std::string_view expression) {
  bool any = false;
  while (!expression.empty()) {
    const size_t end = std::min(expression.find('|'), expression.size());
    if (end > 0) {
      any = true;
      if (HasEveryTerm(ua, expression.substr(0, end))) return true;
    }
    expression.remove_prefix(std::min(end + 1, expression.size()));
  }
  return !any;
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_PLAIN_MATCH_H
