// SPDX-License-Identifier: Apache-2.0
// The listings of the tables.
#ifndef LAUTHD_REQUESTS_LISTING_H
#define LAUTHD_REQUESTS_LISTING_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

/// For each of the kinds in rule_kind.h.
template <typename Kind>
Result ListRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_LISTING_H
