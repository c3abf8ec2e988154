// SPDX-License-Identifier: Apache-2.0
// A warning about what a client can cause as often as it likes.
#ifndef LAUTHD_REPEATED_WARNING_H
#define LAUTHD_REPEATED_WARNING_H

#include <chrono>
#include <cstdint>
#include <string>

namespace byod::lauthd {

/// Logged when it happens, and then at most once a minute, with how often it has happened since.
class RepeatedWarning {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param text  of the last time, if there are several
  void Note(const std::string& text, Clock::time_point now = Clock::now());

  /// Logs what has been noted and not been logged, when it is time.
  void Flush(Clock::time_point now = Clock::now());

 private:
  Clock::time_point next_;
  uint64_t times_ = 0;  // not logged yet
  std::string text_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REPEATED_WARNING_H
