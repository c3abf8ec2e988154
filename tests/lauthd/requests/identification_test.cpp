// SPDX-License-Identifier: Apache-2.0
// Requests that ask what a terminal is, and what the daemon records of them.
#include "lauthd/requests/identification.h"

#include "byod_order.h"
#include "lauthd/requests/authorization_requests.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

constexpr uint32_t kUserAgentBit = 1u << BYOD_METHOD_USERAGENT;

class Identification : public Handlers {
 protected:
  Identification() {
    AddPredefined("iPhone", "Apple iPhone", "Apple", "phone", "iOS");
    AddPredefined("Printer", "", "", "printer");
  }

  static Elements UserAgent(const std::string& text) { return {Text(BYOD_TLV_USERAGENT, text)}; }
  size_t Noted() const { return state_.unknowns.entries().size(); }
};

TEST_F(Identification, PlainQueriesAnswerOneThingEach) {
  const Elements iphone = UserAgent("an iPhone");
  EXPECT_EQ(Get(QueryDeviceName, iphone).elements,
            (Elements{Text(BYOD_TLV_DEVNAME, "Apple iPhone")}));
  EXPECT_EQ(Get(QueryVendor, iphone).elements, (Elements{Text(BYOD_TLV_VENDOR, "Apple")}));
  EXPECT_EQ(Get(QueryAttributes, iphone).elements,
            (Elements{Text(BYOD_TLV_VENDOR, "Apple"), Text(BYOD_TLV_DEVTYPE, "phone"),
                      Text(BYOD_TLV_OS, "iOS")}));
}

TEST_F(Identification, IdentifyAnswersAllAtOnce) {
  EXPECT_EQ(Get(Identify, UserAgent("an iPhone")).elements,
            (Elements{Text(BYOD_TLV_DEVNAME, "Apple iPhone"), Text(BYOD_TLV_VENDOR, "Apple"),
                      Text(BYOD_TLV_DEVTYPE, "phone"), Text(BYOD_TLV_OS, "iOS"),
                      Text(BYOD_EXT_DERIVED_VENDOR, "Apple")}));
}

TEST_F(Identification, UnknownTerminalIsUnidentifiedAndNoted) {
  for (const Handler handler : {QueryDeviceName, QueryVendor, QueryAttributes, Identify, Explain}) {
    EXPECT_EQ(Get(handler, UserAgent("a toaster")).refusal(), uint32_t{BYOD_REFUSAL_UNIDENTIFIED});
  }
  EXPECT_EQ(state_.counters.identifications, 5u);
  EXPECT_EQ(state_.counters.unknowns, 5u);
  ASSERT_EQ(Noted(), 1u);
  EXPECT_EQ(state_.unknowns.entries().front().seen, 5u);
  EXPECT_EQ(state_.unknowns.entries().front().unmatched, kUserAgentBit);
}

TEST_F(Identification, RuleWithoutANameIsNotUnknown) {
  EXPECT_EQ(Get(QueryDeviceName, UserAgent("a Printer")).refusal(),
            uint32_t{BYOD_REFUSAL_UNIDENTIFIED});
  EXPECT_EQ(state_.counters.unknowns, 0u);
  EXPECT_EQ(Noted(), 0u);
}

// It was reported as unmatched, unless its method was the last of the order.
TEST_F(Identification, RuleThatSaysNothingMatchesAllTheSame) {
  AddPredefined("Silent", "", "");
  EXPECT_EQ(Get(QueryAttributes, UserAgent("a Silent")).refusal(),
            uint32_t{BYOD_REFUSAL_UNIDENTIFIED});
  ASSERT_EQ(Noted(), 1u);
  EXPECT_EQ(state_.unknowns.entries().front().unmatched, 0u);
}

