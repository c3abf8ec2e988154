// SPDX-License-Identifier: Apache-2.0
#include "lauth_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(Lowercase, FoldsLettersInPlaceAndLeavesOtherBytes) {
  char text[] = "Galaxy S\xC4 9-Z@[";
  EXPECT_EQ(lowercase(text), text);
  EXPECT_EQ(std::string(text), "galaxy s\xC4 9-z@[");
}

TEST(Lowercase, OfNullIsNull) {
  EXPECT_EQ(lowercase(nullptr), nullptr);
}

TEST(Scnprintf, ReturnsWhatWasWritten) {
  char out[8];
  EXPECT_EQ(scnprintf(out, sizeof out, "%d", 1234), 4);
  EXPECT_STREQ(out, "1234");
}

TEST(Scnprintf, CutsAndReturnsTheCutLength) {
  char out[4];
  EXPECT_EQ(scnprintf(out, sizeof out, "%d", 123456), 3);
  EXPECT_STREQ(out, "123");
}

TEST(Scnprintf, WritesNothingIntoNoRoom) {
  char out[1] = {'x'};
  EXPECT_EQ(scnprintf(out, 0, "%d", 1), 0);
  EXPECT_EQ(out[0], 'x');
}

TEST(Scnprintf, WritesOnlyTheNulIntoOneByte) {
  char out[1] = {'x'};
  EXPECT_EQ(scnprintf(out, 1, "%d", 1), 0);
  EXPECT_EQ(out[0], '\0');
}
