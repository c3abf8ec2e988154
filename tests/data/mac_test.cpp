// SPDX-License-Identifier: Apache-2.0
#include "mac.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

namespace {

using Mac = std::array<uint8_t, 6>;

std::string PrefixName(const Mac& mac) {
  char out[32];
  MAC_ToStringForMode(mac.data(), sizeof out, out);
  return out;
}

TEST(BroadcastAddress, SetsAllSixBytesAndNoMore) {
  std::array<uint8_t, 7> bytes = {};
  MAC_BroadcastAddr(bytes.data());
  EXPECT_EQ(bytes, (std::array<uint8_t, 7>{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0}));
}

TEST(PrefixName, DropsTrailingZeroDigits) {
  EXPECT_EQ(PrefixName({0x00, 0x11, 0x22, 0, 0, 0}), "byod-mac-001122");
  EXPECT_EQ(PrefixName({0x00, 0x11, 0x20, 0, 0, 0}), "byod-mac-00112");
  EXPECT_EQ(PrefixName({0x10, 0, 0, 0, 0, 0}), "byod-mac-1");
}

TEST(PrefixName, OfAWholeAddressHasTwelveLowerCaseDigits) {
  EXPECT_EQ(PrefixName({0xAC, 0xDE, 0x48, 0x00, 0x11, 0x22}), "byod-mac-acde48001122");
  EXPECT_EQ(PrefixName({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), "byod-mac-ffffffffffff");
}

TEST(PrefixName, OfTheZeroAddressKeepsOneZero) {
  EXPECT_EQ(PrefixName({}), "byod-mac-0");
}

TEST(PrefixName, IsCutToTheSizeAndTerminated) {
  const Mac mac = {0x00, 0x11, 0x22, 0, 0, 0};
  char out[16];
  std::memset(out, 'x', sizeof out);
  MAC_ToStringForMode(mac.data(), 12, out);
  EXPECT_STREQ(out, "byod-mac-00");
  EXPECT_EQ(out[12], 'x');
  MAC_ToStringForMode(mac.data(), 1, out);
  EXPECT_STREQ(out, "");
}

TEST(PrefixName, WritesNothingIntoNoRoomOrForNull) {
  const Mac mac = {1, 2, 3, 4, 5, 6};
  char out[4] = "abc";
  MAC_ToStringForMode(mac.data(), 0, out);
  EXPECT_STREQ(out, "abc");
  MAC_ToStringForMode(nullptr, sizeof out, out);
  EXPECT_STREQ(out, "abc");
  MAC_ToStringForMode(mac.data(), sizeof out, nullptr);
}

struct Parsed {
  int count;
  Mac mac;
  bool operator==(const Parsed&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
  out << parsed.count << " bytes:";
  for (const unsigned byte : parsed.mac)
    out << ' ' << byte;
  return out;
}

Parsed ByMode(const char* text) {
  Mac mac;
  mac.fill(0xEE);
  const int count = BYOD_GetMacAddrByMode(text, sizeof mac, mac.data());
  return {count, mac};
}

Parsed Hyphenated(const char* text) {
  Mac mac;
  mac.fill(0xEE);
  const int count = MacStringtoMacaddr(text, mac.data());
  return {count, mac};
}

TEST(AddressByPrefixName, ReadsWholeBytes) {
  EXPECT_EQ(ByMode("001122"), (Parsed{3, {0x00, 0x11, 0x22, 0, 0, 0}}));
  EXPECT_EQ(ByMode("acDE48001122"), (Parsed{6, {0xAC, 0xDE, 0x48, 0x00, 0x11, 0x22}}));
}

TEST(AddressByPrefixName, GivesAnOddDigitAZeroBehindIt) {
  EXPECT_EQ(ByMode("00112"), (Parsed{3, {0x00, 0x11, 0x20, 0, 0, 0}}));
  EXPECT_EQ(ByMode("1"), (Parsed{1, {0x10, 0, 0, 0, 0, 0}}));
}

TEST(AddressByPrefixName, UsesAtMostTwelveDigits) {
  EXPECT_EQ(ByMode("1234567890abcd"), (Parsed{6, {0x12, 0x34, 0x56, 0x78, 0x90, 0xAB}}));
  EXPECT_EQ(ByMode("1234567890abc"), (Parsed{6, {0x12, 0x34, 0x56, 0x78, 0x90, 0xAB}}));
}

TEST(AddressByPrefixName, StopsWhereTheDigitsEnd) {
  EXPECT_EQ(ByMode("12zz"), (Parsed{1, {0x12, 0, 0, 0, 0, 0}}));
  EXPECT_EQ(ByMode("zz"), (Parsed{0, {}}));
}

TEST(AddressByPrefixName, OfAnEmptyTextIsMinusOne) {
  EXPECT_EQ(ByMode(""), (Parsed{-1, {}}));
}

TEST(AddressByPrefixName, ClearsAndFillsOnlyTheSizeGiven) {
  Mac mac;
  mac.fill(0xEE);
  EXPECT_EQ(BYOD_GetMacAddrByMode("112233445566", 3, mac.data()), 6);
  EXPECT_EQ(mac, (Mac{0x11, 0x22, 0x33, 0xEE, 0xEE, 0xEE}));
  std::array<uint8_t, 8> more;
  more.fill(0xEE);
  EXPECT_EQ(BYOD_GetMacAddrByMode("11", 8, more.data()), 1);
  EXPECT_EQ(more, (std::array<uint8_t, 8>{0x11, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(AddressByPrefixName, IsTheInverseOfPrefixName) {
  for (const Mac& mac : {Mac{0x00, 0x11, 0x20, 0, 0, 0}, Mac{0xAC, 0xDE, 0x48, 0, 0x11, 0x22},
                         Mac{0x10, 0, 0, 0, 0, 0}, Mac{}}) {
    EXPECT_EQ(ByMode(PrefixName(mac).substr(strlen("byod-mac-")).c_str()).mac, mac);
  }
}

TEST(HyphenatedAddress, ReadsThreeGroups) {
  EXPECT_EQ(Hyphenated("0011-2233-4455"), (Parsed{6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}}));
  EXPECT_EQ(Hyphenated("00AA-bbCC-ddEE"), (Parsed{6, {0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE}}));
}

TEST(HyphenatedAddress, MayBeFollowedByAnything) {
  EXPECT_EQ(Hyphenated("0011-2233-4455-6677 x"), (Parsed{6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}}));
}

TEST(HyphenatedAddress, OfATextThatBeginsWithNoDigitIsZero) {
  EXPECT_EQ(Hyphenated("xyz"), (Parsed{0, {}}));
}

TEST(HyphenatedAddress, ThatStopsEarlyLeavesTheRestZero) {
  EXPECT_EQ(Hyphenated("0011-2233"), (Parsed{4, {0x00, 0x11, 0x22, 0x33, 0, 0}}));
  EXPECT_EQ(Hyphenated("00:11:22:33:44:55"), (Parsed{1, {}}));
  EXPECT_EQ(Hyphenated("AA:11:22:33:44:55"), (Parsed{1, {0xAA, 0, 0, 0, 0, 0}}));
}

TEST(HyphenatedAddress, OfAnEmptyTextIsMinusOne) {
  EXPECT_EQ(Hyphenated(""), (Parsed{-1, {}}));
}

}  // namespace
