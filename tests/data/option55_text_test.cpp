// SPDX-License-Identifier: Apache-2.0
// The text form of a DHCP option 55 list.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/plain_option_text.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;
TEST(Option55Text, JoinsTheNumbersByCommas) {
  EXPECT_EQ(Format({1, 3, 6, 15}, 256), (Formatted{0, "1,3,6,15"}));
  EXPECT_EQ(Format({1, 3, 6, 15, 119, 252}, 256), (Formatted{0, "1,3,6,15,119,252"}));
}

TEST(Option55Text, WritesEveryNumberInDecimal) {
  for (unsigned number = 0; number < 256; ++number) {
    EXPECT_EQ(Format({static_cast<uint8_t>(number)}, 256), (Formatted{0, std::to_string(number)}));
  }
}

TEST(Option55Text, KeepsTheOrderAndEqualNumbers) {
  EXPECT_EQ(Format({3, 1, 3, 0, 255}, 256), (Formatted{0, "3,1,3,0,255"}));
}

TEST(Option55Text, OfNoNumberLeavesTheOutputAlone) {
  char out[4] = "ab,";
  EXPECT_EQ(BYOD_data_GetDhcpOption55String(0, nullptr, sizeof out, out), 0u);
  EXPECT_STREQ(out, "ab,");
  EXPECT_EQ(BYOD_data_GetDhcpOption55String(0, nullptr, 0, out), 0u);
  EXPECT_STREQ(out, "ab,");
}

TEST(Option55Text, WantsRoomForACommaBehindTheLastNumberToo) {
  EXPECT_EQ(Format({1}, 3), (Formatted{0, "1"}));
  EXPECT_EQ(Format({1}, 2), (Formatted{kFailed, "1"}));
  EXPECT_EQ(Format({100}, 5), (Formatted{0, "100"}));
  EXPECT_EQ(Format({100}, 4), (Formatted{kFailed, "100"}));
  EXPECT_EQ(Format({1, 3}, 5), (Formatted{0, "1,3"}));
  EXPECT_EQ(Format({1, 3}, 4), (Formatted{kFailed, "1,3"}));
}

TEST(Option55Text, StopsWhenTheOutputIsFullBeforeTheLastNumber) {
  EXPECT_EQ(Format({1, 3}, 3), (Formatted{kFailed, "1,"}));
  EXPECT_EQ(Format({200, 200}, 6), (Formatted{kFailed, "200,2"}));
}

TEST(Option55Text, WritesNothingIntoFewerBytesThanNumbers) {
  EXPECT_EQ(Format({1, 3, 6}, 2), (Formatted{kFailed, std::string(2, kUntouched)}));
  EXPECT_EQ(Format({1}, 0), (Formatted{kFailed, ""}));
}

TEST(Option55Text, TerminatesAnOutputOfOneByte) {
  EXPECT_EQ(Format({1}, 1), (Formatted{kFailed, ""}));
}

TEST(Option55Text, Of255NumbersOf200DoesNotFit256Bytes) {
  EXPECT_EQ(Format(Bytes(255, 200), 256).result, kFailed);
  EXPECT_EQ(Format(Bytes(255, 0), 256).result, kFailed);
}

TEST(Option55Text, FitsUpTo127OneDigitNumbersInto256Bytes) {
  EXPECT_EQ(Format(Bytes(127, 7), 256).result, 0u);
  EXPECT_EQ(Format(Bytes(128, 7), 256).result, kFailed);
  EXPECT_EQ(Format(Bytes(63, 200), 256).result, 0u);
  EXPECT_EQ(Format(Bytes(64, 200), 256).result, kFailed);
}

TEST(Option55Text, AgreesWithThePlainFormForAllCountsAndSizes) {
  std::mt19937 random(13);
  for (size_t count = 0; count <= 40; ++count) {
    for (uint32_t size = 0; size <= 170; ++size) {
      Bytes bytes(count);
      for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random() % (size % 3 == 0 ? 10 : 256));
      ASSERT_EQ(Format(bytes, size), Plainly(bytes, size)) << count << " in " << size;
    }
  }
}

TEST(Option55Text, AgreesWithThePlainFormForEveryCountIn256Bytes) {
  std::mt19937 random(14);
  for (size_t count = 0; count <= 255; ++count) {
    for (const unsigned bound : {10u, 20u, 100u, 256u}) {
      Bytes bytes(count);
      for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random() % bound);
      ASSERT_EQ(Format(bytes, 256), Plainly(bytes, 256)) << count << " below " << bound;
    }
  }
}

}  // namespace
