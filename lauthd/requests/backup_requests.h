// SPDX-License-Identifier: Apache-2.0
// Sending the database as a file's bytes, and taking one back.
#ifndef LAUTHD_REQUESTS_BACKUP_REQUESTS_H
#define LAUTHD_REQUESTS_BACKUP_REQUESTS_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result SendBackup(Exchange& exchange);
Result TakeRestore(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_BACKUP_REQUESTS_H
