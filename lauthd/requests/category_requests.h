// SPDX-License-Identifier: Apache-2.0
// The categories that rules answer.
#ifndef LAUTHD_REQUESTS_CATEGORY_REQUESTS_H
#define LAUTHD_REQUESTS_CATEGORY_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ListCategories(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_CATEGORY_REQUESTS_H
