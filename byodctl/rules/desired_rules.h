// SPDX-License-Identifier: Apache-2.0
// The changes that make the daemon's configuration that of a file.
#ifndef BYODCTL_RULES_DESIRED_RULES_H
#define BYODCTL_RULES_DESIRED_RULES_H

#include <optional>
#include <vector>

#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/rule_csv.h"

namespace byod::ctl {

/// The desired state of one rule.
struct DesiredRule {
  Rule rule;
  rulefiles::Place place;  ///< of its row; without a file when the rule is to be removed
  /// What is configured now, when the row is to replace all of it; otherwise fields that the row
  /// leaves empty are unchanged.
  std::optional<Rule> configured;
  /// The rule is there by another key, which is changed before.
  bool is_moved = false;

  bool IsRemoval() const { return place.file == nullptr; }
};

struct DesiredRules {
  std::vector<Request> moves;  ///< changes of keys, to be made first
  std::vector<DesiredRule> rules;
};

/// A rule for each row; fields that a row leaves empty are unchanged.
DesiredRules AddedRules(Client& client, RuleCsv file);

/**
 * Compares what is configured of a file's kinds with the rows.
 *
 * @return first the rules to remove, which no row names, so that there is room; then a rule for
 * each row
 */
DesiredRules ReplacedRules(Client& client, RuleCsv file);

/// Appends the requests that bring about the desired state. The result of the first shows whether
/// the rule is new.
void AppendChanges(const DesiredRule& desired, std::vector<Request>& changes);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_DESIRED_RULES_H
