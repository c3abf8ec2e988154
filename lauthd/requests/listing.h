// The listings of the three tables.
#ifndef LAUTHD_REQUESTS_LISTING_H
#define LAUTHD_REQUESTS_LISTING_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ListDhcpOptionRules(Exchange& exchange);
Result ListUserAgentRules(Exchange& exchange);
Result ListMacRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_LISTING_H
