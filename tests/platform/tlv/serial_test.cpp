// SPDX-License-Identifier: Apache-2.0
// Iterators are counted; here a message is started shortly before they run out.
#include <gtest/gtest.h>

#include "lauth_tlv.h"
#include "platform/tlv/message.h"

namespace lauth::tlv {
namespace {

class Serials : public testing::Test {
 protected:
  ~Serials() override { message_.Release(); }

  uint32_t Append() { return message_.Append(1, 2, "ab"); }

  Message message_;
};

TEST_F(Serials, ThatHaveRunOutLeaveTheMessageAsItIs) {
  ASSERT_TRUE(message_.Start(UINT32_MAX - 2));
  EXPECT_EQ(Append(), 0U);
  EXPECT_EQ(Append(), 0U);
  EXPECT_EQ(Append(), TLV_ERR_LENGTH);
  EXPECT_EQ(message_.First()->serial, UINT32_MAX - 2);
  EXPECT_EQ(message_.Next(message_.Next(message_.First())), nullptr);
  message_.Delete(message_.First());
  EXPECT_EQ(Append(), TLV_ERR_LENGTH);
}

TEST_F(Serials, BeginAgainInAMessageThatHasBecomeEmpty) {
  ASSERT_TRUE(message_.Start(UINT32_MAX - 1));
  EXPECT_EQ(Append(), 0U);
  EXPECT_EQ(Append(), TLV_ERR_LENGTH);
  message_.Delete(message_.First());
  EXPECT_EQ(Append(), 0U);
  EXPECT_EQ(message_.First()->serial, 1U);
}

TEST_F(Serials, GoOnInAnEmptyMessageWhileThereAreMany) {
  ASSERT_TRUE(message_.Start(uint32_t{3} << 30));
  EXPECT_EQ(Append(), 0U);
  message_.Delete(message_.First());
  EXPECT_EQ(Append(), 0U);
  EXPECT_EQ(message_.First()->serial, 1U);
  message_.Release();
  ASSERT_TRUE(message_.Start((uint32_t{3} << 30) - 2));
  EXPECT_EQ(Append(), 0U);
  message_.Delete(message_.First());
  EXPECT_EQ(Append(), 0U);
  EXPECT_EQ(message_.First()->serial, (uint32_t{3} << 30) - 1);
}

}  // namespace
}  // namespace lauth::tlv
