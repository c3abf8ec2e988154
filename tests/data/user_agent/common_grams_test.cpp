// SPDX-License-Identifier: Apache-2.0
// What nearly every browser sends, which is written down at compile time and looked up in loaded
// bytes: both have to agree whatever the machine's byte order.
#include "data/user_agent/common_grams.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

bool IsCommon(std::string_view text) {
  return byod::data::IsCommon(text.data(), text.size());
}

TEST(CommonGrams, HoldWhatMostBrowsersHaveInCommon) {
  for (const char* const text : {"Mozilla/5.0", "AppleWebKit", "Safari", "like Gecko", "Windows NT",
                                 "Mac", "OS", "; U", "Linux"}) {
    EXPECT_TRUE(IsCommon(text)) << text;
  }
}

TEST(CommonGrams, DoNotHoldWhatDistinguishesTerminals) {
  for (const char* const text : {"SM-G960F", "PlayStation", "Nokia6300", "BlackBerry", "HUAWEI"}) {
    EXPECT_FALSE(IsCommon(text)) << text;
  }
}

TEST(CommonGrams, MissNoneInWhichAllPiecesButOneAreCommon) {
  EXPECT_FALSE(IsCommon("Mozilla/5.0 (Xbox"));
  EXPECT_FALSE(IsCommon("QMozilla/5.0"));
}

}  // namespace
