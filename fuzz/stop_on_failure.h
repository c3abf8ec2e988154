// SPDX-License-Identifier: Apache-2.0
// Makes a failed expectation of the tests' models end a fuzzer, so that its input is kept.
#ifndef BYOD_FUZZ_STOP_ON_FAILURE_H
#define BYOD_FUZZ_STOP_ON_FAILURE_H

#include <gtest/gtest.h>

namespace fuzz {

[[maybe_unused]] inline const bool stops_on_failure = [] {
  GTEST_FLAG_SET(break_on_failure, true);
  return true;
}();

}  // namespace fuzz

#endif  // BYOD_FUZZ_STOP_ON_FAILURE_H
