// SPDX-License-Identifier: Apache-2.0
// Requests about the daemon itself.
#ifndef LAUTHD_REQUESTS_STATE_REQUESTS_H
#define LAUTHD_REQUESTS_STATE_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ShowStatus(Exchange& exchange);
Result ShowUnknowns(Exchange& exchange);
Result ForgetUnknowns(Exchange& exchange);
Result StartWatch(Exchange& exchange);
/// Lets the client watch a hub, unless there are too many watchers.
Result BeginWatch(Exchange& exchange, WatchHub& hub);
Result ReloadRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_STATE_REQUESTS_H
