// SPDX-License-Identifier: Apache-2.0
#include "net/mac_address.h"

#include <gtest/gtest.h>

#include <cstring>

namespace byod::net {
namespace {

constexpr uint8_t kMac[] = {0x00, 0x1A, 0xB2, 0xC3, 0x0D, 0xFE};

TEST(MacAddress, IsTheNumberOfItsSixBytes) {
  EXPECT_EQ(LoadMac(kMac), 0x001AB2C30DFEU);
}

TEST(MacAddress, ComesBackFromItsNumber) {
  const MacAddress mac = MacOf(0x001AB2C30DFE);
  EXPECT_EQ(std::memcmp(mac.data(), kMac, sizeof kMac), 0);
  EXPECT_EQ(LoadMac(MacOf(0xFFFFFFFFFFFF).data()), 0xFFFFFFFFFFFFU);
}

TEST(MacAddress, IsSpeltInLowerCaseWithItsSeparators) {
  char text[20];
  WriteMac<kColons>(text, kMac);
  EXPECT_STREQ(text, "00:1a:b2:c3:0d:fe");
  WriteMac<kStored>(text, kMac);
  EXPECT_STREQ(text, "001a-b2c3-0dfe");
  WriteMac<kDigits>(text, kMac);
  EXPECT_STREQ(text, "001ab2c30dfe");
}

TEST(MacAddress, SpellingHasTheLengthThatItStates) {
  for (const MacSpelling spelling : {kColons, kStored, kDigits}) {
    char text[20];
    WriteMac(text, kMac, spelling);
    EXPECT_EQ(std::strlen(text), spelling.Length());
  }
}

}  // namespace
}  // namespace byod::net
