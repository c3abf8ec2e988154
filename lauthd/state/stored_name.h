// SPDX-License-Identifier: Apache-2.0
// The names of MAC rules in the database, which knows them by their addresses alone.
#ifndef LAUTHD_STATE_STORED_NAME_H
#define LAUTHD_STATE_STORED_NAME_H

#include "lauthd/state/idle_rules.h"
#include "lauthd/state/result.h"

namespace byod::lauthd {

/**
 * Gives a rule that is to be stored a name that no other has. One may begin where another does;
 * then bits behind the prefix tell them apart.
 *
 * @param key   of the rule
 * @param rule  gets the name; null: the key gets it, with which the rule is made
 */
Result ChooseName(const IdleRules& idle, ByodMacRule& key, ByodMacRule* rule);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_STORED_NAME_H
