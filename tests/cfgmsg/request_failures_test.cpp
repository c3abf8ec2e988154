// SPDX-License-Identifier: Apache-2.0
// Every request, with each step failing in turn: the documented result, no descriptor and no
// message left, but for the one path that leaves its request.
#include <gtest/gtest.h>

#include <string>

#include "cfgmsg/requests.h"
#include "support/failing_allocator.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr uint32_t kFailed = 0x40010001u;

struct RequestFailures : testing::TestWithParam<Request> {
  void SetUp() override {
    PlatformFaults::Reset();
    descriptors = OpenDescriptors();
  }
  void TearDown() override {
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(outcome.callbacks, 0);
    EXPECT_EQ(outcome.count, 0xA5A5A5A5u);
    EXPECT_EQ(outcome.order.slots[0], 7u);
    EXPECT_STREQ(outcome.text, "untouched");
  }
  Family family() const { return GetParam().family; }

  int descriptors = 0;
};

INSTANTIATE_TEST_SUITE_P(All, RequestFailures, testing::ValuesIn(All()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(RequestFailures, RequestThatCannotBeMadeFailsWithoutConnecting) {
  ScriptedPeer peer([](Connection& c) { c.ReceiveBytes(); });
  PlatformFaults::Fail(PlatformFaults::kCreate, 1, 0);
  EXPECT_EQ(CarryOut(GetParam()), kFailed);
  peer.Stop();
  EXPECT_EQ(peer.accepted(), family() == Family::kFingerPrint ? 1 : 0);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kAppend), 0);
}

TEST_P(RequestFailures, EveryAppendIsMadeAndTheirFailuresCombinedAreTheResult) {
  const auto appends = static_cast<int>(GetParam().elements.size());
  for (int n = 1; n <= appends; ++n) {
    SCOPED_TRACE(n);
    PlatformFaults::Reset();
    ScriptedPeer peer([](Connection& c) { c.ReceiveBytes(); });
    PlatformFaults::Fail(PlatformFaults::kAppend, n, 0x20);
    PlatformFaults::Fail(PlatformFaults::kAppend, appends, 0x03);
    uint32_t expected = n == appends ? 0x03u : 0x23u;
    if (GetParam().last_append_fails_plainly) expected = (expected & ~0x03u) | kFailed;
    if (family() == Family::kRule || family() == Family::kFingerPrint) expected = kFailed;

    EXPECT_EQ(CarryOut(GetParam()), expected);
    peer.Stop();
    EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kAppend), appends);
    EXPECT_EQ(peer.accepted(), family() == Family::kFingerPrint ? 1 : 0);
    // Kept: a listing leaves the request that it could not fill.
    const size_t left = family() == Family::kListing ? 1 : 0;
    EXPECT_EQ(PlatformFaults::Alive().size(), left);
    for (const uint32_t handle : PlatformFaults::Alive())
      Message::Take(handle);
  }
}

TEST_P(RequestFailures, UnreachableDaemonGivesWhatTheFamilyPromises) {
  SetUnreachable();
  uint32_t expected = kFailed;
  if (family() == Family::kCount || family() == Family::kListing) expected = 0;
  EXPECT_EQ(CarryOut(GetParam()), expected);
  // Of the queries on the caller's connection only this one looks whether there is one.
  const bool checked = std::string(GetParam().name) == "GetDeviceAttribute";
  EXPECT_EQ(PlatformFaults::Made(), checked ? 0 : 1);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kReceive), 0);
}

// What follows a connection: no reply is a failure but for the count query.
uint32_t WithoutReply(Family family) {
  return family == Family::kCount ? 0 : kFailed;
}

TEST_P(RequestFailures, FailedSendGivesNoReplyAndNothingIsReceived) {
  bool closed = false;
  ScriptedPeer peer([&](Connection& c) { closed = c.ClientCloses(); });
  PlatformFaults::Fail(PlatformFaults::kFlush, 1, 0);
  EXPECT_EQ(CarryOut(GetParam()), WithoutReply(family()));
  peer.Join();
  EXPECT_TRUE(closed);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kReceive), 0);
}

TEST_P(RequestFailures, ReplyThatCannotBeReceivedIsNone) {
  bool closed = false;
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    closed = c.ClientCloses();
  });
  PlatformFaults::Fail(PlatformFaults::kReceive, 1, 0);
  EXPECT_EQ(CarryOut(GetParam()), WithoutReply(family()));
  peer.Join();
  EXPECT_TRUE(closed);
}

