// SPDX-License-Identifier: Apache-2.0
// The public identification functions: the heuristic on the User-Agent, and what is logged before
// the daemon is asked.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "cfgmsg/requests.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

struct Logged {
  uint32_t level;
  std::string format, text, address;
  bool operator==(const Logged&) const = default;
};
std::vector<Logged> logged;

}  // namespace

// Takes the place of the platform's log.
extern "C" void LAUTH_dbg_PrintDbgInfo(uint32_t level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const void* const argument = va_arg(arguments, const void*);
  va_end(arguments);
  Logged line = {level, format, "", ""};
  if (line.format.find("%M") != std::string::npos) {
    line.address.assign(static_cast<const char*>(argument), 6);
  } else {
    line.text = static_cast<const char*>(argument);
  }
  logged.push_back(line);
}

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr uint32_t kFailed = 0x40010001u;

uint32_t TypeOf(const std::string& user_agent) {
  ByodFingerPrint fp = {};
  std::memcpy(fp.user_agent, user_agent.data(), user_agent.size());
  uint32_t type = 99;
  EXPECT_EQ(BYOD_GetDeviceTypeByFingerPrint(0, &fp, &type), 0u);
  return type;
}

TEST(DeviceTypeHeuristic, AndroidWithoutMobileIsATablet) {
  EXPECT_EQ(TypeOf("Mozilla/5.0 (Linux; Android 4.4; Nexus 7)"), 3u);
  EXPECT_EQ(TypeOf("Mozilla/5.0 (Linux; Android 4.4; Nexus 5) Mobile"), 2u);
  EXPECT_EQ(TypeOf("Mobile Android"), 2u);
  EXPECT_EQ(TypeOf("android phone"), 3u);
}

TEST(DeviceTypeHeuristic, IpadIsATabletAlsoWhenItSaysMobile) {
  EXPECT_EQ(TypeOf("Mozilla/5.0 (iPad; CPU OS 7_0 like Mac OS X) AppleWebKit Mobile/11A465"), 3u);
  EXPECT_EQ(TypeOf("Android Mobile iPad"), 3u);
}

TEST(DeviceTypeHeuristic, PhoneWordsAreMobiles) {
  EXPECT_EQ(TypeOf("mobile"), 2u);
  EXPECT_EQ(TypeOf("iPhone"), 2u);
  EXPECT_EQ(TypeOf("SymbianOS/9.4"), 2u);
  EXPECT_EQ(TypeOf("Windows Phone 8.0"), 2u);
  EXPECT_EQ(TypeOf("iPod touch"), 2u);
}

TEST(DeviceTypeHeuristic, EverythingElseIsAPc) {
  EXPECT_EQ(TypeOf("Mozilla/5.0 (Windows NT 6.1)"), 1u);
  EXPECT_EQ(TypeOf(""), 1u);
  EXPECT_EQ(TypeOf("Symbian"), 1u);
}

TEST(DeviceTypeHeuristic, CaseDoesNotCount) {
  EXPECT_EQ(TypeOf("ANDROID"), 3u);
  EXPECT_EQ(TypeOf("aNdRoId mObIlE"), 2u);
  EXPECT_EQ(TypeOf("SYMBIANOS"), 2u);
}

TEST(DeviceTypeHeuristic, Only255CharactersAreLookedAt) {
  EXPECT_EQ(TypeOf(std::string(251, ' ') + "iPad"), 3u);
  EXPECT_EQ(TypeOf(std::string(252, ' ') + "iPad"), 1u);  // a User-Agent without its NUL
}

TEST(DeviceTypeHeuristic, FingerPrintIsLeftAsItIs) {
  ByodFingerPrint fp = {};
  std::strcpy(fp.user_agent, "ANDROID");
  uint32_t type;
  BYOD_GetDeviceTypeByFingerPrint(0, &fp, &type);
  EXPECT_STREQ(fp.user_agent, "ANDROID");
}

TEST(DeviceTypeHeuristic, NegativeConnectionOrNullFailsAndLeavesTheTypeUntouched) {
  ByodFingerPrint fp = {};
  uint32_t type = 99;
  EXPECT_EQ(BYOD_GetDeviceTypeByFingerPrint(-1, &fp, &type), kFailed);
  EXPECT_EQ(BYOD_GetDeviceTypeByFingerPrint(0, nullptr, &type), kFailed);
  EXPECT_EQ(BYOD_GetDeviceTypeByFingerPrint(0, &fp, nullptr), kFailed);
  EXPECT_EQ(type, 99u);
}

TEST(DeviceTypeHeuristic, ConnectionIsNeverUsed) {
  ByodFingerPrint fp = {};
  uint32_t type = 99;
  PlatformFaults::Reset();
  EXPECT_EQ(BYOD_GetDeviceTypeByFingerPrint(2147483647, &fp, &type), 0u);
  EXPECT_EQ(PlatformFaults::Made(), 0);
}

// ---- the three that ask the daemon

struct Identification : testing::Test {
  void SetUp() override {
    PlatformFaults::Reset();
    logged.clear();
  }
  // What is logged when a terminal is asked for, by both that log.
  std::vector<Logged> LogOf(const ByodFingerPrint& fp) {
    std::vector<Logged> lines[2];
    int sent = 0;
    ScriptedPeer peer([&](Connection& c) {
      for (; sent < 2 && !c.ReceiveBytes().empty(); ++sent)
        c.Send({Number(12, 1)});
    });
    const int connection = BYOD_Init();
    char text[64];
    logged.clear();
    EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &fp, sizeof text, text), kFailed);
    lines[0] = std::move(logged);
    logged.clear();
    EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &fp, sizeof text, text), kFailed);
    lines[1] = std::move(logged);
    BYOD_Fini(connection);
    peer.Join();
    EXPECT_EQ(sent, 2);
    EXPECT_EQ(lines[0], lines[1]);
    return lines[0];
  }
};

