// SPDX-License-Identifier: Apache-2.0
// A listing's series of replies, and the rules in one reply.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfgmsg/requests.h"
#include "support/failing_allocator.h"
#include "support/golden.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kContinue = 0x40010009u;

struct Rule {
  uint32_t origin;
  uint16_t modified;
  std::string key;
  ByodDeviceInfo info;
  bool has_predefined;
};
std::vector<Rule> listed;

template <typename Record>
Rule Common(const Record& rule) {
  return {rule.origin, rule.modified, "", *rule.configured, rule.predefined != nullptr};
}

uint32_t ListMac(const void* record) {
  const auto& rule = *static_cast<const ByodMacRule*>(record);
  listed.push_back(Common(rule));
  listed.back().key.assign(reinterpret_cast<const char*>(rule.mac), 12);  // and the mask behind it
  return kFailed;
}

uint32_t ListUserAgent(const void* record) {
  const auto& rule = *static_cast<const ByodUserAgentRule*>(record);
  listed.push_back(Common(rule));
  listed.back().key = rule.keyword;
  return 0;
}

uint32_t ListDhcpOption(const void* record) {
  const auto& rule = *static_cast<const ByodDhcpOptionRule*>(record);
  listed.push_back(Common(rule));
  listed.back().key = rule.text;
  return 1;
}

// One case list for the three listings.
struct Listing {
  const char* name;
  uint32_t (*request)(ByodRuleCallback);
  void (*walk)(uint32_t, ByodRuleCallback);
  ByodRuleCallback callback;
  // The elements of a key, made of a short text.
  Elements (*key)(const std::string&);
};

Elements MacKey(const std::string& key) {
  return {Bytes(6, (key + "......").substr(0, 6)), Bytes(7, kMask)};
}
Elements UserAgentKey(const std::string& key) {
  return {Text(5, key)};
}
Elements DhcpOptionKey(const std::string& key) {
  return {Text(4, key)};
}

const Listing kListings[] = {
    {"Mac", BYOD_cfgmsg_GetAndShowMacRules, Byod_WalkMacRuleReply, ListMac, MacKey},
    {"UserAgent", BYOD_cfgmsg_GetAndShowUserAgentRules, Byod_WalkUserAgentRuleReply, ListUserAgent,
     UserAgentKey},
    {"DhcpOption", BYOD_cfgmsg_GetAndShowDhcpOtionRules, Byod_WalkDhcpOptionRuleReply,
     ListDhcpOption, DhcpOptionKey},
};

void PrintTo(const Listing& listing, std::ostream* out) {
  *out << listing.name;
}

struct Listings : testing::TestWithParam<Listing> {
  void SetUp() override {
    PlatformFaults::Reset();
    listed.clear();
    descriptors = OpenDescriptors();
  }
  void TearDown() override {
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }

  Element RuleOf(const std::string& key, uint16_t type = 100) const {
    Elements elements = {Number(3, 1), Number(21, 0)};
    for (const Element& element : GetParam().key(key))
      elements.push_back(element);
    elements.push_back(Text(8, "name of " + key));
    return Nested(type, elements);
  }
  uint32_t List() const { return GetParam().request(GetParam().callback); }
  void Walk(const Elements& reply) const {
    const Message msg(reply);
    GetParam().walk(msg.get(), GetParam().callback);
    EXPECT_EQ(msg.elements(), reply);
  }
  // The names, which identify the keys.
  static std::vector<std::string> ListedNames() {
    std::vector<std::string> names;
    for (const Rule& rule : listed)
      names.emplace_back(rule.info.name);
    return names;
  }

  int descriptors = 0;
};

INSTANTIATE_TEST_SUITE_P(Tables, Listings, testing::ValuesIn(kListings),
                         [](const auto& info) { return std::string(info.param.name); });

using Names = std::vector<std::string>;

TEST_P(Listings, ThreeRepliesGiveEveryRuleInOrderOverOneConnection) {
  Elements request;
  bool closed = false;
  ScriptedPeer peer([&](Connection& c) {
    request = c.Receive();
    c.Send({Number(12, kContinue), RuleOf("a"), RuleOf("b")});
    c.Send({RuleOf("c"), Number(12, kContinue)});
    c.Send({Number(12, 0), RuleOf("d"), RuleOf("e")});
    closed = c.ClientCloses();
  });
  EXPECT_EQ(List(), 0u);
  peer.Join();
  EXPECT_EQ(peer.accepted(), 1);
  EXPECT_TRUE(closed);
  EXPECT_EQ(request.size(), 2u);
  EXPECT_EQ(ListedNames(),
            (Names{"name of a", "name of b", "name of c", "name of d", "name of e"}));
}

