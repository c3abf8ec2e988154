// SPDX-License-Identifier: Apache-2.0
// Which rules a listing shows.
#ifndef BYODCTL_RULES_RULE_FILTER_H
#define BYODCTL_RULES_RULE_FILTER_H

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "byodctl/command_line/parser.h"
#include "byodctl/daemon/settings.h"
#include "byodctl/rules/rule.h"

namespace byod::ctl {

/// Each condition narrows the listing, except that custom and modified together list what passes
/// either.
struct RuleFilter {
  bool custom = false;
  bool modified = false;
  /// By kDeviceFields: a part of the field's text in any case; empty = the field is empty.
  std::optional<std::string> fields[std::size(kDeviceFields)];
  std::optional<std::string> match;  ///< see Matches
  std::optional<std::string> wins;   ///< a fingerprint, see WinningRules

  void Declare(Parser& parser);

  bool ConfiguredOnly() const { return custom || modified; }
  bool Shows(const Rule& rule) const;
};

/**
 * Whether a rule is for a text: an expression for a User-Agent, a list for that list of options, a
 * block for an address in it or a block that overlaps it.
 */
bool Matches(const RuleKey& key, const std::string& text);

/**
 * Asks the daemon which rules decide part of the answer for a fingerprint.
 *
 * @param fingerprint  "mac=ADDRESS,dhcp=LIST,user-agent=TEXT", any of them, the User-Agent last; or
 *                     one value by itself, recognized by its form
 * @return their keys in the order in which they decide
 * @throws Failure of kExitBadInput for text that is not a fingerprint
 */
std::vector<RuleKey> WinningRules(const std::string& fingerprint, const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_RULE_FILTER_H
