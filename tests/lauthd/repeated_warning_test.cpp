// SPDX-License-Identifier: Apache-2.0
// What can happen a million times a second is a line a minute.
#include "lauthd/repeated_warning.h"

#include <gtest/gtest.h>

namespace byod::lauthd {
namespace {

using Clock = RepeatedWarning::Clock;
using std::chrono::seconds;

class Warning : public testing::Test {
 protected:
  void SetUp() override { testing::internal::CaptureStderr(); }
  std::string Logged() {
    const std::string lines = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    return lines;
  }
  ~Warning() override { testing::internal::GetCapturedStderr(); }

  const Clock::time_point start_ = Clock::now();
  RepeatedWarning warning_;
};

TEST_F(Warning, IsLoggedAtOnceAndThenOnceAMinuteWithACount) {
  warning_.Note("refused", start_);
  EXPECT_NE(Logged().find("refused\n"), std::string::npos);
  for (int i = 0; i < 1000; ++i)
    warning_.Note("refused", start_ + seconds(i % 60));
  EXPECT_EQ(Logged(), "");
  warning_.Flush(start_ + seconds(59));
  EXPECT_EQ(Logged(), "");
  warning_.Flush(start_ + seconds(60));
  EXPECT_NE(Logged().find("refused (1000 times)\n"), std::string::npos);
  warning_.Flush(start_ + seconds(200));
  EXPECT_EQ(Logged(), "") << "nothing has happened since";
}

}  // namespace
}  // namespace byod::lauthd
