// SPDX-License-Identifier: Apache-2.0
// One request and one reply: the connection, the result, and the rule in a reply.
#include <gtest/gtest.h>

#include <string>

#include "cfgmsg/requests.h"
#include "support/golden.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr uint32_t kFailed = 0x40010001u;

struct Exchange : testing::Test {
  void SetUp() override { PlatformFaults::Reset(); }
  void TearDown() override {
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
  }
};

ScriptedPeer::Script Answering(const Elements& reply) {
  return [reply](Connection& c) {
    c.ReceiveBytes();
    c.Send(reply);
  };
}

// ---- the three exchanges

TEST_F(Exchange, ReplyIsTheCallersAndTheRequestStaysHis) {
  const Message request({Number(1, 2), Number(2, 6)});
  bool closed = false;
  Elements sent;
  ScriptedPeer peer([&](Connection& c) {
    sent = c.Receive();
    c.Send({Number(13, 5)});
    closed = c.ClientCloses();
  });
  const Message reply = Message::Take(Byod_SendAndGetReply(request.get()));
  peer.Join();
  EXPECT_EQ(reply.elements(), (Elements{Number(13, 5)}));
  EXPECT_EQ(sent, request.elements());
  EXPECT_TRUE(closed);
}

TEST_F(Exchange, RequestIsNeverDestroyedByTheExchange) {
  const Message request({Number(1, 2)});
  SetUnreachable();
  EXPECT_EQ(Byod_SendAndGetReply(request.get()), 0u);
  EXPECT_EQ(Byod_SendAndGetResult(request.get()), kFailed);
  EXPECT_EQ(Byod_SendAndGetMacRule(request.get()), nullptr);
  EXPECT_EQ(Byod_SendAndGetUserAgentRule(request.get()), nullptr);
  EXPECT_EQ(Byod_SendAndGetDhcpOptionRule(request.get()), nullptr);
  ScriptedPeer peer(Answering({Number(12, 3)}), 4);
  EXPECT_EQ(Byod_SendAndGetResult(request.get()), 3u);
  EXPECT_EQ(Byod_SendAndGetMacRule(request.get()), nullptr);
  EXPECT_EQ(Byod_SendAndGetUserAgentRule(request.get()), nullptr);
  EXPECT_EQ(Byod_SendAndGetDhcpOptionRule(request.get()), nullptr);
  peer.Join();
  EXPECT_EQ(request.elements(), (Elements{Number(1, 2)}));
  EXPECT_EQ(PlatformFaults::Made(), 4);
}

// ---- one rule

Elements RuleReply(const Elements& key) {
  Elements reply = {Number(12, 0), Number(3, 0x80000001u), Number(21, 0x1FFFF)};
  reply.insert(reply.end(), key.begin(), key.end());
  for (const Element& element :
       {Text(8, "Name"), Text(16, "ACME"), Text(18, "printer"), Text(17, "RTOS")}) {
    reply.push_back(element);
  }
  return reply;
}

template <typename Rule>
void ExpectInformation(const Owned<Rule>& rule) {
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(rule->origin, 0x80000001u);
  EXPECT_EQ(rule->modified, 0xFFFFu);
  EXPECT_EQ(rule->predefined, nullptr);
  ASSERT_NE(rule->configured, nullptr);
  EXPECT_STREQ(rule->configured->name, "Name");
  EXPECT_STREQ(rule->configured->vendor, "ACME");
  EXPECT_STREQ(rule->configured->category, "printer");
  EXPECT_STREQ(rule->configured->os, "RTOS");
}

