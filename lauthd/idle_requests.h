// The listing of the rules that are stored but not in effect.
#ifndef LAUTHD_IDLE_REQUESTS_H
#define LAUTHD_IDLE_REQUESTS_H

#include "lauthd/exchange.h"

namespace byod::lauthd {

Result ListIdleRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_IDLE_REQUESTS_H
