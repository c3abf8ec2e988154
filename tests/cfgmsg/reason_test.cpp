// SPDX-License-Identifier: Apache-2.0
// errno says why a request has no good answer, also where its result does not.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "cfgmsg/requests.h"
#include "protocol/extensions.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr uint32_t kFailed = 0x40010001u;

struct Reason : testing::TestWithParam<Request> {
  void SetUp() override { PlatformFaults::Reset(); }

  bool IsFingerPrint() const { return GetParam().family == Family::kFingerPrint; }
  bool IsCount() const { return GetParam().family == Family::kCount; }

  /// errno behind the request, to which the daemon answers so.
  int With(const Elements& reply) {
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      c.Send(reply);
    });
    const int reason = Ask();
    peer.Join();
    return reason;
  }

  int Ask() {
    outcome = {};
    const int connection = IsFingerPrint() ? BYOD_Init() : -1;
    errno = EXDEV;  // an earlier call's
    GetParam().call(connection);
    const int reason = errno;
    BYOD_Fini(connection);
    return reason;
  }
};

INSTANTIATE_TEST_SUITE_P(All, Reason, testing::ValuesIn(All()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(Reason, IsNoneForAGoodAnswer) {
  EXPECT_EQ(With(GoodReply(GetParam())), 0);
}

TEST_P(Reason, IsThatOfTheConnectionWithoutADaemon) {
  if (IsFingerPrint()) GTEST_SKIP() << "asks on a connection that is there";
  SetUnreachable();
  EXPECT_EQ(Ask(), ENOENT);
  // A socket without a listener.
  const std::string path = "/tmp/byod-reason-" + std::to_string(getpid());
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(listener);
  setenv("LAUTHD_SOCKET", path.c_str(), 1);
  EXPECT_EQ(Ask(), ECONNREFUSED);
  unlink(path.c_str());
}

TEST_P(Reason, SaysThatNoAnswerCame) {
  for (const auto fault : {PlatformFaults::kFlush, PlatformFaults::kReceive}) {
    PlatformFaults::Reset();
    ScriptedPeer peer([](Connection& c) { c.ReceiveBytes(); });
    PlatformFaults::Fail(fault, 1, 0);
    EXPECT_EQ(Ask(), ECONNABORTED);
    peer.Stop();
  }
  PlatformFaults::Reset();
  ScriptedPeer peer([](Connection& c) { c.ReceiveBytes(); });
  EXPECT_EQ(Ask(), ECONNABORTED);
  peer.Join();
}

TEST_P(Reason, SaysWhatTheDaemonsRefusalIs) {
  if (IsCount()) GTEST_SKIP() << "its answer is a number in any case";
  const auto refused = [&](uint32_t refusal) {
    return With({Number(12, kFailed), Number(BYOD_EXT_REFUSAL, refusal)});
  };
  EXPECT_EQ(refused(BYOD_REFUSAL_PERMISSION), EPERM);
  EXPECT_EQ(refused(BYOD_REFUSAL_NOT_FOUND), ENODATA);
  EXPECT_EQ(refused(BYOD_REFUSAL_UNIDENTIFIED), ENODATA);
  EXPECT_EQ(refused(BYOD_REFUSAL_MALFORMED), EREMOTEIO);
  EXPECT_EQ(refused(BYOD_REFUSAL_CONFLICT), EREMOTEIO);
  EXPECT_EQ(With({Number(12, kFailed)}), EREMOTEIO);
  EXPECT_EQ(With({Number(12, 0x40010006u)}), EREMOTEIO);
}

TEST_P(Reason, SaysThatTheRequestCouldNotBeMade) {
  ScriptedPeer peer([](Connection& c) { c.ReceiveBytes(); });
  PlatformFaults::Fail(PlatformFaults::kCreate, 1, 0);
  EXPECT_EQ(Ask(), ENOMEM);
  peer.Stop();
}

/// A connection of BYOD_Init, on which the daemon gives one answer.
template <typename Call>
int WithAnswer(const Elements& reply, Call call) {
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    c.Send(reply);
  });
  const int connection = BYOD_Init();
  errno = EXDEV;
  call(connection);
  const int reason = errno;
  BYOD_Fini(connection);
  peer.Join();
  return reason;
}

