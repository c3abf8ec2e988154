// Which function answers which message.
#ifndef LAUTHD_REQUESTS_DISPATCH_H
#define LAUTHD_REQUESTS_DISPATCH_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

using Handler = Result (*)(Exchange&);

/// What is to be done about a request: a handler, or a refusal.
struct Task {
  Handler handler = nullptr;
  bool changes = false;  // it must not meet another client's bulk
  Result refusal;
};

/// Reads kind and operation of a request into the exchange, and judges whether the client may ask
/// for that.
Task FindTask(Exchange& exchange);

/// Carries out one change of a bulk.
Result ApplyInBulk(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_DISPATCH_H
