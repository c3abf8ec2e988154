// The listings of the three tables.
#ifndef LAUTHD_LISTING_H
#define LAUTHD_LISTING_H

#include "lauthd/exchange.h"

namespace byod::lauthd {

Result ListDhcpOptionRules(Exchange& exchange);
Result ListUserAgentRules(Exchange& exchange);
Result ListMacRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_LISTING_H
