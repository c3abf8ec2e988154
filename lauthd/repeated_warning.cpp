// SPDX-License-Identifier: Apache-2.0
#include "lauthd/repeated_warning.h"

#include <cinttypes>

#include "lauthd/log.h"

namespace byod::lauthd {
namespace {

constexpr std::chrono::minutes kPause{1};

}  // namespace

void RepeatedWarning::Note(const std::string& text, Clock::time_point now) {
  ++times_;
  text_ = text;
  Flush(now);
}

void RepeatedWarning::Flush(Clock::time_point now) {
  if (times_ == 0 || now < next_) return;
  if (times_ == 1) {
    Log(Severity::kWarning, "%s", text_.c_str());
  } else {
    Log(Severity::kWarning, "%s (%" PRIu64 " times)", text_.c_str(), times_);
  }
  times_ = 0;
  next_ = now + kPause;
}

}  // namespace byod::lauthd
