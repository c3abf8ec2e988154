// SPDX-License-Identifier: Apache-2.0
// Finds which rule wins, by the library itself.
#ifndef BYOD_LINT_NUMBERED_STORE_H
#define BYOD_LINT_NUMBERED_STORE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rulefiles/rule_set.h"

namespace byod::lint {

/**
 * The rules of a set in the tables of the library. The name of each rule's device is the index of
 * the rule in the set, so a lookup returns the index of the rule that wins.
 *
 * Owns the process's rule store: there is one at a time.
 */
class NumberedStore {
 public:
  /// @throws std::runtime_error without memory for the store
  NumberedStore(const rulefiles::RuleSet& rules, rulefiles::Diagnostics& diagnostics);
  ~NumberedStore();
  NumberedStore(const NumberedStore&) = delete;
  NumberedStore& operator=(const NumberedStore&) = delete;

  /// The numbers of the User-Agent rules in the order in which they are tried.
  static std::vector<size_t> UserAgentRulesInMatchOrder();

  /// The rule that wins, if any does. The first 255 bytes of a User-Agent count, as in an access
  /// device.
  static std::optional<size_t> WinnerOnUserAgent(const std::string& user_agent);
  static std::optional<size_t> WinnerOnOptions(const std::string& options);
  static std::optional<size_t> WinnerOnAddress(const net::MacAddress& mac);
};

}  // namespace byod::lint

#endif  // BYOD_LINT_NUMBERED_STORE_H
