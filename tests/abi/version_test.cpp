// SPDX-License-Identifier: Apache-2.0
// The version of the headers is that of the build.
#include <gtest/gtest.h>

#include <string>

#include "byod_version.h"

TEST(Version, OfTheHeadersIsThatOfTheProject) {
  EXPECT_STREQ(BYOD_VERSION_TEXT, PROJECT_VERSION);
}

TEST(Version, IsTheSameAsTextAndAsNumbers) {
  EXPECT_EQ(std::to_string(BYOD_VERSION_MAJOR) + "." + std::to_string(BYOD_VERSION_MINOR) + "." +
                std::to_string(BYOD_VERSION_PATCH),
            BYOD_VERSION_TEXT);
  EXPECT_EQ(BYOD_VERSION_NUMBER,
            BYOD_VERSION_NUMBER_OF(BYOD_VERSION_MAJOR, BYOD_VERSION_MINOR, BYOD_VERSION_PATCH));
}

TEST(Version, NumbersGrowWithTheVersion) {
  static_assert(BYOD_VERSION_NUMBER_OF(1, 2, 3) == 10203);
  static_assert(BYOD_VERSION_NUMBER_OF(1, 99, 99) < BYOD_VERSION_NUMBER_OF(2, 0, 0));
  static_assert(BYOD_VERSION_NUMBER_OF(1, 0, 99) < BYOD_VERSION_NUMBER_OF(1, 1, 0));
}
