// SPDX-License-Identifier: Apache-2.0
// Messages go out as fast as the client reads, whole and in order.
#include "lauthd/server/message_output.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

#include "byod_cfgmsg.h"

namespace byod::lauthd {
namespace {

class Output : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends_), 0);
    const int size = 4096;
    setsockopt(ends_[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  }
  ~Output() override {
    close(ends_[0]);
    if (ends_[1] >= 0) close(ends_[1]);
  }

  static tlv::Message MessageOf(size_t bytes) {
    tlv::Message message(TLV_Create());
    const std::string data(bytes, 'x');
    TLV_Append_Data(message.get(), 1, static_cast<uint16_t>(bytes), data.data());
    return message;
  }
  static std::string BytesOf(const tlv::Message& message) {
    std::string bytes(TLV_GetMsgLen(message.get(), tlv::kMemory), '\0');
    TLV_Flush(message.get(), tlv::kMemory, static_cast<uint32_t>(bytes.size()),
              reinterpret_cast<uintptr_t>(bytes.data()));
    return bytes;
  }
  bool Send(const tlv::Message& message) { return output_.Send(ends_[0], message, scratch_); }
  /// What the client can read now.
  std::string Read() {
    std::string all;
    char bytes[4096];
    for (ssize_t got; (got = read(ends_[1], bytes, sizeof bytes)) > 0;)
      all.append(bytes, static_cast<size_t>(got));
    return all;
  }

  MessageOutput output_;
  std::array<uint8_t, 65536> scratch_;
  int ends_[2] = {-1, -1};
};

TEST_F(Output, ShortMessageIsSentAtOnce) {
  const tlv::Message message = MessageOf(10);
  EXPECT_TRUE(Send(message));
  EXPECT_TRUE(output_.Empty());
  EXPECT_EQ(Read(), BytesOf(message));
}

TEST_F(Output, WhatTheSocketDoesNotTakeIsKeptAndSentLater) {
  const tlv::Message message = MessageOf(60000);
  ASSERT_TRUE(Send(message));
  ASSERT_FALSE(output_.Empty()) << "the socket took it all";
  std::string received = Read();
  for (int i = 0; i < 100 && !output_.Empty(); ++i) {
    ASSERT_TRUE(output_.SendRest(ends_[0]));
    received += Read();
  }
  EXPECT_TRUE(output_.Empty());
  EXPECT_EQ(received, BytesOf(message));
}

TEST_F(Output, ClientThatHasGoneFails) {
  close(ends_[1]);
  ends_[1] = -1;
  EXPECT_FALSE(Send(MessageOf(10)));
}

TEST_F(Output, EmptyHandleFails) {
  EXPECT_FALSE(Send(tlv::Message()));
}

TEST_F(Output, MessageOverTheLimitFailsAndTheLongestIsSent) {
  const size_t overhead = BytesOf(MessageOf(10)).size() - 10;
  EXPECT_FALSE(Send(MessageOf(BYOD_REPLY_MAX - overhead + 1)));
  EXPECT_TRUE(Send(MessageOf(BYOD_REPLY_MAX - overhead)));
}

}  // namespace
}  // namespace byod::lauthd
