// Exchanging the predefined rules under the administrator's.
#ifndef LAUTHD_RELOAD_H
#define LAUTHD_RELOAD_H

#include "lauthd/result.h"
#include "lauthd/rule_source.h"

namespace byod::lauthd {

/**
 * Replaces the predefined rules and lays what the administrator made over the new ones, as a
 * restart would. Everything is judged before anything is touched: a bad row, or a new rule that
 * leaves no place for one of the administrator's, and all rules stay as they are. Listings go on
 * where they were.
 */
Result ReplacePredefined(const RuleSource& source, uint32_t rule_limit);

/// Takes all that an administrator made out of the tables; the predefined rules stay.
void DropConfigured();

}  // namespace byod::lauthd

#endif  // LAUTHD_RELOAD_H
