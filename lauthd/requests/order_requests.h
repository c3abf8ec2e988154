// SPDX-License-Identifier: Apache-2.0
// Requests about the order of identification.
#ifndef LAUTHD_REQUESTS_ORDER_REQUESTS_H
#define LAUTHD_REQUESTS_ORDER_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ShowOrder(Exchange& exchange);
Result ChangeOrder(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_ORDER_REQUESTS_H
