// SPDX-License-Identifier: Apache-2.0
// What has to be brought to an end once it has begun, although memory may be short for a moment.
#ifndef LAUTHD_STATE_RETRY_H
#define LAUTHD_STATE_RETRY_H

#include <new>

namespace byod::lauthd {

/// Runs a step that can be repeated from its beginning until it has memory, a few times at most.
/// @param step  () -> void; throws std::bad_alloc
/// @return whether it got to its end
template <typename Step>
bool RetryForMemory(Step step) {
  constexpr int kAttempts = 4;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    try {
      step();
      return true;
    } catch (const std::bad_alloc&) {
      // The failed attempt has released what it had.
    }
  }
  return false;
}

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RETRY_H
