// SPDX-License-Identifier: Apache-2.0
// The checks of each kind of rule. docs/rule-files.md explains them one by one.
#ifndef BYOD_LINT_RULE_LINT_H
#define BYOD_LINT_RULE_LINT_H

#include <vector>

#include "lint/finding.h"
#include "lint/numbered_store.h"
#include "rulefiles/rule_file.h"

namespace byod::lint {

/// @param rules  those of the store, by their numbers
/// @param out    findings are added to it
void CheckUserAgentRules(const std::vector<rulefiles::TextRule>& rules, const NumberedStore& store,
                         std::vector<Finding>& out);

/// As CheckUserAgentRules.
void CheckDhcpOptionRules(const std::vector<rulefiles::TextRule>& rules, const NumberedStore& store,
                          std::vector<Finding>& out);

/// As CheckUserAgentRules. Rules of the registry, which has none of these columns, pass.
void CheckMacRules(const std::vector<rulefiles::MacRule>& rules, const NumberedStore& store,
                   std::vector<Finding>& out);

/**
 * Checks that successors are rules, and what they succeed is none.
 *
 * @param has_registry  whether the rules are those of the registry, too: else a successor in it is
 *                      not known
 */
void CheckSuccessors(const rulefiles::RuleSet& rules, bool has_registry, std::vector<Finding>& out);

}  // namespace byod::lint

#endif  // BYOD_LINT_RULE_LINT_H
