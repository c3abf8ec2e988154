// SPDX-License-Identifier: Apache-2.0
// Exchanging the predefined rules under the administrator's.
#ifndef LAUTHD_STATE_RELOAD_H
#define LAUTHD_STATE_RELOAD_H

#include "lauthd/state/idle_rules.h"
#include "lauthd/state/result.h"
#include "lauthd/state/rule_source.h"

namespace byod::lauthd {

/**
 * Replaces the predefined rules and lays what the administrator made over the new ones, as a
 * restart would. A rule of the administrator's for which the new ones leave no place becomes an
 * idle one, and an idle one that has a place now takes effect. With a bad row all rules stay as
 * they are. Listings go on where they were.
 *
 * @return NoChange when the new rules are the old ones
 */
Result ReplacePredefined(const RuleSource& source, uint32_t rule_limit, IdleRules& idle);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RELOAD_H
