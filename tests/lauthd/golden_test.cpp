// SPDX-License-Identifier: Apache-2.0
// The daemon's side of every message kind, byte for byte: the requests of tests/golden/requests.txt
// are answered with tests/golden/answers.txt.
#include <sys/socket.h>

#include "lauth_tlv_stream.h"
#include "tests/lauthd/client.h"
#include "tests/support/golden.h"

namespace byod::test {
namespace {

// In this order, as each finds what those before it have left.
constexpr const char* kConversation[] = {"SetDhcpOptionRule",
                                         "SetUserAgentRule",
                                         "SetMacRule",
                                         "SetDhcpOptDevAttr",
                                         "SetUADevAttr",
                                         "SetMacDevAttr",
                                         "SetDhcpOptValue",
                                         "SetUAValue",
                                         "SetMacValue",
                                         "GetDhcpOptionRule",
                                         "GetUserAgentRule",
                                         "GetMacRule",
                                         "GetMacRuleNetconf",
                                         "GetDhcpOptionRulesCount",
                                         "GetUserAgentRulesCount",
                                         "GetMacRulesCount",
                                         "GetAndShowDhcpOptionRules",
                                         "GetAndShowUserAgentRules",
                                         "GetAndShowMacRules",
                                         "GetOrder",
                                         "SetOrder",
                                         "GetDeviceType",
                                         "GetDeviceVendor",
                                         "GetDeviceAttribute",
                                         "UndoMacRule"};

/// One message as it comes.
std::string ReceiveBytes(int socket) {
  std::string bytes;
  for (;;) {
    const auto* const start = reinterpret_cast<const uint8_t*>(bytes.data());
    const int64_t length = TLV_Stream_MessageLength(start, bytes.size());
    if (length < 0 || (length > 0 && static_cast<size_t>(length) == bytes.size())) return bytes;
    char byte;
    if (recv(socket, &byte, 1, 0) != 1) return bytes;
    bytes += byte;
  }
}

TEST(GoldenAnswers, AreWhatTheDaemonSaysToTheGoldenRequests) {
  DaemonProcess daemon({"--no-database"});
  daemon.WriteRules("dhcp-option.csv",
                    "options,name,vendor,category,os\n"
                    "\"1,28\",Clock,,,\n\"1,3,6,15\",,Acme,phone,RTOS\n");
  daemon.WriteRules("user-agent.csv",
                    "expression,name,vendor,category,os\n"
                    "Mozilla/5.0,Browser,,computer,\niPod,,Apple,player,iOS\n");
  daemon.WriteRules("mac.csv",
                    "mac,mask,name,vendor,category,os\n"
                    "00:1a:2b/24,,Maker,,,\n00:1a:2c/24,,,Other maker,,\n");
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  const auto requests = support::ReadGolden("requests.txt");
  const auto answers = support::ReadGolden("answers.txt");
  EXPECT_EQ(std::size(kConversation), requests.size());
  EXPECT_EQ(answers.size(), requests.size());
  Client client(daemon);
  for (const char* const name : kConversation) {
    ASSERT_TRUE(requests.count(name)) << name;
    const std::string& request = requests.at(name);
    ASSERT_TRUE(client.SendBytes(request.data(), request.size()));
    const std::string answer = ReceiveBytes(client.socket());
    const std::string expected = answers.count(name) != 0 ? answers.at(name) : std::string();
    EXPECT_EQ(support::Hex(answer), support::Hex(expected)) << name;
  }
}

}  // namespace
}  // namespace byod::test
