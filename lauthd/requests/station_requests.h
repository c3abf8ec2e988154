// SPDX-License-Identifier: Apache-2.0
// Requests about the terminals that are remembered.
#ifndef LAUTHD_REQUESTS_STATION_REQUESTS_H
#define LAUTHD_REQUESTS_STATION_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result TakeSighting(Exchange& exchange);
Result ShowStation(Exchange& exchange);
Result ListStations(Exchange& exchange);
Result WatchStations(Exchange& exchange);
Result ForgetStation(Exchange& exchange);
Result ListFeeds(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_STATION_REQUESTS_H
