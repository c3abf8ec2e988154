// SPDX-License-Identifier: Apache-2.0
// The requests that read and change what an administrator configures: rules, order, authorization.
#ifndef LAUTHD_REQUESTS_CONFIGURATION_ROWS_H
#define LAUTHD_REQUESTS_CONFIGURATION_ROWS_H

#include "lauthd/requests/row.h"

namespace byod::lauthd {

/// Every change in this table may be part of a bulk; no other change may.
/// @return null for a message that is not in the table
const Row* FindConfigurationRow(uint32_t kind);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_CONFIGURATION_ROWS_H
