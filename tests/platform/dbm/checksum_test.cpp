// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/checksum.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace lauth::dbm {
namespace {

uint32_t BitByBit(std::string_view bytes) {
  uint32_t state = 0xFFFFFFFFU;
  for (const char byte : bytes) {
    state ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit)
      state = (state >> 1) ^ ((state & 1U) != 0 ? 0x82F63B78U : 0U);
  }
  return ~state;
}

std::string RandomBytes(size_t count) {
  std::mt19937 random(1);
  std::string bytes;
  while (bytes.size() < count)
    bytes += static_cast<char>(random() & 0xFFU);
  return bytes;
}

TEST(Checksum, OfTheDigitsIsThePublishedOne) {
  EXPECT_EQ(Checksum().Add("123456789").Get(), 0xE3069283U);
}

TEST(Checksum, IsTheSameHoweverTheBytesAreCountedIn) {
  const std::string all = RandomBytes(608);
  for (size_t from = 0; from < 8; ++from) {
    for (const size_t length : {0U, 1U, 7U, 8U, 9U, 15U, 16U, 17U, 63U, 64U, 341U, 576U, 600U}) {
      const std::string_view bytes = std::string_view(all).substr(from, length);
      const uint32_t sum = BitByBit(bytes);
      EXPECT_EQ(Checksum().Add(bytes).Get(), sum) << length << " bytes from " << from;
      EXPECT_EQ(~AddByTable(0xFFFFFFFFU, bytes), sum) << length << " bytes from " << from;
      const size_t half = length / 2;
      EXPECT_EQ(Checksum().Add(bytes.substr(0, half)).Add(bytes.substr(half)).Get(), sum)
          << length << " bytes from " << from;
    }
  }
}

TEST(Checksum, ANumberCountsAsEightBytesMostSignificantFirst) {
  EXPECT_EQ(Checksum().Add(uint64_t{0x0102030405060708}).Get(),
            BitByBit("\x01\x02\x03\x04\x05\x06\x07\x08"));
}

}  // namespace
}  // namespace lauth::dbm
