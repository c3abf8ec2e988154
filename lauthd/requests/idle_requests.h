// SPDX-License-Identifier: Apache-2.0
// The listing of the rules that are stored but not in effect.
#ifndef LAUTHD_REQUESTS_IDLE_REQUESTS_H
#define LAUTHD_REQUESTS_IDLE_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ListIdleRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_IDLE_REQUESTS_H
