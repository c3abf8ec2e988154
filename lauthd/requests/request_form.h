// SPDX-License-Identifier: Apache-2.0
// What every request has: an operation and a kind, and numbers of the right size.
#ifndef LAUTHD_REQUESTS_REQUEST_FORM_H
#define LAUTHD_REQUESTS_REQUEST_FORM_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

/// Reads operation and kind of a request into its exchange. @return false when one is missing
bool ReadKind(Exchange& exchange);

/// Whether an operation is set or undo.
bool IsChange(uint32_t operation);

/// Checks what holds for requests of every kind; the kind has been read.
Result CheckForm(const Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_REQUEST_FORM_H
