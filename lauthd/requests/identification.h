// SPDX-License-Identifier: Apache-2.0
// Requests that ask what a terminal is.
#ifndef LAUTHD_REQUESTS_IDENTIFICATION_H
#define LAUTHD_REQUESTS_IDENTIFICATION_H

#include "byod_data.h"
#include "explain/rule_search.h"
#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result QueryDeviceName(Exchange& exchange);
Result QueryVendor(Exchange& exchange);
Result QueryAttributes(Exchange& exchange);
Result Identify(Exchange& exchange);
Result Explain(Exchange& exchange);

/// What is known of a terminal. A text that is not known is empty.
struct Identity {
  char name[BYOD_DEVNAME_SIZE] = "";
  char derived_vendor[BYOD_ATTR_SIZE] = "";
  ByodDeviceAttribute attributes = {};

  bool Known() const {
    return name[0] != '\0' || attributes.vendor[0] != '\0' || attributes.category[0] != '\0' ||
           attributes.os[0] != '\0';
  }
};

/// Derives all that is known of a terminal from the rules that match it.
Identity IdentityFrom(explain::RuleSearch& rules);

/// Reads the fingerprint of a request.
Result ReadFingerPrint(uint32_t request, ByodFingerPrint& fingerprint);

/// Appends a fingerprint's parts, as far as there are any.
void AppendFingerPrint(tlv::Appender& append, const ByodFingerPrint& fingerprint);

/// Appends what is known of a terminal.
void AppendIdentity(tlv::Appender& append, const Identity& identity);

/// Counts an identification, reports it to the clients that watch, and notes a fingerprint with a
/// part that no rule matched.
///
/// @param code  what the client is answered
void RecordIdentification(Exchange& exchange, explain::RuleSearch& rules, uint32_t code,
                          const Identity& identity);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_IDENTIFICATION_H
