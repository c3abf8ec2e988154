// SPDX-License-Identifier: Apache-2.0
// Identifications over the caller's own connection.
#include <gtest/gtest.h>

#include <string>

#include "cfgmsg/requests.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr uint32_t kFailed = 0x40010001u;

struct FingerPrintQueries : testing::Test {
  void SetUp() override { PlatformFaults::Reset(); }
  void TearDown() override {
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
  }
  // Asks once with a reply at hand.
  template <typename Ask>
  uint32_t Asked(const Elements& reply, Ask ask) {
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      c.Send(reply);
      c.ClientCloses();
    });
    const int connection = BYOD_Init();
    EXPECT_GE(connection, 0);
    const uint32_t result = ask(connection);
    BYOD_Fini(connection);
    return result;
  }
  const ByodFingerPrint fp = FingerPrint();
};

TEST_F(FingerPrintQueries, OneConnectionServesManyAndStaysOpen) {
  bool closed = false;
  int asked = 0;
  ScriptedPeer peer([&](Connection& c) {
    for (; asked < 9; ++asked) {
      if (c.ReceiveBytes().empty()) break;
      c.Send({Number(12, asked == 4 ? 5 : 0), Text(8, "N"), Text(16, "V"), Text(17, "O")});
    }
    closed = c.ClientCloses();
  });
  const int connection = BYOD_Init();
  for (int i = 0; i < 9; ++i) {
    char text[64] = "";
    ByodDeviceAttribute attribute = {};
    uint32_t result = 0;
    if (i % 3 == 0) result = BYOD_cfgmsg_GetDeviceVendor(connection, &fp, sizeof text, text);
    if (i % 3 == 1) result = BYOD_cfgmsg_GetDeviceType(connection, &fp, sizeof text, text);
    if (i % 3 == 2) result = BYOD_cfgmsg_GetDeviceAttribute(connection, &fp, &attribute);
    EXPECT_EQ(result, i == 4 ? kFailed : 0u) << i;
    if (i == 0) {
      EXPECT_STREQ(text, "V");
    }
    if (i == 1) {
      EXPECT_STREQ(text, "N");
    }
    if (i == 2) {
      EXPECT_STREQ(attribute.os, "O");
    }
  }
  BYOD_Fini(connection);
  peer.Join();
  EXPECT_EQ(asked, 9);
  EXPECT_TRUE(closed);
  EXPECT_EQ(peer.accepted(), 1);
}

TEST_F(FingerPrintQueries, DaemonsCodeIsNotPassedOn) {
  for (const uint32_t code : {0x40010006u, 0x40010009u, 1u}) {
    char text[64] = "before";
    const auto vendor = [&](int c) { return BYOD_cfgmsg_GetDeviceVendor(c, &fp, 64, text); };
    EXPECT_EQ(Asked({Number(12, code), Text(16, "V")}, vendor), kFailed);
    EXPECT_STREQ(text, "before");
  }
}

TEST_F(FingerPrintQueries, AnswerMustFitTheCallersBuffer) {
  for (const uint32_t size : {0u, 4u, 5u, 6u}) {
    char text[8] = "#######";
    const auto name = [&](int c) { return BYOD_cfgmsg_GetDeviceType(c, &fp, size, text); };
    EXPECT_EQ(Asked({Number(12, 0), Text(8, "four")}, name), size >= 5 ? 0u : kFailed) << size;
    EXPECT_STREQ(text, size >= 5 ? "four" : "#######") << size;
  }
}

TEST_F(FingerPrintQueries, MissingOrEmptyAnswerFails) {
  char text[64];
  const auto vendor = [&](int c) { return BYOD_cfgmsg_GetDeviceVendor(c, &fp, 64, text); };
  const auto name = [&](int c) { return BYOD_cfgmsg_GetDeviceType(c, &fp, 64, text); };
  EXPECT_EQ(Asked({Number(12, 0), Text(8, "N")}, vendor), kFailed);
  EXPECT_EQ(Asked({Number(12, 0), Text(16, "V")}, name), kFailed);
  EXPECT_EQ(Asked({Number(12, 0), Bytes(16, "")}, vendor), kFailed);
  EXPECT_EQ(Asked({Number(12, 0), Text(16, "")}, vendor), 0u);
  EXPECT_STREQ(text, "");
}