constexpr char kOptionLine[] = "Obtained DHCP Option 55 fingerprint of the terminal: %s";
constexpr char kAgentLine[] = "Obtained HTTP user agent fingerprint of the terminal: %s";
constexpr char kMacLine[] = "Obtained MAC address fingerprint of the terminal: %M";

std::string WithoutLineEnd(std::string format) {
  while (!format.empty() && (format.back() == '\n' || format.back() == '\r'))
    format.pop_back();
  return format;
}

TEST_F(Identification, LogsTheThreePartsAtLevel2InOrder) {
  ByodFingerPrint fp = FingerPrint();
  fp.mac[0] = 0x02;
  const auto lines = LogOf(fp);
  ASSERT_EQ(lines.size(), 3u);
  for (const Logged& line : lines)
    EXPECT_EQ(line.level, 2u);
  EXPECT_EQ(WithoutLineEnd(lines[0].format), kOptionLine);
  EXPECT_EQ(lines[0].text, "1,3,6");
  EXPECT_EQ(WithoutLineEnd(lines[1].format), kAgentLine);
  EXPECT_EQ(lines[1].text, "Mozilla/5.0");
  EXPECT_EQ(WithoutLineEnd(lines[2].format), kMacLine);
  EXPECT_EQ(lines[2].address, std::string("\x02\x1A\x2B\x3C\x4D\x5E"));
}

TEST_F(Identification, EmptyTerminalIsAskedForWithoutALine) {
  EXPECT_EQ(LogOf(ByodFingerPrint{}), std::vector<Logged>{});
}

TEST_F(Identification, OptionListThatStartsWithByte0IsNotLogged) {
  ByodFingerPrint fp = {};
  fp.option_length = 3;
  std::memcpy(fp.options, "\0\x03\x06", 3);
  EXPECT_EQ(LogOf(fp), std::vector<Logged>{});
}

TEST_F(Identification, OptionListThatDoesNotFitItsTextIsNotLogged) {
  ByodFingerPrint fp = {};
  fp.option_length = 255;
  std::memset(fp.options, 200, sizeof fp.options);
  EXPECT_EQ(LogOf(fp), std::vector<Logged>{});
}

TEST_F(Identification, AddressThatStartsWithByte0IsNotLogged) {
  ByodFingerPrint fp = {};
  std::memcpy(fp.mac, kMac, 6);  // 00:1A:...
  EXPECT_EQ(LogOf(fp), std::vector<Logged>{});
}

TEST_F(Identification, AttributeQueryLogsNothing) {
  ByodFingerPrint fp = FingerPrint();
  fp.mac[0] = 2;
  ScriptedPeer peer([](Connection& c) {
    c.ReceiveBytes();
    c.Send({Number(12, 0)});
  });
  const int connection = BYOD_Init();
  ByodDeviceAttribute attribute;
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(connection, &fp, &attribute), 0u);
  BYOD_Fini(connection);
  EXPECT_TRUE(logged.empty());
}

TEST_F(Identification, OutputsAreEmptiedBeforeTheDaemonIsAsked) {
  const ByodFingerPrint fp = FingerPrint();
  ScriptedPeer peer([](Connection& c) {
    for (int i = 0; i < 3; ++i) {
      c.ReceiveBytes();
      c.Send({Number(12, 0x40010006u)});
    }
  });
  const int connection = BYOD_Init();
  char text[64] = "before";
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &fp, sizeof text, text), kFailed);
  EXPECT_STREQ(text, "");
  std::strcpy(text, "before");
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &fp, sizeof text, text), kFailed);
  EXPECT_STREQ(text, "");
  ByodDeviceAttribute attribute = {"before", "before", "before"};
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(connection, &fp, &attribute), kFailed);
  EXPECT_EQ(attribute.vendor[0] | attribute.category[0] | attribute.os[0], 0);
  BYOD_Fini(connection);
}

TEST_F(Identification, OutputWithoutRoomIsNeverWritten) {
  const ByodFingerPrint fp = FingerPrint();
  ScriptedPeer peer([](Connection& c) {
    for (int i = 0; i < 2; ++i) {
      c.ReceiveBytes();
      c.Send({Number(12, 0), Text(8, "Acme"), Text(16, "Acme")});
    }
  });
  const int connection = BYOD_Init();
  char text[64] = "before";
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &fp, 0, text), kFailed);
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &fp, 0, text), kFailed);
  EXPECT_STREQ(text, "before");
  BYOD_Fini(connection);
}

TEST_F(Identification, BadArgumentFailsWithoutTouchingAnything) {
  const ByodFingerPrint fp = FingerPrint();
  char text[64] = "before";
  ByodDeviceAttribute attribute = {"before", "", ""};
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(-1, &fp, 64, text), kFailed);
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(0, nullptr, 64, text), kFailed);
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(0, &fp, 64, nullptr), kFailed);
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(-1, &fp, 64, text), kFailed);
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(0, nullptr, 64, text), kFailed);
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(0, &fp, 64, nullptr), kFailed);
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(-1, &fp, &attribute), kFailed);
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(0, nullptr, &attribute), kFailed);
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(0, &fp, nullptr), kFailed);
  EXPECT_STREQ(text, "before");
  EXPECT_STREQ(attribute.vendor, "before");
  EXPECT_TRUE(logged.empty());
  EXPECT_EQ(PlatformFaults::Made(), 0);
}

}  // namespace
