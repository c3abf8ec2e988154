// SPDX-License-Identifier: Apache-2.0
// Requests that read one rule, or count them.
#ifndef LAUTHD_REQUESTS_RULE_QUERIES_H
#define LAUTHD_REQUESTS_RULE_QUERIES_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

// For each of the kinds in rule_kind.h.

template <typename Kind>
Result QueryRule(Exchange& exchange);

template <typename Kind>
Result CountRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_RULE_QUERIES_H
