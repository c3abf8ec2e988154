// SPDX-License-Identifier: Apache-2.0
// Modifications of predefined rules that are gone: where they can go, and taking them there.
#ifndef LAUTHD_REQUESTS_REBIND_REQUESTS_H
#define LAUTHD_REQUESTS_REBIND_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

class IdleRules;

/// Lists them, each with its successor, and with a reason if it would stay.
Result ListBindings(Exchange& exchange);

/// Moves those that have a rule to go to, all or none, and lists what became of each.
Result Rebind(Exchange& exchange);

/// Appends how many there are, and how many of them have a rule to go to.
void AppendBindingCounts(tlv::Appender& append, const IdleRules& idle);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_REBIND_REQUESTS_H
