// What the service manager wants to know.
#ifndef LAUTHD_SERVER_MANAGER_H
#define LAUTHD_SERVER_MANAGER_H

#include <chrono>
#include <optional>

namespace byod::lauthd {

void TellManagerReady();
void TellManagerReloading();
void TellManagerStopping();

/// How long the manager waits for a sign of life before it starts the daemon again; none when it
/// does not.
std::optional<std::chrono::microseconds> ManagerPatience();
void TellManagerAlive();

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_MANAGER_H
