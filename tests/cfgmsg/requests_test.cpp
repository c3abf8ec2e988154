// SPDX-License-Identifier: Apache-2.0
// What every request sends, and what it makes of a good reply and of a refusal.
#include <gtest/gtest.h>

#include <set>
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

struct Requests : testing::TestWithParam<Request> {
  void SetUp() override { PlatformFaults::Reset(); }
};

INSTANTIATE_TEST_SUITE_P(All, Requests, testing::ValuesIn(All()),
                         [](const auto& info) { return std::string(info.param.name); });

// What a call sends on the one connection that it makes.
template <typename Call>
Elements Sent(Call call) {
  Elements sent;
  ScriptedPeer peer([&](Connection& c) {
    sent = c.Receive();
    c.Send({Number(12, 0)});
  });
  call();
  peer.Join();
  EXPECT_EQ(peer.accepted(), 1);
  return sent;
}

TEST_P(Requests, SendsItsElementsInOrderOnOneConnectionThatItCloses) {
  Elements sent;
  bool closed = false;
  const int descriptors = OpenDescriptors();
  {
    ScriptedPeer peer([&](Connection& c) {
      sent = c.Receive();
      c.Send(GoodReply(GetParam()));
      closed = c.ClientCloses();
    });
    EXPECT_EQ(CarryOut(GetParam()), 0u);
    peer.Join();
    EXPECT_EQ(peer.accepted(), 1);
  }
  EXPECT_EQ(sent, GetParam().elements);
  EXPECT_TRUE(closed);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(PlatformFaults::Made(), 2);  // the request and the reply
  EXPECT_TRUE(PlatformFaults::Alive().empty());
  EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
}

TEST_P(Requests, WholeMessageIsSentAndAReplyOfUpTo65534BytesIsReadOnTheSameSocket) {
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    c.Send(GoodReply(GetParam()));
  });
  CarryOut(GetParam());
  peer.Join();
  ASSERT_EQ(PlatformFaults::Flushes().size(), 1u);
  ASSERT_GE(PlatformFaults::Receives().size(), 1u);  // a listing also tries the elements
  const PlatformFaults::Flush flush = PlatformFaults::Flushes()[0];
  const PlatformFaults::Receive receive = PlatformFaults::Receives()[0];
  EXPECT_EQ(flush.mode, 1u);
  EXPECT_EQ(flush.length, Serialize(GetParam().elements).size());
  EXPECT_EQ(receive.mode, 1u);
  EXPECT_EQ(receive.limit, 65534u);
  EXPECT_EQ(receive.source, flush.target);
}

TEST_P(Requests, BytesOnTheWireAreTheGoldenOnes) {
  static const auto golden = ReadGolden("requests.txt");
  ASSERT_TRUE(golden.count(GetParam().name));
  std::string bytes;
  ScriptedPeer peer([&](Connection& c) {
    bytes = c.ReceiveBytes();
    c.Send(GoodReply(GetParam()));
  });
  EXPECT_EQ(CarryOut(GetParam()), 0u);
  peer.Join();
  EXPECT_EQ(Hex(bytes), Hex(golden.at(GetParam().name)));
}

TEST(GoldenRequests, EachBelongsToARequestOfTheClient) {
  std::set<std::string> names;
  for (const Request& request : All())
    names.insert(request.name);
  for (const auto& [name, bytes] : ReadGolden("requests.txt"))
    EXPECT_TRUE(names.count(name)) << name;
}

TEST(GoldenRequests, EveryMessageKindIsAmongThem) {
  std::set<uint32_t> kinds;
  for (const auto& [name, bytes] : ReadGolden("requests.txt")) {
    for (const Element& element : Parse(bytes)) {
      if (element.type == 2) kinds.insert(static_cast<uint8_t>(element.bytes[3]));
    }
  }
  EXPECT_EQ(kinds,
            (std::set<uint32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
}

// ---- the operation

TEST(SetRequests, OperationIs1ForEveryAddButZero) {
  const ByodMacRule mac = MacRule();
  const ByodUserAgentRule agent = UserAgentRule();
  const ByodDhcpOptionRule option = DhcpOptionRule();
  const ByodDeviceInfo info = Info();
  const ByodOrder order = {{0, 1, 2}};
  for (const uint32_t add : {0u, 1u, 5u, 0x100u, 0x10000u, 0xFFFFFFFFu}) {
    const Element expected = Number(1, add != 0 ? 1 : 0);
    const auto operation = [](auto call) {
      const Elements sent = Sent(call);
      return sent.empty() ? Number(0, 0) : sent[0];
    };
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetMacValue(add, kMac, kMask); }), expected) << add;
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetUAValue(add, "a"); }), expected) << add;
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetDhcpOptValue(add, "1"); }), expected) << add;
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetOrder(add, &order); }), expected) << add;
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetMacRule(add, "n", &mac); }), expected) << add;
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetUserAgentRule(add, "n", &agent); }), expected);
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetDhcpOptionRule(add, "n", &option); }), expected);
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetMacDevAttr(add, kMac, kMask, &info, 1); }), expected);
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetUADevAttr(add, "a", &info, 1); }), expected) << add;
    EXPECT_EQ(operation([&] { BYOD_cfgmsg_SetDhcpOptDevAttr(add, "1", &info, 1); }), expected);
  }
}

