// SPDX-License-Identifier: Apache-2.0
// How many steps the containers of data/ take. For tests that are linked with byod_data_counted.
#ifndef BYOD_TESTS_SUPPORT_STEP_COUNT_H
#define BYOD_TESTS_SUPPORT_STEP_COUNT_H

#include <cstdint>

namespace support {

/// Counts from its beginning on, and ends the program with a message at the step behind the last
/// one allowed: a search that never ends cannot be left in another way. One at a time.
class Steps {
 public:
  explicit Steps(uint64_t allowed);
  ~Steps();
  Steps(const Steps&) = delete;
  Steps& operator=(const Steps&) = delete;

  /// Since the beginning, or the last Restart.
  uint64_t Taken() const;
  void Restart() { Restart(allowed_); }
  /// Counts from 0 again, up to another number until the next Restart.
  void Restart(uint64_t allowed);

 private:
  uint64_t allowed_;
};

}  // namespace support

#endif  // BYOD_TESTS_SUPPORT_STEP_COUNT_H
