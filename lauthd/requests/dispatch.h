// SPDX-License-Identifier: Apache-2.0
// Which function handles which message, and who may send it.
#ifndef LAUTHD_REQUESTS_DISPATCH_H
#define LAUTHD_REQUESTS_DISPATCH_H

#include "lauthd/requests/row.h"

namespace byod::lauthd {

/// How a request is to be answered: by a handler, or with a refusal.
struct Task {
  Handler handler = nullptr;
  bool waits_for_bulk = false;  // must not run while another client's bulk is open
  Result refusal;
};

/// Reads kind and operation of a request into the exchange, and checks its form and whether the
/// client may send it.
Task FindTask(Exchange& exchange);

/// Runs the task's handler, if it has one, and counts the request.
Result Perform(Task& task, Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_DISPATCH_H
