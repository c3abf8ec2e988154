// SPDX-License-Identifier: Apache-2.0
// The lines that the library logs while this lives, each as "<level> <text>". One at a time.
#ifndef BYOD_TESTS_SUPPORT_LOG_CAPTURE_H
#define BYOD_TESTS_SUPPORT_LOG_CAPTURE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "lauth_debug.h"

namespace byod::test {

class LogCapture {
 public:
  LogCapture() {
    LAUTH_dbg_SetSink(Keep, this);
    LAUTH_dbg_SetLevel(kEveryLevel);
  }
  ~LogCapture() {
    LAUTH_dbg_SetLevel(0);
    LAUTH_dbg_SetSink(nullptr, nullptr);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return lines_; }
  /// The lines so far, which are then forgotten.
  std::vector<std::string> Take() { return std::exchange(lines_, {}); }

 private:
  static constexpr uint32_t kEveryLevel = UINT32_MAX;

  static void Keep(void* context, uint32_t level, const char* text) {
    static_cast<LogCapture*>(context)->lines_.push_back(std::to_string(level) + " " + text);
  }

  std::vector<std::string> lines_;
};

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_LOG_CAPTURE_H