TEST_F(Identification, PartThatNoRuleMatchesIsNotedBesideOneThatMatches) {
  Get(QueryAttributes, UserAgent("an iPhone") + Elements{Bytes(BYOD_TLV_OPTION55, "\1\3")});
  ASSERT_EQ(Noted(), 1u);
  EXPECT_EQ(state_.unknowns.entries().front().unmatched, 1u << BYOD_METHOD_DHCP);
  EXPECT_EQ(state_.counters.unknowns, 0u);
}

TEST_F(Identification, PartThatTheOrderLeavesOutIsNotMissed) {
  const ByodOrder order = {{BYOD_METHOD_USERAGENT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  BYOD_order_SetOrder(&order);
  Get(QueryAttributes, UserAgent("an iPhone") + Elements{Bytes(BYOD_TLV_OPTION55, "\1\3")});
  EXPECT_EQ(Noted(), 0u);
}

TEST_F(Identification, AddressWithoutARuleAloneIsNotNoted) {
  Get(QueryAttributes,
      UserAgent("an iPhone") + Elements{Bytes(BYOD_TLV_MAC, std::string(6, '\2'))});
  EXPECT_EQ(Noted(), 0u);
}

TEST_F(Identification, TooLongUserAgentIsMalformedAndNotCounted) {
  EXPECT_EQ(Get(Identify, UserAgent(std::string(256, 'x'))).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_EQ(state_.counters.identifications, 0u);
}

TEST_F(Identification, GroupGetsTheSetOfTheTerminalsCategory) {
  state_.authorization.Put("guests", "phone", Attributes{{"vlan", "20"}});
  const Answer answer =
      Get(Identify, UserAgent("an iPhone") + Elements{Text(BYOD_EXT_GROUP, "guests")});
  const auto sets = answer.NestedIn(BYOD_EXT_AUTHORIZATION);
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets[0], (Elements{Text(BYOD_EXT_GROUP, "guests"), Text(BYOD_TLV_DEVTYPE, "phone"),
                               Text(BYOD_EXT_ATTR_NAME, "vlan"), Text(BYOD_EXT_ATTR_VALUE, "20")}));
  EXPECT_TRUE(Get(Identify, UserAgent("an iPhone")).NestedIn(BYOD_EXT_AUTHORIZATION).empty());
}

TEST_F(Identification, ExplanationHasAStepForEachMethodOfTheOrder) {
  const Answer answer = Get(Explain, UserAgent("an iPhone"));
  const auto steps = answer.NestedIn(BYOD_EXT_STEP);
  ASSERT_EQ(steps.size(), 2u) << "options first, then the User-Agent, which says all";
  Answer second;
  second.elements = steps[1];
  EXPECT_TRUE(second.Has(Number(BYOD_EXT_METHOD, BYOD_METHOD_USERAGENT)));
  EXPECT_EQ(second.TextOf(BYOD_EXT_RULE_TEXT), "iPhone");
}

TEST_F(Identification, WatcherGetsWhoAskedAndWhatWasAnswered) {
  int woken = 0;
  Watcher watcher([&] { ++woken; });
  const WatchHub::Registration registration(state_.watch_hub, watcher, 1000);
  Ask(QueryAttributes, BYOD_OP_GET, UserAgent("an iPhone"), BYOD_MSG_DEVATTR_BY_FP);
  ASSERT_EQ(woken, 1);
  const Event event = watcher.Pop();
  Answer reported;
  reported.elements = support::Parse(std::string(event->begin(), event->end()));
  EXPECT_TRUE(reported.Has(Number(BYOD_EXT_CLIENT, 1000)));
  EXPECT_TRUE(reported.Has(Number(BYOD_TLV_MSGTYPE, BYOD_MSG_DEVATTR_BY_FP)));
  EXPECT_EQ(reported.TextOf(BYOD_TLV_USERAGENT), "an iPhone");
  EXPECT_EQ(reported.TextOf(BYOD_TLV_VENDOR), "Apple");
}

}  // namespace
}  // namespace byod::lauthd
