// SPDX-License-Identifier: Apache-2.0
// The time of day, as messages hold it.
#ifndef LAUTHD_REQUESTS_WALL_CLOCK_H
#define LAUTHD_REQUESTS_WALL_CLOCK_H

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

namespace byod::lauthd {

inline uint64_t MicrosecondsSince1970(
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now()) {
  const auto since = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return static_cast<uint64_t>(since.count());
}

/// As stations hold it; until the year 2106.
inline uint32_t SecondsSince1970() {
  return static_cast<uint32_t>(MicrosecondsSince1970() / 1'000'000);
}

/// @return the time of day in words, as in "09:41:07 UTC"
inline std::string TimeOfDay() {
  const time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  tm parts = {};
  char text[32] = "";
  if (gmtime_r(&now, &parts) != nullptr) std::strftime(text, sizeof text, "%H:%M:%S UTC", &parts);
  return text;
}

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_WALL_CLOCK_H
