// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/manager.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <time.h>

#include <cinttypes>
#include <cstdint>
#include <stdexcept>

namespace byod::lauthd {

void NotifyManagerReady() {
  sd_notify(0, "READY=1");
}

void NotifyManagerReloading() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t microseconds =
      static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
  sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%" PRIu64, microseconds);
}

void NotifyManagerStopping() {
  sd_notify(0, "STOPPING=1");
}

std::optional<std::chrono::microseconds> ManagerWatchdog() {
  uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) <= 0) return std::nullopt;
  return std::chrono::microseconds(microseconds);
}

void NotifyManagerAlive() {
  sd_notify(0, "WATCHDOG=1");
}

std::optional<int> SocketFromManager() {
  const int count = sd_listen_fds(1);
  if (count == 0) return std::nullopt;
  constexpr int kInherited = SD_LISTEN_FDS_START;
  if (count != 1 || sd_is_socket_unix(kInherited, SOCK_STREAM, 1, nullptr, 0) <= 0) {
    throw std::runtime_error("the service manager passes on something else than one Unix socket");
  }
  const int flags = fcntl(kInherited, F_GETFL);
  if (flags < 0 || fcntl(kInherited, F_SETFL, flags | O_NONBLOCK) != 0) {
    throw std::runtime_error("cannot use the socket of the service manager");
  }
  return kInherited;
}

}  // namespace byod::lauthd
