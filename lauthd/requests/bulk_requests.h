// SPDX-License-Identifier: Apache-2.0
// Many changes in one: requests by phases.
#ifndef LAUTHD_REQUESTS_BULK_REQUESTS_H
#define LAUTHD_REQUESTS_BULK_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ChangeBulk(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_BULK_REQUESTS_H
