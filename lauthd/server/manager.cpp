#include "lauthd/server/manager.h"

#include <systemd/sd-daemon.h>
#include <time.h>

#include <cinttypes>
#include <cstdint>

namespace byod::lauthd {

void TellManagerReady() {
  sd_notify(0, "READY=1");
}

void TellManagerReloading() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t microseconds =
      static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
  sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%" PRIu64, microseconds);
}

void TellManagerStopping() {
  sd_notify(0, "STOPPING=1");
}

std::optional<std::chrono::microseconds> ManagerPatience() {
  uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) <= 0) return std::nullopt;
  return std::chrono::microseconds(microseconds);
}

void TellManagerAlive() {
  sd_notify(0, "WATCHDOG=1");
}

}  // namespace byod::lauthd
