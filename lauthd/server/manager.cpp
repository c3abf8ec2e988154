// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/manager.h"

#include <systemd/sd-daemon.h>
#include <time.h>

#include <cinttypes>
#include <cstdint>

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

}  // namespace byod::lauthd
