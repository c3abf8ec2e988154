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

/// The listening socket that the manager passes on, and keeps when the daemon ends: clients that
/// connect in between wait. None when it passes on nothing.
/// @throws std::runtime_error  for anything but one listening Unix socket
std::optional<int> SocketFromManager();

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_MANAGER_H
