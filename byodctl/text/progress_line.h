// SPDX-License-Identifier: Apache-2.0
// The progress of a command, for a user at a terminal.
#ifndef BYODCTL_TEXT_PROGRESS_LINE_H
#define BYODCTL_TEXT_PROGRESS_LINE_H

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <iostream>
#include <string>
#include <utility>

namespace byod::ctl {

/// A line on standard error that is overwritten, and cleared at the end. Shown only on a terminal,
/// and only for commands that take longer than a second.
class ProgressLine {
 public:
  /// @param what  "of 5000 rules"
  explicit ProgressLine(std::string what)
      : what_(std::move(what)), is_terminal_(isatty(STDERR_FILENO) == 1) {}
  ~ProgressLine() {
    if (is_shown_) std::cerr << "\r\033[K" << std::flush;
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Show(size_t done) {
    const auto now = Clock::now();
    if (!is_terminal_ || now < next_) return;
    std::cerr << '\r' << done << ' ' << what_ << std::flush;
    is_shown_ = true;
    next_ = now + std::chrono::milliseconds(100);
  }

 private:
  using Clock = std::chrono::steady_clock;

  std::string what_;
  bool is_terminal_;
  bool is_shown_ = false;
  /// About the start of the command, since the time before the first step counts.
  static inline const Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_ + std::chrono::seconds(1);
};

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_PROGRESS_LINE_H
