// What has to be done so that the daemon's configuration says what a file says.
#ifndef BYODCTL_RULES_DESIRED_RULES_H
#define BYODCTL_RULES_DESIRED_RULES_H

#include <optional>
#include <vector>

#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/rule_csv.h"

namespace byod::ctl {

/// What is to become of one rule.
struct DesiredRule {
  Rule rule;
  rulefiles::Place place;  ///< of its row; without a file when the rule is to go
  /// What was configured of the rule, when the row is to say all of it; else what the row leaves
  /// empty stays as it is.
  std::optional<Rule> configured;

  bool IsRemoval() const { return place.file == nullptr; }
};

/// A rule for each row; what a row leaves empty stays.
std::vector<DesiredRule> AddedRules(std::vector<PlacedRule> rows);

/**
 * Lists what the daemon has configured of the kinds that a file holds, and finds out what has to
 * change so that it is exactly what the rows say.
 *
 * @return first the rules that no row names, which have to make room, then a rule for each row
 */
std::vector<DesiredRule> ReplacedRules(Client& client, RuleCsv file);

/// The changes that make a rule what is desired of it. The first one says whether the rule is new.
void AppendChanges(const DesiredRule& desired, std::vector<Request>& changes);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_DESIRED_RULES_H
