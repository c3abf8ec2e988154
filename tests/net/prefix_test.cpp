// SPDX-License-Identifier: Apache-2.0
#include "net/prefix.h"

#include <gtest/gtest.h>

namespace byod::net {
namespace {

TEST(Prefix, KnowsItsRangeMaskAndHalves) {
  const Prefix prefix = PrefixFromDigits("001122");
  EXPECT_EQ(prefix.address, 0x001122000000U);
  EXPECT_EQ(prefix.Last(), 0x001122FFFFFFU);
  EXPECT_EQ(ToString(prefix.Mask()), "ff:ff:ff:00:00:00");
  EXPECT_EQ(ToString(prefix.Half(true)), "00:11:22:80:00:00/25");
  EXPECT_EQ(ToString(prefix.Half(false)), "00:11:22:00:00:00/25");
  EXPECT_EQ(ToString(MakePrefix(*ParseMac("ff:ff:ff:ff:ff:ff"), 48).Mask()), "ff:ff:ff:ff:ff:ff");
  EXPECT_TRUE(prefix.Contains(prefix));
  EXPECT_TRUE(prefix.Overlaps(MakePrefix(0x001122334455, 48)));
  EXPECT_FALSE(prefix.Contains(MakePrefix(0x001120000000, 20)));
  EXPECT_TRUE(prefix.Overlaps(MakePrefix(0x001120000000, 20)));
  EXPECT_FALSE(prefix.Overlaps(MakePrefix(0x001123000000, 24)));
}

TEST(Prefix, ABlockIsSpeltWithItsLengthAndAWholeAddressWithout) {
  const MacAddress address = *ParseMac("00:11:22:33:44:55");
  EXPECT_EQ(ToString(MakePrefix(address, 47)), "00:11:22:33:44:54/47");
  EXPECT_EQ(ToString(MakePrefix(address, 48)), "00:11:22:33:44:55");
  const auto spelt = [&](const char* mask) {
    return BlockText(address.data(), ParseMac(mask)->data());
  };
  EXPECT_EQ(spelt("ff:ff:ff:00:00:00"), "00:11:22:33:44:55/24");
  EXPECT_EQ(spelt("ff:ff:ff:ff:ff:ff"), "00:11:22:33:44:55");
  EXPECT_EQ(spelt("ff:ff:00:ff:00:00"), "00:11:22:33:44:55/ff:ff:00:ff:00:00");
  EXPECT_EQ(spelt("00:00:00:00:00:00"), "00:11:22:33:44:55/0");
}

}  // namespace
}  // namespace byod::net
