// SPDX-License-Identifier: Apache-2.0
// Checks rule files as a whole: rules that conflict with each other, and rules that nothing
// matches.
//
// docs/rule-files.md lists the checks. They are exact in one direction: a rule that is reported
// never to win never wins. Expressions are compared by the texts of their terms alone: whether one
// matches whenever the other does. Which texts terminals really send is not known here.
#ifndef BYOD_LINT_LINT_H
#define BYOD_LINT_LINT_H

#include <vector>

#include "lint/finding.h"
#include "rulefiles/rule_set.h"

namespace byod::lint {

struct Report {
  rulefiles::RuleSet rules;       ///< those that the tables take
  size_t evidence = 0;            ///< the number of rules for evidence
  std::vector<Finding> findings;  ///< by file and line
};

/**
 * Reads the rules of the sources and checks those of the rule files; rules of the registry matter
 * only where they conflict with these. Rows that cannot be used are findings too.
 *
 * Uses the process's rule store, there is one at a time.
 *
 * @throws std::runtime_error without memory for the store
 */
Report Check(const rulefiles::Sources& sources);

}  // namespace byod::lint

#endif  // BYOD_LINT_LINT_H
