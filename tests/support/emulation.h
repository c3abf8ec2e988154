// SPDX-License-Identifier: Apache-2.0
// How much a test does where the processor is emulated, which takes some thirty times as long.
#ifndef BYOD_TESTS_SUPPORT_EMULATION_H
#define BYOD_TESTS_SUPPORT_EMULATION_H

namespace support {

#ifdef BYOD_EMULATED
constexpr bool kEmulated = true;
#else
constexpr bool kEmulated = false;
#endif

/// How many of a run's random steps are taken.
constexpr int StepsHere(int steps) {
  return kEmulated ? steps / 10 : steps;
}

}  // namespace support

#endif  // BYOD_TESTS_SUPPORT_EMULATION_H