TEST_P(RequestFailures, PeerThatClosesBeforeReadingGivesNoReply) {
  ScriptedPeer peer([](Connection& c) { c.Close(); });
  EXPECT_EQ(CarryOut(GetParam()), WithoutReply(family()));
  peer.Join();
}

TEST_P(RequestFailures, PeerThatClosesInsteadOfAnsweringGivesNoReply) {
  ScriptedPeer peer([](Connection& c) { c.ReceiveBytes(); });
  EXPECT_EQ(CarryOut(GetParam()), WithoutReply(family()));
  peer.Join();
}

TEST_P(RequestFailures, ReplyCutAtAnyByteIsNone) {
  const std::string reply = Serialize(GoodReply(GetParam()));
  for (size_t cut = 0; cut < reply.size(); ++cut) {
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      c.SendBytes(reply.substr(0, cut));
    });
    EXPECT_EQ(CarryOut(GetParam()), WithoutReply(family())) << cut;
    peer.Join();
  }
}

TEST_P(RequestFailures, GarbageIsNoReply) {
  ScriptedPeer peer([](Connection& c) {
    c.ReceiveBytes();
    c.SendBytes(std::string(100, '\x5A'));
    c.ClientCloses();
  });
  EXPECT_EQ(CarryOut(GetParam()), WithoutReply(family()));
  peer.Join();
}

TEST_P(RequestFailures, ReplyOf65534BytesIsTakenAndOneByteMoreIsNone) {
  for (const size_t size : {size_t{65533}, size_t{65534}, size_t{65535}}) {
    Elements reply = GoodReply(GetParam());
    const size_t filled = Serialize(reply).size() + 4;
    reply.push_back(Bytes(999, std::string(size - filled, 'f')));
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      EXPECT_EQ(Serialize(reply).size(), size);
      c.Send(reply);
      c.ClientCloses();
    });
    const uint32_t result = CarryOut(GetParam());
    peer.Join();
    EXPECT_EQ(result, size <= 65534 ? 0u : WithoutReply(family())) << size;
    if (family() == Family::kCount) {
      EXPECT_EQ(outcome.count, size <= 65534 ? 42u : 0xA5A5A5A5u) << size;
    }
  }
  outcome = {};
}

TEST_P(RequestFailures, ReplyInSingleBytesIsTaken) {
  const std::string reply = Serialize(GoodReply(GetParam()));
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    for (const char byte : reply)
      c.SendBytes(std::string(1, byte));
  });
  EXPECT_EQ(CarryOut(GetParam()), 0u);
  peer.Join();
  outcome = {};
}

// A failure of the container's memory shows as one of its own codes, one of ours as BYOD_ERR_FAILED
// or none; never as success, unless the family takes a missing reply for it.
TEST_P(RequestFailures, EachFailedAllocationInTurnIsAFailureAndLeavesNothing) {
  ScriptedPeer peer(
      [&](Connection& c) {
        c.ReceiveBytes();
        c.Send(GoodReply(GetParam()));
      },
      1'000);
  uint32_t n = 1;
  for (;; ++n) {
    PlatformFaults::Reset();
    FailingAllocation failing(n);
    const uint32_t result = CarryOut(GetParam());
    const bool failed = failing.Failed();
    failing.Disarm();
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0) << n;
    if (family() == Family::kListing && PlatformFaults::Count(PlatformFaults::kFlush) == 0) {
      for (const uint32_t handle : PlatformFaults::Alive())
        Message::Take(handle);
    }
    EXPECT_TRUE(PlatformFaults::Alive().empty()) << n;
    if (!failed) {
      EXPECT_EQ(result, 0u);
      break;
    }
    if (family() == Family::kCount && PlatformFaults::Count(PlatformFaults::kFlush) == 1) {
      EXPECT_EQ(result, 0u) << n;
      EXPECT_EQ(outcome.count, 0xA5A5A5A5u) << n;
    } else if (family() != Family::kListing || outcome.callbacks != 0) {
      EXPECT_NE(result, 0u) << n;
    }
    ASSERT_LT(n, 500u);
  }
  peer.Stop();
  outcome = {};
}

}  // namespace
