// SPDX-License-Identifier: Apache-2.0
// The tests' own daemon: a signal for it must never reach anybody else.
#include "tests/lauthd/daemon_process.h"

#include <gtest/gtest-spi.h>

namespace byod::test {
namespace {

// A daemon that had died was signalled by the number -1, which means every process there is.
TEST(DaemonProcess, SignalsNobodyWhenItHasNotStarted) {
  static DaemonProcess* daemon;
  DaemonProcess none;
  daemon = &none;
  EXPECT_NONFATAL_FAILURE(daemon->Signal(0), "no daemon to signal");
  EXPECT_NONFATAL_FAILURE(daemon->Kill(0), "not running");
}

TEST(DaemonProcess, SignalsNobodyWhenItHasEnded) {
  static DaemonProcess* daemon;
  DaemonProcess refused({"--no-database", "--admin-group", "no-such-group"});
  daemon = &refused;
  refused.Launch();
  EXPECT_EQ(refused.WaitForEnd(), 1);
  EXPECT_NONFATAL_FAILURE(daemon->Signal(0), "no daemon to signal");
  EXPECT_NONFATAL_FAILURE(daemon->Kill(0), "not running");
}

}  // namespace
}  // namespace byod::test
