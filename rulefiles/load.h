// SPDX-License-Identifier: Apache-2.0
// Hands predefined rules in to the rule store.
#ifndef BYOD_RULEFILES_LOAD_H
#define BYOD_RULEFILES_LOAD_H

#include <cstddef>
#include <functional>

#include "rulefiles/rule_set.h"

namespace byod::rulefiles {

/// Called now and then, and at the end.
using Progress = std::function<void(size_t done, size_t of)>;

/**
 * Adds every rule of a set to the store, which is there. A rule that its table does not take (it
 * overlaps a rule that was in the table before, or memory is short) is reported.
 *
 * @return the number of rules that the tables took
 */
size_t Load(const RuleSet& set, Diagnostics& diagnostics, const Progress& progress = {});

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_LOAD_H
