// Checks rule files as a whole: rules that are in each other's way, and rules that nothing matches.
//
// Which checks there are is told in docs/rule-files.md. They are exact in one direction: a rule
// that is said never to win never wins. Of two expressions it is asked whether the texts of their
// terms alone decide that one matches whenever the other does; that no terminal happens to send a
// text is nothing that a lint knows.
#ifndef BYOD_LINT_LINT_H
#define BYOD_LINT_LINT_H

#include <vector>

#include "lint/finding.h"
#include "rulefiles/rule_set.h"

namespace byod::lint {

struct Report {
  rulefiles::RuleSet rules;       ///< those that the tables take
  std::vector<Finding> findings;  ///< by file and line
};

/**
 * Reads the rules of the sources and checks those of our own; the registry's are only what rules of
 * our own may be in the way of. Rows that cannot be used are findings too.
 *
 * Uses the process's rule store, of which there is one at a time.
 *
 * @throws std::runtime_error without memory for the store
 */
Report Check(const rulefiles::Sources& sources);

}  // namespace byod::lint

#endif  // BYOD_LINT_LINT_H
