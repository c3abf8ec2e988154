// SPDX-License-Identifier: Apache-2.0
// Notifications to the service manager.
#ifndef LAUTHD_SERVER_MANAGER_H
#define LAUTHD_SERVER_MANAGER_H

#include <chrono>
#include <optional>

namespace byod::lauthd {

void NotifyManagerReady();
void NotifyManagerReloading();
void NotifyManagerStopping();

/// After how long without NotifyManagerAlive the manager starts the daemon again; none: never.
std::optional<std::chrono::microseconds> ManagerWatchdog();
void NotifyManagerAlive();

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_MANAGER_H