TEST(RuleQueries, OperationKindAndSelectorsAreTheCallersOwn) {
  EXPECT_EQ(
      Sent([] { Got(BYOD_cfgmsg_GetMacRule(kMac, 0xFFFFFFFFu, 0x80000001u)); }),
      (Elements{Number(1, 0xFFFFFFFFu), Number(20, 0x80000001u), Number(2, 2), Bytes(6, kMac)}));
  EXPECT_EQ(Sent([] { Got(BYOD_cfgmsg_GetMacRuleNetconf(kMac, kMask, 0, 77, 5, 6)); }),
            (Elements{Number(1, 0), Number(2, 77), Number(20, 5), Number(22, 6), Bytes(6, kMac),
                      Bytes(7, kMask)}));
  EXPECT_EQ(Sent([] { Got(BYOD_cfgmsg_GetUserAgentRule("", 9, 8, 7)); }),
            (Elements{Number(1, 9), Number(20, 8), Number(22, 7), Number(2, 1), Text(5, "")}));
  EXPECT_EQ(Sent([] { Got(BYOD_cfgmsg_GetDhcpOptionRule("", 9, 8)); }),
            (Elements{Number(1, 9), Number(20, 8), Number(2, 0), Text(4, "")}));
}

TEST(CountQuery, EveryKindButDhcpAndUserAgentAsksForMacRules) {
  const auto asked = [](uint32_t kind) {
    uint32_t count;
    return Sent([&] { BYOD_cfgmsg_GetRulesCountByType(kind, &count); })[1];
  };
  EXPECT_EQ(asked(0), Number(2, 4));
  EXPECT_EQ(asked(1), Number(2, 5));
  EXPECT_EQ(asked(2), Number(2, 6));
  EXPECT_EQ(asked(7), Number(2, 6));
  EXPECT_EQ(asked(0xFFFFFFFFu), Number(2, 6));
}

// ---- texts

TEST(SetRequests, TextOf65535CharactersIsSentWithLengthZero) {
  const std::string text(65535, 'u');
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetUAValue(1, text.c_str()); }),
            (Elements{Number(1, 1), Number(2, 15), Bytes(5, "")}));
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetDhcpOptValue(0, text.c_str()); }),
            (Elements{Number(1, 0), Number(2, 14), Bytes(4, "")}));
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetUAValue(1, (text + "xyz").c_str()); }),
            (Elements{Number(1, 1), Number(2, 15), Bytes(5, "uuu")}));
}

TEST(SetRequests, TextOf65534CharactersIsSentWhole) {
  const std::string text(65534, 'u');
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetUAValue(1, text.c_str()); }),
            (Elements{Number(1, 1), Number(2, 15), Text(5, text)}));
}

TEST(SetRequests, EmptyValueIsSentAsItsNul) {
  EXPECT_EQ(Sent([] { BYOD_cfgmsg_SetUAValue(1, ""); }),
            (Elements{Number(1, 1), Number(2, 15), Text(5, "")}));
}

TEST(SetRequests, RuleTextIsLeftOutWhenEmptyAndTheNameWhenNull) {
  ByodUserAgentRule agent = {};
  ByodDhcpOptionRule option = {};
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetUserAgentRule(1, nullptr, &agent); }),
            (Elements{Number(1, 1), Number(2, 1), Number(3, 0)}));
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetDhcpOptionRule(1, "", &option); }),
            (Elements{Number(1, 1), Number(2, 0), Number(3, 0), Text(8, "")}));
}

TEST(SetRequests, OrderLeavesUnusedSlotsOut) {
  const ByodOrder order = {{0xFFFFFFFFu, 1, 0xFFFFFFFFu}};
  EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetOrder(1, &order); }),
            (Elements{Number(1, 1), Number(2, 11), Number(15, 1)}));
}

