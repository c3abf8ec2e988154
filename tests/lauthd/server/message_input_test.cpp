// SPDX-License-Identifier: Apache-2.0
// A stream of bytes becomes messages, wherever it is cut.
#include "lauthd/server/message_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>

#include "support/message.h"

namespace byod::lauthd {
namespace {

using Status = MessageInput::Status;
using support::Bytes;
using support::Serialize;

class Input : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends_), 0);
  }
  ~Input() override {
    close(ends_[0]);
    if (ends_[1] >= 0) close(ends_[1]);
  }

  void Send(const std::string& bytes) {
    ASSERT_EQ(write(ends_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    input_.ReadNext();
  }
  void HangUp() {
    close(ends_[1]);
    ends_[1] = -1;
    input_.ReadNext();
  }
  /// As the reactor does: bytes come by its own read.
  void Arrive(const std::string& bytes) {
    ASSERT_LE(bytes.size(), input_.buffer().size());
    std::copy(bytes.begin(), bytes.end(), input_.buffer().begin());
    input_.Arrived(bytes.size());
  }
  Status Next() { return input_.Next(ends_[0], scratch_, message_); }
  /// What the elements of the last message hold.
  std::string Content() {
    std::string content;
    for (const auto& element : support::ElementsOf(message_.get()))
      content += element.bytes;
    return content;
  }

  MessageInput input_;
  tlv::Message message_;
  std::array<uint8_t, 65536> scratch_;
  int ends_[2] = {-1, -1};
};

TEST_F(Input, MessageIsWholeWhereverItIsCut) {
  const std::string bytes = Serialize({Bytes(5, "first")});
  for (size_t cut = 1; cut < bytes.size(); ++cut) {
    Send(bytes.substr(0, cut));
    ASSERT_EQ(Next(), Status::kIncomplete) << cut;
    EXPECT_TRUE(input_.Pending());
    Arrive(bytes.substr(cut));
    ASSERT_EQ(Next(), Status::kMessage) << cut;
    EXPECT_EQ(Content(), "first");
    EXPECT_FALSE(input_.Pending());
  }
}

TEST_F(Input, MessagesThatArriveTogetherComeOneByOne) {
  Send(Serialize({Bytes(5, "a")}) + Serialize({Bytes(5, "b")}) + Serialize({Bytes(5, "c")}));
  for (const char* content : {"a", "b", "c"}) {
    ASSERT_EQ(Next(), Status::kMessage);
    EXPECT_EQ(Content(), content);
  }
  EXPECT_EQ(Next(), Status::kIncomplete);
  EXPECT_FALSE(input_.Pending());
}

TEST_F(Input, MessageLargerThanTheBufferIsReadOn) {
  const std::string bytes = Serialize({Bytes(5, std::string(2000, 'x'))});
  Arrive(bytes.substr(0, input_.buffer().size()));
  const std::string rest = bytes.substr(input_.buffer().size());
  ASSERT_EQ(write(ends_[1], rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
  ASSERT_EQ(Next(), Status::kMessage) << "a full buffer asks for another read";
  EXPECT_EQ(Content(), std::string(2000, 'x'));
}

TEST_F(Input, LongestMessageIsReadInOneGo) {
  const std::string bytes =
      Serialize({Bytes(5, std::string(60000, 'x')), Bytes(6, std::string(5000, 'y'))});
  Send(bytes);
  ASSERT_EQ(Next(), Status::kMessage);
  EXPECT_EQ(Content().size(), 65000u);
}

TEST_F(Input, WhatAClientSendsAheadStaysInItsSocket) {
  const std::string message = Serialize({Bytes(5, std::string(300, 'x'))});
  std::string all;
  while (all.size() < 60000)
    all += message;
  ASSERT_EQ(write(ends_[1], all.data(), all.size()), static_cast<ssize_t>(all.size()));
  ASSERT_TRUE(input_.Receive(ends_[0]));
  EXPECT_TRUE(input_.Filled());
  ASSERT_EQ(Next(), Status::kMessage);
  ASSERT_EQ(Next(), Status::kMessage);
  int left = 0;
  ASSERT_EQ(ioctl(ends_[0], FIONREAD, &left), 0);
  EXPECT_GT(left, 40000);
  size_t more = 0;
  while (Next() == Status::kMessage)
    ++more;
  EXPECT_EQ(more + 2, all.size() / message.size());
  EXPECT_FALSE(input_.MayHaveMore());
}

TEST_F(Input, OneQuestionDoesNotFillTheBuffer) {
  const std::string longest =
      Serialize({Bytes(1, "0123"), Bytes(2, "0123"), Bytes(14, std::string(255, 'o')),
                 Bytes(5, std::string(256, 'u')), Bytes(6, "012345")});
  Send(longest);
  ASSERT_TRUE(input_.Receive(ends_[0]));
  EXPECT_FALSE(input_.Filled());
  ASSERT_EQ(Next(), Status::kMessage);
  EXPECT_FALSE(input_.MayHaveMore());
}

TEST_F(Input, NothingIsReadUntilSomethingHasArrived) {
  EXPECT_EQ(Next(), Status::kIncomplete) << "the first read finds nothing";
  const std::string bytes = Serialize({Bytes(5, "a")});
  ASSERT_EQ(write(ends_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  EXPECT_EQ(Next(), Status::kIncomplete);
  input_.ReadNext();
  EXPECT_EQ(Next(), Status::kMessage);
}

TEST_F(Input, BytesThatAreNotAMessageEndTheConnection) {
  Send("GET / HTTP/1.0\r\n");
  EXPECT_EQ(Next(), Status::kEnd);
}

TEST_F(Input, EndOfTheStreamEndsTheConnection) {
  HangUp();
  EXPECT_EQ(Next(), Status::kEnd);
}

}  // namespace
}  // namespace byod::lauthd