TEST_F(Exchange, RuleOfAReplyCarriesKeyNumbersAndItsInformationAsConfigured) {
  {
    ScriptedPeer peer(Answering(RuleReply({Bytes(6, kMac), Bytes(7, kMask)})));
    const Owned<ByodMacRule> rule(BYOD_cfgmsg_GetMacRule(kMac, 2, 0));
    ExpectInformation(rule);
    EXPECT_EQ(std::memcmp(rule->mac, kMac, 6), 0);
    EXPECT_EQ(std::memcmp(rule->mask, kMask, 6), 0);
    EXPECT_EQ(rule->node[0] | rule->node[1] | rule->node[2], 0u);
  }
  {
    ScriptedPeer peer(Answering(RuleReply({Text(5, std::string(255, 'k'))})));
    const Owned<ByodUserAgentRule> rule(BYOD_cfgmsg_GetUserAgentRule("k", 2, 0, 2));
    ExpectInformation(rule);
    EXPECT_EQ(std::string(rule->keyword), std::string(255, 'k'));
    EXPECT_EQ(rule->hash_link.prev, nullptr);
  }
  {
    ScriptedPeer peer(Answering(RuleReply({Text(4, "1,3,6")})));
    const Owned<ByodDhcpOptionRule> rule(BYOD_cfgmsg_GetDhcpOptionRule("1", 2, 0));
    ExpectInformation(rule);
    EXPECT_STREQ(rule->text, "1,3,6");
  }
}

TEST_F(Exchange, EmptyGoodReplyIsARuleOfNothing) {
  ScriptedPeer peer(Answering({Number(12, 0)}));
  const Owned<ByodMacRule> rule(BYOD_cfgmsg_GetMacRule(kMac, 2, 0));
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(rule->origin, 0u);
  EXPECT_EQ(rule->modified, 0u);
  EXPECT_EQ(rule->mac[5], 0);
  ASSERT_NE(rule->configured, nullptr);
  EXPECT_EQ(rule->configured->name[0], '\0');
}

TEST_F(Exchange, RuleThatDoesNotDecodeIsNone) {
  {
    ScriptedPeer peer(Answering(RuleReply({Bytes(6, "1234567")})));
    EXPECT_EQ(BYOD_cfgmsg_GetMacRule(kMac, 2, 0), nullptr);
  }
  {
    ScriptedPeer peer(Answering(RuleReply({Text(5, std::string(256, 'k'))})));
    EXPECT_EQ(BYOD_cfgmsg_GetUserAgentRule("k", 2, 0, 2), nullptr);
  }
  {
    ScriptedPeer peer(Answering(RuleReply({Bytes(4, "")})));
    EXPECT_EQ(BYOD_cfgmsg_GetDhcpOptionRule("1", 2, 0), nullptr);
  }
}

TEST_F(Exchange, RulesOfAnErrorReplyAreNotDecoded) {
  Elements reply = RuleReply({Bytes(6, kMac), Bytes(7, kMask)});
  reply[0] = Number(12, 0x40010009u);
  ScriptedPeer peer(Answering(reply));
  EXPECT_EQ(BYOD_cfgmsg_GetMacRule(kMac, 2, 0), nullptr);
}

// ---- building

TEST_F(Exchange, BuiltTextIsCutAt255CharactersAndAlwaysTerminated) {
  ByodTextRuleShowRec rec;
  std::memset(&rec, 'x', sizeof rec);
  const Owned<ByodUserAgentRule> agent(Byod_BuildUserAgentRule(1, 0, &rec));
  ASSERT_NE(agent, nullptr);
  EXPECT_EQ(std::string(agent->keyword), std::string(255, 'x'));
  const Owned<ByodDhcpOptionRule> option(Byod_BuildDhcpOptionRule(0, 0xFFFF, &rec));
  ASSERT_NE(option, nullptr);
  EXPECT_EQ(std::string(option->text), std::string(255, 'x'));
  EXPECT_EQ(option->modified, 0xFFFFu);
  EXPECT_EQ(std::string(option->configured->vendor), std::string(63, 'x'));
}

TEST_F(Exchange, BuiltMacRuleTakesTheAddressOfTheKeyAndTheMaskOfTheRecord) {
  ByodMacRule key = MacRule();
  std::memset(key.mask, 0x11, 6);
  ByodMacRuleShowRec rec = {};
  std::memcpy(rec.mask, kMask, 6);
  rec.info = Info();
  const Owned<ByodMacRule> rule(Byod_BuildMacRule(1, 7, &rec, &key));
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(rule->origin, 1u);
  EXPECT_EQ(rule->modified, 7u);
  EXPECT_EQ(std::memcmp(rule->mac, kMac, 6), 0);
  EXPECT_EQ(std::memcmp(rule->mask, kMask, 6), 0);
  EXPECT_EQ(rule->predefined, nullptr);
  EXPECT_EQ(std::memcmp(rule->configured, &rec.info, sizeof rec.info), 0);
}

