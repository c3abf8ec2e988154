// SPDX-License-Identifier: Apache-2.0
#include "net/byte_order.h"

#include <gtest/gtest.h>

#include <cstring>

namespace byod::net {
namespace {

constexpr uint8_t kBytes[] = {0xFF, 0x01, 0x02, 0x83, 0x04, 0x05, 0x06, 0x07, 0x88};

TEST(ByteOrder, FirstByteIsTheMostSignificantOfABigEndianNumber) {
  EXPECT_EQ(LoadBig<uint8_t>(kBytes + 1), 0x01U);
  EXPECT_EQ(LoadBig<uint16_t>(kBytes + 1), 0x0102U);
  EXPECT_EQ(LoadBig<uint32_t>(kBytes + 1), 0x01028304U);
  EXPECT_EQ(LoadBig<uint64_t>(kBytes + 1), 0x0102830405060788U);
}

TEST(ByteOrder, FirstByteIsTheLeastSignificantOfALittleEndianNumber) {
  EXPECT_EQ(LoadLittle<uint8_t>(kBytes + 1), 0x01U);
  EXPECT_EQ(LoadLittle<uint16_t>(kBytes + 1), 0x0201U);
  EXPECT_EQ(LoadLittle<uint32_t>(kBytes + 1), 0x04830201U);
  EXPECT_EQ(LoadLittle<uint64_t>(kBytes + 1), 0x8807060504830201U);
}

template <typename Number>
void ExpectStored(Number number) {
  uint8_t bytes[1 + sizeof number + 1];
  std::memset(bytes, 0xAA, sizeof bytes);
  StoreBig(bytes + 1, number);
  EXPECT_EQ(LoadBig<Number>(bytes + 1), number);
  EXPECT_EQ(bytes[1], number >> 8 * (sizeof number - 1));
  EXPECT_EQ(bytes[0], 0xAA);
  EXPECT_EQ(bytes[1 + sizeof number], 0xAA);
}

TEST(ByteOrder, NumberIsStoredAsItIsLoadedAndNothingBesideIt) {
  ExpectStored<uint16_t>(0xFE01);
  ExpectStored<uint32_t>(0xFEDC0123);
  ExpectStored<uint64_t>(0xFEDCBA9876543210);
}

}  // namespace
}  // namespace byod::net
