// Asks the library itself which rule wins.
#ifndef BYOD_LINT_NUMBERED_STORE_H
#define BYOD_LINT_NUMBERED_STORE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rulefiles/rule_set.h"

namespace byod::lint {

/**
 * The rules of a set in the tables of the library, each with its place in the set as the name of
 * its device: what a lookup answers is the number of the rule that wins.
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

  /// The rule that decides, if any does. Of a User-Agent the first 255 bytes count, which is what
  /// an access device keeps.
  static std::optional<size_t> WinnerOnUserAgent(const std::string& user_agent);
  static std::optional<size_t> WinnerOnOptions(const std::string& options);
  static std::optional<size_t> WinnerOnAddress(const rulefiles::MacAddress& mac);
};

}  // namespace byod::lint

#endif  // BYOD_LINT_NUMBERED_STORE_H