// ---- golden replies

std::string Golden(const std::string& name) {
  const auto golden = ReadGolden("replies.txt");
  EXPECT_TRUE(golden.count(name)) << name;
  return golden.count(name) ? golden.at(name) : std::string();
}

ScriptedPeer::Script AnsweringGolden(const std::string& name) {
  return [bytes = Golden(name)](Connection& c) {
    c.ReceiveBytes();
    c.SendBytes(bytes);
  };
}

TEST_F(Exchange, GoldenResultsAreReturnedAsTheyStand) {
  const std::pair<const char*, uint32_t> results[] = {
      {"Done", 0}, {"NoChange", 0x40010006u}, {"RuleLimit", 0x2001000Cu}};
  for (const auto& [name, code] : results) {
    ScriptedPeer peer(AnsweringGolden(name));
    EXPECT_EQ(BYOD_cfgmsg_SetMacValue(1, kMac, kMask), code) << name;
  }
}

TEST_F(Exchange, GoldenRulesAreDecoded) {
  {
    ScriptedPeer peer(AnsweringGolden("MacRule"));
    const Owned<ByodMacRule> rule(BYOD_cfgmsg_GetMacRule(kMac, 2, 0));
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(std::memcmp(rule->mac, kMac, 6), 0);
    EXPECT_EQ(std::memcmp(rule->mask, kMask, 6), 0);
    EXPECT_EQ(rule->origin, 1u);
    EXPECT_STREQ(rule->configured->os, "RTOS");
  }
  {
    ScriptedPeer peer(AnsweringGolden("UserAgentRule"));
    const Owned<ByodUserAgentRule> rule(BYOD_cfgmsg_GetUserAgentRule("iPhone", 2, 0, 2));
    ASSERT_NE(rule, nullptr);
    EXPECT_STREQ(rule->keyword, "iPhone");
    EXPECT_STREQ(rule->configured->category, "printer");
  }
  {
    ScriptedPeer peer(AnsweringGolden("DhcpOptionRule"));
    const Owned<ByodDhcpOptionRule> rule(BYOD_cfgmsg_GetDhcpOptionRule("1,3,6", 2, 0));
    ASSERT_NE(rule, nullptr);
    EXPECT_STREQ(rule->text, "1,3,6");
    EXPECT_EQ(rule->modified, 1u);
    EXPECT_STREQ(rule->configured->vendor, "ACME");
  }
}

TEST_F(Exchange, GoldenOrderAndCountAreDecoded) {
  ByodOrder order = {};
  {
    ScriptedPeer peer(AnsweringGolden("Order"));
    EXPECT_EQ(BYOD_cfgmsg_GetOrder(&order), 0u);
  }
  EXPECT_EQ(order.slots[0], 2u);
  EXPECT_EQ(order.slots[1], 0u);
  EXPECT_EQ(order.slots[2], 1u);
  uint32_t count = 0;
  ScriptedPeer peer(AnsweringGolden("Count"));
  EXPECT_EQ(BYOD_cfgmsg_GetRulesCountByType(0, &count), 0u);
  EXPECT_EQ(count, 300u);
}

TEST_F(Exchange, GoldenFingerPrintAnswersAreDecoded) {
  const ByodFingerPrint fp = FingerPrint();
  ScriptedPeer peer([](Connection& c) {
    for (const char* name : {"DeviceType", "DeviceVendor", "DeviceAttribute"}) {
      c.ReceiveBytes();
      c.SendBytes(Golden(name));
    }
  });
  const int connection = BYOD_Init();
  char text[64];
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &fp, sizeof text, text), 0u);
  EXPECT_STREQ(text, "Name");
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &fp, sizeof text, text), 0u);
  EXPECT_STREQ(text, "ACME");
  ByodDeviceAttribute attribute;
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(connection, &fp, &attribute), 0u);
  EXPECT_STREQ(attribute.vendor, "ACME");
  EXPECT_STREQ(attribute.category, "printer");
  EXPECT_STREQ(attribute.os, "RTOS");
  BYOD_Fini(connection);
  peer.Join();
}

}  // namespace
