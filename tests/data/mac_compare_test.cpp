// SPDX-License-Identifier: Apache-2.0
// The orders of MAC rules: by what both masks keep, and each under its own mask.
#include <gtest/gtest.h>

#include <random>

#include "data/internal.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

int Sign(int order) {
  return (order > 0) - (order < 0);
}

int Compare(const ByodMacRule& a, const ByodMacRule& b) {
  return Sign(byod_data_MacRuleCompare(&a, &b));
}

int Exact(const ByodMacRule& a, const ByodMacRule& b) {
  return Sign(byod_data_MacRuleCompareExact(&a, &b));
}

TEST(MacCompare, TakesAnAddressUnderAPrefixForEqual) {
  const ByodMacRule rule = Probe("00:11:22:00:00:00", kPrefixMask);
  EXPECT_EQ(Compare(rule, Probe("00:11:22:33:44:55")), 0);
  EXPECT_EQ(Compare(Probe("00:11:22:33:44:55"), rule), 0);
  EXPECT_NE(Compare(rule, Probe("00:11:23:33:44:55")), 0);
}

TEST(MacCompare, OrdersByTheFirstDifferentByteUnsigned) {
  const ByodMacRule rule = Probe("00:11:22:00:00:00", kPrefixMask);
  EXPECT_EQ(Compare(rule, Probe("00:11:23:00:00:00")), -1);
  EXPECT_EQ(Compare(rule, Probe("00:11:21:FF:FF:FF")), 1);
  EXPECT_EQ(Compare(Probe("7F:00:00:00:00:00"), Probe("80:00:00:00:00:00")), -1);
  EXPECT_EQ(Compare(Probe("01:00:00:00:00:FF"), Probe("01:00:00:00:01:00")), -1);
}

TEST(MacCompare, SeesEveryByte) {
  for (size_t byte = 0; byte < 6; ++byte) {
    Mac mac = {};
    mac[byte] = 1;
    const Mac full = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(Compare(Probe({}, full), Probe(mac, full)), -1) << byte;
    EXPECT_EQ(Compare(Probe(mac, full), Probe({}, full)), 1) << byte;
    EXPECT_EQ(Exact(Probe({}, full), Probe(mac, full)), -1) << byte;
    EXPECT_EQ(Exact(Probe(mac, full), Probe({}, full)), 1) << byte;
  }
}

TEST(MacCompare, KeepsOnlyTheBitsOfBothMasks) {
  const ByodMacRule high = Probe("F0:00:00:00:00:00", "F0:00:00:00:00:00");
  const ByodMacRule low = Probe("0F:00:00:00:00:00", "0F:00:00:00:00:00");
  EXPECT_EQ(Compare(high, low), 0);  // no bit in common
  EXPECT_EQ(Compare(high, Probe("EF:FF:FF:FF:FF:FF")), 1);
}

TEST(MacCompare, WithAZeroMaskIsAlwaysEqual) {
  const ByodMacRule any = Probe("12:34:56:78:9A:BC", "00:00:00:00:00:00");
  EXPECT_EQ(Compare(any, Probe("00:00:00:00:00:00")), 0);
  EXPECT_EQ(Compare(any, Probe("FF:FF:FF:FF:FF:FF")), 0);
}

TEST(MacCompare, IgnoresEverythingButAddressAndMask) {
  ByodMacRule a = Probe("00:11:22:33:44:55"), b = a;
  a.origin = BYOD_RULE_CUSTOM;
  a.modified = 1;
  a.node[0] = 1;
  EXPECT_EQ(Compare(a, b), 0);
  EXPECT_EQ(Exact(a, b), 0);
}

TEST(MacExactCompare, PutsEachAddressUnderItsOwnMask) {
  const ByodMacRule prefix = Probe("00:11:22:99:99:99", kPrefixMask);
  EXPECT_EQ(Exact(prefix, Probe("00:11:22:33:44:55", kPrefixMask)), 0);
  EXPECT_EQ(Exact(prefix, Probe("00:11:22:33:44:55")), -1);
  EXPECT_EQ(Exact(Probe("00:11:22:33:44:55"), prefix), 1);
  // The masks themselves do not count.
  EXPECT_EQ(Exact(prefix, Probe("00:11:22:00:00:00")), 0);
}

Mac RandomMac(std::mt19937& random) {
  Mac mac;
  for (uint8_t& byte : mac)
    byte = static_cast<uint8_t>(random() % 3 == 0 ? random() : random() % 3);
  return mac;
}

// As 48-bit numbers: an order by bytes, most significant first.
uint64_t Number(const uint8_t* bytes) {
  uint64_t number = 0;
  for (int i = 0; i < 6; ++i)
    number = number << 8 | bytes[i];
  return number;
}

int Order(uint64_t a, uint64_t b) {
  return (a > b) - (a < b);
}

TEST(MacCompare, AgreesWithThatOfMaskedNumbers) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const ByodMacRule a = Probe(RandomMac(random), RandomMac(random));
    const ByodMacRule b = Probe(RandomMac(random), RandomMac(random));
    const uint64_t mask = Number(a.mask) & Number(b.mask);
    const int common = Order(Number(a.mac) & mask, Number(b.mac) & mask);
    ASSERT_EQ(Sign(byod_data_MacRuleCompare(&a, &b)), common);
    ASSERT_EQ(Sign(byod_data_MacRuleMatch(&a, &b)), common);
    ASSERT_EQ(Sign(byod_data_MacRuleCompareExact(&a, &b)),
              Order(Number(a.mac) & Number(a.mask), Number(b.mac) & Number(b.mask)));
  }
}

}  // namespace
