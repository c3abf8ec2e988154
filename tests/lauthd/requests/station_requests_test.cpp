// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/station_requests.h"

#include <algorithm>

#include "lauthd/requests/authorization_requests.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

const Element kMac = Bytes(BYOD_TLV_MAC, std::string("\x00\x11\x22\x33\x44\x55", 6));

Element Json(const std::string& rest) {
  return Text(BYOD_EXT_SIGHTING, R"({"feed":"kea","mac":"001122334455",)" + rest + "}");
}

class StationRequests : public Handlers {
 protected:
  StationRequests() {
    AddPredefined("iPhone", "Apple iPhone", "Apple", "Mobile", "iOS");
    AddPredefined("Windows", "", "", "PC", "Windows");
  }
};

TEST_F(StationRequests, ASightingIsAnsweredWithTheStation) {
  const Answer answer = Get(TakeSighting, {Json(R"("user_agent":"iPhone","ip":"192.0.2.1")")});
  EXPECT_TRUE(answer.result.Ok());
  EXPECT_EQ(answer.TextOf(BYOD_TLV_DEVTYPE), "Mobile");
  EXPECT_TRUE(answer.Has(kMac));
  const Answer by_ip = Get(ShowStation, {Text(BYOD_EXT_IP, "192.0.2.1")});
  EXPECT_EQ(by_ip.TextOf(BYOD_TLV_DEVNAME), "Apple iPhone");
}

TEST_F(StationRequests, ASightingThatIsMalformedIsRefusedAndCounted) {
  const Answer answer = Get(TakeSighting, {Json(R"("time":"x")")});
  EXPECT_EQ(answer.refusal(), BYOD_REFUSAL_MALFORMED);
  EXPECT_EQ(answer.result.reason, "time is not a number");
  EXPECT_EQ(Get(TakeSighting).refusal(), BYOD_REFUSAL_MALFORMED);
  const auto feeds = Get(ListFeeds).NestedIn(BYOD_EXT_FEED_ENTRY);
  const bool counted = std::ranges::any_of(feeds, [](const Elements& feed) {
    return std::ranges::count(feed, Text(BYOD_EXT_FEED, "kea")) == 1 &&
           std::ranges::count(feed, Counter(BYOD_EXT_MALFORMED, 1)) == 1;
  });
  EXPECT_TRUE(counted);
}

TEST_F(StationRequests, WhoMayNotReportIsRefused) {
  Session stranger(state_, [] { return Peer{.user = 1000}; });
  EXPECT_EQ(Ask(stranger, TakeSighting, BYOD_OP_GET, {Json(R"("user_agent":"iPhone")")}).refusal(),
            BYOD_REFUSAL_PERMISSION);
  Session feed(state_, [] { return Peer{.user = 1000, .may_report = true}; });
  EXPECT_TRUE(Ask(feed, TakeSighting, BYOD_OP_GET, {Json(R"("user_agent":"iPhone")")}).result.Ok());
}

TEST_F(StationRequests, AStationIsAnsweredWithAllThatWasSeen) {
  Get(TakeSighting, {Json(R"("options":"1,3","vendor_class":"vc","host_name":"h","port":"7")")});
  Get(TakeSighting, {Json(R"("user_agent":"iPhone")")});
  const Answer answer = Get(ShowStation, {kMac});
  EXPECT_EQ(answer.TextOf(BYOD_EXT_HOST_NAME), "h");
  EXPECT_EQ(answer.TextOf(BYOD_EXT_VENDOR_CLASS), "vc");
  EXPECT_EQ(answer.TextOf(BYOD_EXT_PORT), "7");
  EXPECT_EQ(answer.NestedIn(BYOD_EXT_SEEN_LIST).size(), 1u);
  const auto agents = answer.NestedIn(BYOD_EXT_SEEN_AGENT);
  ASSERT_EQ(agents.size(), 1u);
  EXPECT_EQ(std::ranges::count(agents[0], Number(BYOD_EXT_CHOSEN, 1)), 1);
  const auto changes = answer.NestedIn(BYOD_EXT_CHANGE);
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(std::ranges::count(changes[0], Text(BYOD_TLV_USERAGENT, "iPhone")), 1);
  EXPECT_EQ(answer.NestedIn(BYOD_EXT_METHOD_ANSWER).size(), 1u);
}

TEST_F(StationRequests, TheAnswerAloneIsShort) {
  Get(TakeSighting, {Json(R"("user_agent":"iPhone")")});
  const Answer answer = Get(ShowStation, {kMac, Number(BYOD_TLV_QUERYARG2, 0)});
  EXPECT_EQ(answer.TextOf(BYOD_TLV_OS), "iOS");
  EXPECT_TRUE(answer.NestedIn(BYOD_EXT_SEEN_AGENT).empty());
}