TEST(ReasonOfAnAnswer, IsUnknownWithoutTheTextAndBadWhenItDoesNotFit) {
  const ByodFingerPrint terminal = {};
  char text[4];
  const auto ask = [&](int connection) {
    EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &terminal, sizeof text, text), kFailed);
  };
  EXPECT_EQ(WithAnswer({Number(12, 0)}, ask), ENODATA);
  EXPECT_EQ(WithAnswer({Number(12, 0), Text(16, "long")}, ask), EBADMSG);
}

TEST(ReasonOfAnAnswer, IsBadWhenItDoesNotDecode) {
  ByodDeviceAttribute attributes;
  const ByodFingerPrint terminal = {};
  EXPECT_EQ(WithAnswer({Number(12, 0), Text(16, std::string(64, 'x'))},
                       [&](int connection) {
                         BYOD_GetDeviceAttributeByFingerPrint(connection, &terminal, &attributes);
                       }),
            EBADMSG);
  ScriptedPeer peer([](Connection& c) {
    c.ReceiveBytes();
    c.Send({Number(12, 0), Text(5, std::string(256, 'x'))});
  });
  EXPECT_EQ(BYOD_cfgmsg_GetUserAgentRule("x", 2, 0, 0), nullptr);
  EXPECT_EQ(errno, EBADMSG);
  peer.Join();
}

TEST(ReasonOfAnAnswer, IsThatNoneCameWithinTheCallersOwnTimeout) {
  ScriptedPeer peer([](Connection& c) {
    c.ReceiveBytes();
    c.ClientCloses();
  });
  const int connection = BYOD_Init();
  const timeval timeout = {0, 20000};
  ASSERT_EQ(setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout), 0);
  const ByodFingerPrint terminal = {};
  char text[64];
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &terminal, sizeof text, text), kFailed);
  EXPECT_EQ(errno, ECONNABORTED);
  BYOD_Fini(connection);
  peer.Join();
}

TEST(ReasonOfAnAnswer, WithoutACountIsUnknown) {
  ScriptedPeer peer([](Connection& c) {
    c.ReceiveBytes();
    c.Send({Number(12, 0)});
  });
  uint32_t count = 7;
  EXPECT_EQ(BYOD_cfgmsg_GetRulesCountByType(0, &count), 0u);
  EXPECT_EQ(errno, ENODATA);
  peer.Join();
}

TEST(ReasonOfArguments, IsThatTheyAreInvalid) {
  const ByodFingerPrint terminal = {};
  ByodDeviceAttribute attributes;
  const auto expect_invalid = [](uint32_t result) {
    EXPECT_EQ(result, kFailed);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
  };
  uint32_t type;
  char text[64];
  expect_invalid(BYOD_cfgmsg_GetDeviceAttribute(-1, &terminal, &attributes));
  expect_invalid(BYOD_GetDeviceAttributeByFingerPrint(3, nullptr, &attributes));
  expect_invalid(BYOD_GetDeviceTypeByFingerPrint(3, &terminal, nullptr));
  expect_invalid(BYOD_GetDeviceTypeByFingerPrint(-1, &terminal, &type));
  expect_invalid(BYOD_GetDeviceNameByFingerPrint(-1, &terminal, sizeof text, text));
  expect_invalid(BYOD_cfgmsg_SetUADevAttr(1, "x", nullptr, 1));
}

// An undo of the order without an order crashed.
TEST(OrderWithoutSlots, IsUndoneAndNeverSet) {
  std::vector<Element> sent;
  ScriptedPeer peer([&](Connection& c) {
    sent = c.Receive();
    c.Send({Number(12, 0)});
  });
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(1, nullptr), kFailed);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(0, nullptr), 0u);
  peer.Join();
  EXPECT_EQ(sent, (std::vector<Element>{Number(1, 0), Number(2, 11)}));
}

}  // namespace
