// SPDX-License-Identifier: Apache-2.0
#include "net/mac_text.h"

#include <gtest/gtest.h>

namespace byod::net {
namespace {

TEST(MacText, EverySpellingOfAnAddressIsRead) {
  const MacAddress expected = {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
  for (const char* text :
       {"00:11:22:aa:bb:cc", "00-11-22-AA-BB-CC", "0011-22aa-bbcc", "0011.22aa.bbcc",
        "001122aabbcc", "001122-AABBCC", "00.11.22.aa.bb.cc", "001122AABBCC"}) {
    EXPECT_EQ(ParseMac(text), expected) << text;
  }
}

TEST(MacText, AnythingElseIsNoAddress) {
  for (const char* text : {"",
                           ":",
                           "00",
                           "00:11:22:33:44",
                           "00:11:22:33:44:5",
                           "00:11:22:33:44:55:66",
                           "00:11:22:33:44:55:",
                           ":00:11:22:33:44:55",
                           "00:11-22:33:44:55",
                           "00::11:22:33:44",
                           "0:11:22:33:44:55",
                           "000:11:22:33:44:5",
                           "00 11 22 33 44 55",
                           "00:11:22:33:44:5g",
                           "0x1122334455",
                           "00112233445566",
                           "001:122:334:455",
                           " 001122334455",
                           "001122334455 ",
                           "00_11_22_33_44_55",
                           "00112-23344-55"}) {
    EXPECT_EQ(ParseMac(text), std::nullopt) << text;
  }
}

TEST(MacText, TheBeginningOfAnAddressKeepsItsDigits) {
  EXPECT_EQ(MacDigits("00:11:22"), "001122");
  EXPECT_EQ(MacDigits("0011-2"), "00112");
  EXPECT_EQ(MacDigits("8"), "8");
  EXPECT_EQ(MacDigits("70b3d5f2f"), "70b3d5f2f");
  EXPECT_EQ(MacDigits("00:"), std::nullopt);
  EXPECT_EQ(MacDigits("00:1:22"), std::nullopt);
}

TEST(MacText, AnAddressIsWrittenWithColonsInLowerCase) {
  EXPECT_EQ(ToString(MacAddress{0xAC, 0xDE, 0x48, 0x00, 0x0F, 0xF0}), "ac:de:48:00:0f:f0");
}

TEST(MacText, TheSecondBitMarksALocallyAdministeredAddress) {
  EXPECT_TRUE(IsLocallyAdministered(*ParseMac("02:00:00:00:00:00")));
  EXPECT_TRUE(IsLocallyAdministered(*ParseMac("da:a1:19:00:00:01")));
  EXPECT_FALSE(IsLocallyAdministered(*ParseMac("00:11:22:33:44:55")));
  EXPECT_FALSE(IsLocallyAdministered(*ParseMac("fd:ff:ff:ff:ff:ff")));
}

}  // namespace
}  // namespace byod::net
