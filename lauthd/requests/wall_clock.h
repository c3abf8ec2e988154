// SPDX-License-Identifier: Apache-2.0
// The time of day, as messages hold it.
#ifndef LAUTHD_REQUESTS_WALL_CLOCK_H
#define LAUTHD_REQUESTS_WALL_CLOCK_H

#include <chrono>
#include <cstdint>

namespace byod::lauthd {

inline uint64_t MicrosecondsSince1970(
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now()) {
  const auto since = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return static_cast<uint64_t>(since.count());
}

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_WALL_CLOCK_H
