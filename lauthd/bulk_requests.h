// Many changes in one: requests by phases.
#ifndef LAUTHD_BULK_REQUESTS_H
#define LAUTHD_BULK_REQUESTS_H

#include "lauthd/exchange.h"

namespace byod::lauthd {

Result ChangeBulk(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_BULK_REQUESTS_H
