// SPDX-License-Identifier: Apache-2.0
// Requests about the authorization of user groups.
#ifndef LAUTHD_REQUESTS_AUTHORIZATION_REQUESTS_H
#define LAUTHD_REQUESTS_AUTHORIZATION_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result ShowAuthorization(Exchange& exchange);
Result ChangeAuthorization(Exchange& exchange);

/// Reads the group of a request. @return false when it is too long; empty when there is none
bool ReadGroup(uint32_t request, std::string& group);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_AUTHORIZATION_REQUESTS_H
