// SPDX-License-Identifier: Apache-2.0
// In place of manager.cpp where there is no service manager, and no library to talk to one.
#include "lauthd/server/manager.h"

namespace byod::lauthd {

void NotifyManagerReady() {}
void NotifyManagerReloading() {}
void NotifyManagerStopping() {}
std::optional<std::chrono::microseconds> ManagerWatchdog() {
  return std::nullopt;
}
void NotifyManagerAlive() {}

std::optional<int> SocketFromManager() {
  return std::nullopt;
}

}  // namespace byod::lauthd