TEST_F(FingerPrintQueries, AttributesFillTheRecordFromItsStart) {
  struct {
    ByodDeviceAttribute attribute;
    char behind[128];
  } out;
  std::memset(&out, 0xA5, sizeof out);
  const auto ask = [&](int c) { return BYOD_cfgmsg_GetDeviceAttribute(c, &fp, &out.attribute); };
  EXPECT_EQ(Asked({Number(12, 0), Text(17, "RTOS"), Text(16, "ACME"), Text(18, "printer")}, ask),
            0u);
  EXPECT_STREQ(out.attribute.vendor, "ACME");
  EXPECT_STREQ(out.attribute.category, "printer");
  EXPECT_STREQ(out.attribute.os, "RTOS");
  EXPECT_EQ(std::string(out.behind, 128), std::string(128, '\xA5'));
}

TEST_F(FingerPrintQueries, AttributesThatAreNotSentKeepWhatTheRecordHolds) {
  ByodDeviceAttribute attribute = {"kept", "kept", "kept"};
  const auto ask = [&](int c) { return BYOD_cfgmsg_GetDeviceAttribute(c, &fp, &attribute); };
  EXPECT_EQ(Asked({Number(12, 0), Text(18, "new")}, ask), 0u);
  EXPECT_STREQ(attribute.vendor, "kept");
  EXPECT_STREQ(attribute.category, "new");
  EXPECT_EQ(Asked({Number(12, 0), Text(16, "V"), Text(18, std::string(64, 'x'))}, ask), kFailed);
  EXPECT_STREQ(attribute.vendor, "V");
}

TEST_F(FingerPrintQueries, AttributeQueryChecksItsArgumentsAndSendsNothing) {
  ByodDeviceAttribute attribute = {};
  EXPECT_EQ(BYOD_cfgmsg_GetDeviceAttribute(-1, &fp, &attribute), kFailed);
  EXPECT_EQ(BYOD_cfgmsg_GetDeviceAttribute(0, nullptr, &attribute), kFailed);
  EXPECT_EQ(BYOD_cfgmsg_GetDeviceAttribute(0, &fp, nullptr), kFailed);
  EXPECT_EQ(PlatformFaults::Made(), 0);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kFlush), 0);
}

TEST_F(FingerPrintQueries, UncheckedNegativeConnectionFailsInTheSend) {
  char text[64] = "before";
  EXPECT_EQ(BYOD_cfgmsg_GetDeviceVendor(-1, &fp, 64, text), kFailed);
  EXPECT_EQ(BYOD_cfgmsg_GetDeviceType(-1, &fp, 64, text), kFailed);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kFlush), 2);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kReceive), 0);
}

TEST_F(FingerPrintQueries, RequestIsDestroyedBeforeTheReplyIsRead) {
  char text[64];
  const auto vendor = [&](int c) { return BYOD_cfgmsg_GetDeviceVendor(c, &fp, 64, text); };
  PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 1);
  EXPECT_EQ(Asked({Number(12, 0), Text(16, "V")}, vendor), kFailed);
  EXPECT_EQ(PlatformFaults::Made(), 2);
}

TEST_F(FingerPrintQueries, ClosingANegativeConnectionDoesNothing) {
  const int before = OpenDescriptors();
  BYOD_Fini(-1);
  BYOD_Fini(-2147483647 - 1);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(FingerPrintQueries, ConnectionCannotBeHadWithoutDaemon) {
  SetUnreachable();
  const int before = OpenDescriptors();
  EXPECT_EQ(BYOD_Init(), -1);
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), -1);
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
