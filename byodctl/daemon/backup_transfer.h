// SPDX-License-Identifier: Apache-2.0
// Sends what an administrator configured from and to the daemon, as the bytes of a file.
#ifndef BYODCTL_DAEMON_BACKUP_TRANSFER_H
#define BYODCTL_DAEMON_BACKUP_TRANSFER_H

#include <cstdint>
#include <functional>
#include <string>

#include "byodctl/daemon/client.h"

namespace byod::ctl {

/// Calls write for every piece, in order.
/// @return the size of all of them
uint64_t ReceiveBackup(Client& client, const std::function<void(const std::string&)>& write);

/**
 * The daemon checks all of it before it changes anything.
 *
 * @param read  returns the next bytes, at most that many, and some until there are total
 * @throws Refusal
 */
void SendBackup(Client& client, uint64_t total, const std::function<std::string(size_t)>& read);

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_BACKUP_TRANSFER_H