TEST_P(Listings, ErrorInTheSecondReplyIsReturnedAfterWalkingOnlyTheFirst) {
  for (const uint32_t code : {kFailed, 0x40010006u, 77u}) {
    listed.clear();
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      c.Send({Number(12, kContinue), RuleOf("a")});
      c.Send({Number(12, code), RuleOf("b")});
      EXPECT_TRUE(c.ClientCloses());
    });
    EXPECT_EQ(List(), code);
    EXPECT_EQ(ListedNames(), Names{"name of a"});
  }
}

TEST_P(Listings, ReplyWithoutResultCodeEndsTheListingAsFailedUnwalked) {
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    c.Send({RuleOf("a")});
    EXPECT_TRUE(c.ClientCloses());
  });
  EXPECT_EQ(List(), kFailed);
  EXPECT_EQ(ListedNames(), Names{});
}

TEST_P(Listings, ConnectionThatDropsBeforeTheLastReplyFailsAfterTheRulesThatCame) {
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    c.Send({Number(12, kContinue), RuleOf("a"), RuleOf("b")});
    c.SendBytes(Serialize({Number(12, 0), RuleOf("c")}).substr(0, 30));
  });
  EXPECT_EQ(List(), kFailed);
  peer.Join();
  EXPECT_EQ(ListedNames(), (Names{"name of a", "name of b"}));
}

// Three calls for each reply: for itself, for its result, which is not a message anyway, and for
// its rule. A reply that is not received ends the listing, a rule that is not taken out is left
// out.
TEST_P(Listings, EachFailedReceiveInTurnFailsTheListingOrLeavesOneRuleOut) {
  const Names all = {"name of a", "name of b", "name of c"};
  for (int n = 1; n <= 9; ++n) {
    SCOPED_TRACE(n);
    listed.clear();
    PlatformFaults::Reset();
    PlatformFaults::Fail(PlatformFaults::kReceive, n, 0);
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      c.Send({Number(12, kContinue), RuleOf("a")});
      c.Send({Number(12, kContinue), RuleOf("b")});
      c.Send({Number(12, 0), RuleOf("c")});
      c.ClientCloses();
    });
    const auto reply = all.begin() + (n - 1) / 3;
    Names expected = all;
    if (n % 3 == 1) expected.assign(all.begin(), reply);
    if (n % 3 == 0) expected.erase(expected.begin() + (reply - all.begin()));
    EXPECT_EQ(List(), n % 3 == 1 ? kFailed : 0u);
    peer.Join();
    EXPECT_EQ(ListedNames(), expected);
    EXPECT_TRUE(PlatformFaults::Alive().empty());
  }
}

TEST_P(Listings, WithoutDaemonSucceedsAndCallsNothing) {
  SetUnreachable();
  EXPECT_EQ(List(), 0u);
  EXPECT_EQ(ListedNames(), Names{});
  EXPECT_EQ(PlatformFaults::Made(), 1);
}

TEST_P(Listings, FailedAppendLeavesTheRequestAndReturnsTheCombinedStatus) {
  PlatformFaults::Fail(PlatformFaults::kAppend, 1, 0x10);
  PlatformFaults::Fail(PlatformFaults::kAppend, 2, 0x01);
  ScriptedPeer peer([](Connection&) {});
  EXPECT_EQ(List(), 0x11u);
  peer.Stop();
  EXPECT_EQ(peer.accepted(), 0);
  ASSERT_EQ(PlatformFaults::Alive().size(), 1u);
  Message::Take(PlatformFaults::Alive()[0]);
}

TEST_P(Listings, LongestRepliesAreTakenOneAfterAnother) {
  Elements reply = {Number(12, kContinue)};
  const size_t each = RuleOf("x").bytes.size() + 4;
  const size_t count = (65534 - Serialize(reply).size()) / each;
  for (size_t i = 0; i < count; ++i)
    reply.push_back(RuleOf("x"));
  ScriptedPeer peer([&](Connection& c) {
    c.ReceiveBytes();
    for (int i = 0; i < 3; ++i)
      c.Send(reply);
    c.Send({Number(12, 0)});
  });
  EXPECT_EQ(List(), 0u);
  EXPECT_EQ(listed.size(), 3 * count);
}

// ---- one reply

TEST_P(Listings, ElementThatIsNoMessageAndRuleThatDoesNotDecodeArePassedOver) {
  Walk({Number(12, 0), Text(8, "a text that is not a message"), RuleOf("a"), Bytes(9, ""),
        Nested(100, {Text(8, std::string(128, 'n'))}),
        Nested(100, {Text(16, std::string(64, 'v'))}), RuleOf("b", 7), Nested(100, {Bytes(8, "")}),
        RuleOf("c", 65535)});
  EXPECT_EQ(ListedNames(), (Names{"name of a", "name of b", "name of c"}));
}

TEST_P(Listings, EmptyReplyCallsNothing) {
  Walk({});
  EXPECT_EQ(ListedNames(), Names{});
}