TEST_F(StationRequests, TheSetOfTheGroupComesWithTheStation) {
  Set(ChangeAuthorization, {Text(BYOD_EXT_GROUP, "staff"), Text(BYOD_TLV_DEVTYPE, "Mobile"),
                            Text(BYOD_EXT_ATTR_NAME, "vlan"), Text(BYOD_EXT_ATTR_VALUE, "20")});
  const Answer answer =
      Get(TakeSighting, {Json(R"("user_agent":"iPhone")"), Text(BYOD_EXT_GROUP, "staff")});
  ASSERT_EQ(answer.NestedIn(BYOD_EXT_AUTHORIZATION).size(), 1u);
}

TEST_F(StationRequests, AnUnknownStationIsNotFound) {
  EXPECT_EQ(Get(ShowStation, {kMac}).refusal(), BYOD_REFUSAL_NOT_FOUND);
  EXPECT_EQ(Get(ShowStation).refusal(), BYOD_REFUSAL_MALFORMED);
  EXPECT_EQ(Get(ShowStation, {Text(BYOD_EXT_IP, "1.2")}).refusal(), BYOD_REFUSAL_MALFORMED);
  EXPECT_EQ(Undo(ForgetStation, {kMac}).refusal(), BYOD_REFUSAL_NOT_FOUND);
}

TEST_F(StationRequests, AForgottenStationIsGone) {
  Get(TakeSighting, {Json(R"("user_agent":"iPhone","ip":"192.0.2.1")")});
  EXPECT_TRUE(Undo(ForgetStation, {Text(BYOD_EXT_IP, "192.0.2.1")}).result.Ok());
  EXPECT_EQ(Get(ShowStation, {kMac}).refusal(), BYOD_REFUSAL_NOT_FOUND);
}

TEST_F(StationRequests, AListingIsSortedFilteredAndPaged) {
  for (int i = 9; i >= 1; --i) {
    const std::string digit = std::to_string(i);
    const std::string agent = i % 2 == 0 ? "iPhone" : i % 3 == 0 ? "Windows" : "?";
    Get(TakeSighting, {Text(BYOD_EXT_SIGHTING, R"({"feed":"a","mac":"00000000000)" + digit +
                                                   R"(","user_agent":")" + agent + "\"}")});
  }
  const auto listed = [&](const Elements& request) {
    std::string digits;
    for (const Elements& station : Get(ListStations, request).NestedIn(BYOD_EXT_STATION))
      digits += static_cast<char>('0' + station.at(0).bytes.at(5));
    return digits;
  };
  EXPECT_EQ(listed({}), "123456789");
  EXPECT_EQ(listed({Text(BYOD_TLV_DEVTYPE, "mobile")}), "2468");
  EXPECT_EQ(listed({Text(BYOD_TLV_VENDOR, "Apple"), Number(BYOD_EXT_LIMIT, 2)}), "24");
  EXPECT_EQ(listed({Number(BYOD_EXT_WANTED_FLAGS, BYOD_STATION_UNKNOWN)}), "157");
  EXPECT_EQ(
      listed({Bytes(BYOD_TLV_MAC, std::string("\0\0\0\0\0\4", 6)), Number(BYOD_EXT_LIMIT, 3)}),
      "567");
  EXPECT_EQ(listed({Counter(BYOD_EXT_CHANGED_SINCE, 1)}), "234689");
  EXPECT_EQ(listed({Counter(BYOD_EXT_CHANGED_SINCE, UINT64_MAX)}), "");
}

TEST_F(StationRequests, AChangeIsAnEventForThoseWhoWatchStations) {
  EXPECT_TRUE(Get(WatchStations).watch);
  int woken = 0;
  Watcher watcher([&] { ++woken; });
  const WatchHub::Registration registration(state_.station_hub, watcher, 1000);
  Get(TakeSighting, {Json(R"("user_agent":"iPhone","session":"s1")")});
  ASSERT_EQ(woken, 1);
  const Event event = watcher.Pop();
  const Elements elements = support::Parse(std::string(event->begin(), event->end()));
  EXPECT_EQ(std::ranges::count(elements, kMac), 1);
  EXPECT_EQ(std::ranges::count(elements, Text(BYOD_EXT_SESSION, "s1")), 1);
  Get(TakeSighting, {Json(R"("user_agent":"iPhone")")});
  EXPECT_TRUE(watcher.Empty());
}

class WithoutStations : public Handlers {
 protected:
  WithoutStations() : Handlers(Chosen()) {}

 private:
  static Options Chosen() {
    Options options = WithoutDatabase();
    options.stations = StationMemory::kNone;
    return options;
  }
};

TEST_F(WithoutStations, EveryRequestSaysThatTheyAreNotRemembered) {
  for (const Handler handler : {ShowStation, ListStations, WatchStations, ListFeeds, TakeSighting})
    EXPECT_EQ(Get(handler, {kMac}).refusal(), BYOD_REFUSAL_UNKNOWN_KIND);
  EXPECT_EQ(Undo(ForgetStation, {kMac}).refusal(), BYOD_REFUSAL_UNKNOWN_KIND);
}

}  // namespace
}  // namespace byod::lauthd
