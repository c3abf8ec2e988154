// Requests about the daemon itself.
#ifndef LAUTHD_STATE_REQUESTS_H
#define LAUTHD_STATE_REQUESTS_H

#include "lauthd/exchange.h"

namespace byod::lauthd {

Result ShowStatus(Exchange& exchange);
Result ShowUnknowns(Exchange& exchange);
Result ForgetUnknowns(Exchange& exchange);
Result StartWatch(Exchange& exchange);
Result ReloadRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_REQUESTS_H