TEST_P(Listings, EachRuleStartsFromClearedFields) {
  Elements full = {Number(3, 1), Number(21, 1)};
  for (const Element& element : GetParam().key("abcdef"))
    full.push_back(element);
  for (const Element& element : {Text(8, "n"), Text(16, "v"), Text(18, "c"), Text(17, "o")}) {
    full.push_back(element);
  }
  Walk({Nested(100, full), Nested(100, {}), Nested(100, full)});
  ASSERT_EQ(listed.size(), 3u);
  for (const size_t i : {size_t{0}, size_t{2}}) {
    EXPECT_EQ(listed[i].origin, 1u);
    EXPECT_EQ(listed[i].modified, 1u);
    EXPECT_EQ(listed[i].key.substr(0, 6), "abcdef");
    EXPECT_STREQ(listed[i].info.os, "o");
    EXPECT_FALSE(listed[i].has_predefined);
  }
  EXPECT_EQ(listed[1].origin, 0u);
  EXPECT_EQ(listed[1].modified, 0u);
  EXPECT_EQ(listed[1].key, std::string(listed[1].key.size(), '\0'));
  EXPECT_EQ(listed[1].info.name[0] | listed[1].info.vendor[0] | listed[1].info.category[0] |
                listed[1].info.os[0],
            0);
}

TEST_P(Listings, RuleAfterOneThatFailsMidwayStartsFromClearedFields) {
  Walk({Nested(100, {Number(3, 9), Number(21, 9), Text(17, "left over"), Bytes(8, "")}),
        Nested(100, {Text(8, "n")})});
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0].origin, 0u);
  EXPECT_EQ(listed[0].modified, 0u);
  EXPECT_EQ(listed[0].info.os[0], '\0');
}

TEST_P(Listings, RuleThatCannotBeCopiedOrBuiltIsPassedOverAndTheWalkGoesOn) {
  const Elements reply = {RuleOf("a"), RuleOf("b"), RuleOf("c")};
  const Message msg(reply);
  listed.reserve(100);
  size_t fewest = 3;
  for (uint32_t n = 1;; ++n) {
    PlatformFaults::Reset();
    listed.clear();
    FailingAllocation failing(n);
    GetParam().walk(msg.get(), [](const void*) -> uint32_t {
      listed.emplace_back();
      return 0;
    });
    const bool failed = failing.Failed();
    failing.Disarm();
    EXPECT_EQ(listed.size(), failed ? 2u : 3u) << n;
    EXPECT_TRUE(PlatformFaults::Alive().empty()) << n;
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0) << n;
    fewest = std::min(fewest, listed.size());
    if (!failed) break;
  }
  EXPECT_EQ(fewest, 2u);
}

TEST_P(Listings, NestedMessageIsDestroyedBeforeItsRuleIsHandedOut) {
  static size_t alive;
  alive = 99;
  const Message msg({RuleOf("a")});
  GetParam().walk(msg.get(), [](const void*) -> uint32_t {
    alive = PlatformFaults::Alive().size();
    return 0;
  });
  EXPECT_EQ(alive, 0u);
  EXPECT_EQ(PlatformFaults::Made(), 1);
}

// ---- golden

TEST(GoldenListings, AreDecoded) {
  PlatformFaults::Reset();
  const auto golden = ReadGolden("replies.txt");
  const auto list = [&](const Listing& listing, const std::vector<std::string>& replies) {
    listed.clear();
    ScriptedPeer peer([&](Connection& c) {
      c.ReceiveBytes();
      for (const std::string& reply : replies)
        c.SendBytes(golden.at(reply));
    });
    EXPECT_EQ(listing.request(listing.callback), 0u);
    return listed;
  };
  const auto macs = list(kListings[0], {"MacRulesMore", "MacRulesLast"});
  ASSERT_EQ(macs.size(), 2u);
  EXPECT_EQ(macs[0].key, std::string("\0\x1A\x2B\x3C\x4D\x5E\xFF\xFF\xFF\0\0\0", 12));
  EXPECT_STREQ(macs[0].info.vendor, "ACME");
  EXPECT_EQ(macs[1].origin, 0u);
  EXPECT_STREQ(macs[1].info.name, "Maker");
  const auto agents = list(kListings[1], {"UserAgentRules"});
  ASSERT_EQ(agents.size(), 1u);
  EXPECT_EQ(agents[0].key, "iPhone");
  const auto options = list(kListings[2], {"DhcpOptionRules"});
  ASSERT_EQ(options.size(), 2u);
  EXPECT_EQ(options[0].key, "1,3,6");
  EXPECT_EQ(options[0].modified, 1u);
  EXPECT_EQ(options[1].key, "1,28");
  EXPECT_STREQ(options[1].info.name, "");
}

}  // namespace