TEST(SetRequests, EachKindSendsItsOneAttribute) {
  const ByodDeviceInfo info = Info();
  const Element attributes[] = {Text(16, "ACME"), Text(18, "printer"), Text(17, "RTOS")};
  for (uint32_t kind = 1; kind <= 3; ++kind) {
    EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetUADevAttr(1, "a", &info, kind); }),
              (Elements{Number(1, 1), Number(2, 18), Number(19, kind), Text(5, "a"),
                        attributes[kind - 1]}));
    EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetDhcpOptDevAttr(1, "1", &info, kind); }),
              (Elements{Number(1, 1), Number(2, 17), Number(19, kind), Text(4, "1"),
                        attributes[kind - 1]}));
    EXPECT_EQ(Sent([&] { BYOD_cfgmsg_SetMacDevAttr(1, kMac, kMask, &info, kind); }),
              (Elements{Number(1, 1), Number(2, 19), Number(19, kind), Bytes(6, kMac),
                        Bytes(7, kMask), attributes[kind - 1]}));
  }
}

TEST(SetRequests, AttributeOfAnUnknownKindOrWithoutValueIsNotSent) {
  const ByodDeviceInfo info = Info();
  PlatformFaults::Reset();
  ScriptedPeer peer([](Connection&) {});
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "a", &info, 4), kFailed);
  EXPECT_EQ(BYOD_cfgmsg_SetDhcpOptDevAttr(1, "1", &info, 0), kFailed);
  EXPECT_EQ(BYOD_cfgmsg_SetMacDevAttr(1, kMac, kMask, nullptr, 1), kFailed);
  peer.Stop();
  EXPECT_EQ(peer.accepted(), 0);
  EXPECT_EQ(PlatformFaults::Made(), 3);
  EXPECT_TRUE(PlatformFaults::Alive().empty());
}

// ---- replies

struct Replied {
  uint32_t result;
  int accepted;
};

Replied Answer(const Request& request, const Elements& reply) {
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    c.Send(reply);
  });
  Replied replied = {CarryOut(request), 0};
  peer.Join();
  replied.accepted = peer.accepted();
  return replied;
}

const Request& Named(const std::string& name) {
  for (const Request& request : All()) {
    if (name == request.name) return request;
  }
  ADD_FAILURE() << name;
  return All()[0];
}

TEST_P(Requests, DaemonsCodeIsPassedOnAsTheFamilyDoes) {
  for (const uint32_t code : {0x40010001u, 0x40010006u, 0x2001000Cu, 1u, 0xFFFFFFFFu}) {
    PlatformFaults::Reset();
    Elements reply = GoodReply(GetParam());
    reply[0] = Number(12, code);
    const Replied replied = Answer(GetParam(), reply);
    switch (GetParam().family) {
      case Family::kSet:
      case Family::kOrder:
      case Family::kListing:
        EXPECT_EQ(replied.result, code);
        break;
      case Family::kRule:
      case Family::kFingerPrint:
        EXPECT_EQ(replied.result, kFailed);
        break;
      case Family::kCount:
        EXPECT_EQ(replied.result, 0u);
        EXPECT_EQ(outcome.count, 0u);
        break;
    }
    EXPECT_EQ(outcome.callbacks, 0);
    EXPECT_EQ(outcome.order.slots[0], 7u);
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
  }
}

TEST_P(Requests, ReplyWithoutResultCodeCountsAsFailedButForCounts) {
  Elements reply = GoodReply(GetParam());
  if (reply[0].type == 12) reply.erase(reply.begin());
  EXPECT_EQ(Answer(GetParam(), reply).result, GetParam().family == Family::kCount ? 0u : kFailed);
}

TEST(OrderQuery, FillsTheSlotsThatTheDaemonNamesAndKeepsTheOthers) {
  EXPECT_EQ(Answer(Named("GetOrder"), {Number(12, 0), Number(15, 2), Number(15, 9)}).result, 0u);
  EXPECT_EQ(outcome.order.slots[0], 2u);
  EXPECT_EQ(outcome.order.slots[1], 8u);
  EXPECT_EQ(outcome.order.slots[2], 9u);
  EXPECT_EQ(Answer(Named("GetOrder"), {Number(12, 0)}).result, 0u);
  EXPECT_EQ(outcome.order.slots[0], 7u);
}

TEST(CountQuery, ErrorReplyWithoutCountStoresZeroAndSucceeds) {
  EXPECT_EQ(Answer(Named("GetMacRulesCount"), {Number(12, kFailed)}).result, 0u);
  EXPECT_EQ(outcome.count, 0u);
}

TEST(CountQuery, CountOfAnErrorReplyIsTaken) {
  EXPECT_EQ(
      Answer(Named("GetMacRulesCount"), {Number(12, kFailed), Number(13, 5), Number(13, 6)}).result,
      0u);
  EXPECT_EQ(outcome.count, 5u);
}

}  // namespace
