// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/stations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "byod_order.h"
#include "lauthd/stations/answer.h"
#include "lauthd/stations/election.h"

namespace byod::lauthd {
namespace {

constexpr Seconds kNow = 1'800'000'000;
constexpr char kPhoneAgent[] = "Mozilla/5.0 (Linux; Android 9; Nokia 2.2) Mobile";
constexpr char kCheckAgent[] = "Mozilla/5.0 (X11; Linux x86_64) Chrome/60.0.3112.32";
const std::string kPhoneList("\x01\x03\x06\x0f", 4);

ByodDeviceInfo Info(const char* vendor, const char* category, const char* os,
                    const char* name = "") {
  ByodDeviceInfo info = {};
  std::strcpy(info.vendor, vendor);
  std::strcpy(info.category, category);
  std::strcpy(info.os, os);
  std::strcpy(info.name, name);
  return info;
}

void AddAgent(const char* expression, ByodDeviceInfo info) {
  BYOD_data_AddFileAgentRule(expression, &info);
}

class StationsTest : public testing::Test {
 protected:
  StationsTest() {
    BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
    BYOD_order_Init();
    AddAgent("Android&&Mobi", Info("", "Mobile", "Android"));
    AddAgent("Android&&Nokia", Info("Nokia", "Mobile", "Android", "Nokia phone"));
    AddAgent("X11; Linux", Info("", "PC", "Linux"));
    AddAgent("Windows NT", Info("", "PC", "Windows"));
    AddAgent("iPhone", Info("Apple", "Mobile", "iOS"));
    AddAgent("Macintosh", Info("Apple", "PC", "macOS"));
    ByodDeviceInfo android = Info("", "Mobile", "Android");
    BYOD_data_AddFileDhcpOptionRule("1,3,6,15", &android);
    ByodDeviceInfo windows = Info("", "PC", "Windows");
    BYOD_data_AddFileDhcpOptionRule("1,15,3,6", &windows);
    Make({});
  }
  ~StationsTest() override {
    BYOD_order_Fini();
    BYOD_data_GlobalInfoFini();
  }

  void Make(const StationLimits& limits) {
    stations_ = std::make_unique<Stations>(limits, std::vector<FeedTrust>{}, [](const char* agent) {
      return std::strstr(agent, "Chrome/60.0.3112.32") != nullptr;
    });
    stations_->Listen({.on_change =
                           [this](const Station& station, TextId from) {
                             changes_.push_back(Text(from) + " -> " + AnswerOfStation(station));
                           },
                       .on_gone = [this](const Station& station) { gone_.push_back(station.mac); },
                       .on_unsaved = {}});
  }

  static Sighting Of(uint64_t mac, const std::string& feed = "capture") {
    Sighting sighting;
    sighting.feed = feed;
    if (mac != 0) sighting.mac = net::MacOf(mac);
    return sighting;
  }
  Station* See(Sighting sighting, Seconds now = kNow) {
    return stations_->Take(sighting, {1000, 42}, now);
  }
  Station* SeeAgent(uint64_t mac, const std::string& agent, Seconds now = kNow,
                    const std::string& feed = "capture") {
    Sighting sighting = Of(mac, feed);
    sighting.user_agent = agent;
    return See(sighting, now);
  }
  Station* SeeList(uint64_t mac, const std::string& list, Seconds now = kNow,
                   const std::string& feed = "dnsmasq") {
    Sighting sighting = Of(mac, feed);
    sighting.options = list;
    return See(sighting, now);
  }
  Station* SeeIp(uint64_t mac, const char* ip, Seconds now = kNow,
                 const std::string& feed = "dnsmasq", uint64_t lease_end = 0) {
    Sighting sighting = Of(mac, feed);
    sighting.ip = ParseIp(ip);
    sighting.event = SightingEvent::kLease;
    sighting.lease_end = lease_end;
    return See(sighting, now);
  }
  Station* FindIp(const char* ip, Seconds now = kNow) { return stations_->Find(*ParseIp(ip), now); }

  std::string Text(TextId id) const {
    std::string text(stations_->texts().Text(id));
    std::ranges::replace(text, '\0', '/');
    return text;
  }
  /// "vendor/category/os/name"
  std::string AnswerOfStation(const Station& station) const {
    const AnswerView answer = Unpack(stations_->texts().Text(station.answer));
    std::string text(answer.vendor);
    for (const std::string_view field : {answer.category, answer.os, answer.name})
      (text += '/') += field;
    return text;
  }
  std::string AnswerOfMac(uint64_t mac, Seconds now = kNow) {
    const Station* const station = stations_->Find(mac, now);
    return station != nullptr ? AnswerOfStation(*station) : "none";
  }

  std::unique_ptr<Stations> stations_;
  std::vector<std::string> changes_;
  std::vector<uint64_t> gone_;
};

TEST_F(StationsTest, PartsThatComeOneByOneGiveTheAnswerOfTheWholeFingerprint) {
  SeeList(1, kPhoneList);
  EXPECT_EQ(AnswerOfMac(1), "/Mobile/Android/");
  SeeAgent(1, kPhoneAgent);
  EXPECT_EQ(AnswerOfMac(1), "Nokia/Mobile/Android/Nokia phone");
  const Station& station = *stations_->Find(1, kNow);
  ASSERT_EQ(station.history.count, 2);
  EXPECT_EQ(station.history.values[0].cause, Cause::kAddress);
  EXPECT_EQ(station.history.values[1].cause, Cause::kUserAgent);
  EXPECT_EQ(Text(station.history.values[1].because), kPhoneAgent);
  EXPECT_EQ(changes_.size(), 2u);
}

TEST_F(StationsTest, AConnectivityCheckMakesNoPcOfAPhone) {
  SeeAgent(1, kCheckAgent);
  EXPECT_EQ(AnswerOfMac(1), "///");
  SeeAgent(1, kPhoneAgent);
  for (Seconds i = 0; i < 1000; ++i) {
    SeeAgent(1, kCheckAgent, kNow + i);
    ASSERT_EQ(AnswerOfMac(1, kNow + i), "Nokia/Mobile/Android/Nokia phone");
  }
  EXPECT_EQ(changes_.size(), 1u);
}

TEST_F(StationsTest, TheUserAgentThatAgreesWithTheOptionListIsElectedAtOnce) {
  SeeAgent(1, "X11; Linux");
  SeeList(1, kPhoneList, kNow + 1);
  SeeAgent(1, "Android Mobile", kNow + 2);
  const Station& station = *stations_->Find(1, kNow + 2);
  EXPECT_EQ(AnswerOfStation(station), "/Mobile/Android/");
  EXPECT_EQ(station.chosen_agent, 1);
  EXPECT_FALSE(station.is_contradicting);
}

TEST_F(StationsTest, AMoreSpecificUserAgentWaitsForTheEndOfTheMinute) {
  SeeAgent(1, "Windows NT");
  SeeAgent(1, "X11; Linux; Android Nokia", kNow + 10);
  EXPECT_EQ(AnswerOfMac(1, kNow + 59), "/PC/Windows/");
  EXPECT_EQ(AnswerOfMac(1, kNow + 60), "Nokia/Mobile/Android/Nokia phone");
  const Station& station = *stations_->Find(1, kNow + 60);
  EXPECT_EQ(station.history.all().back().cause, Cause::kTime);
}

TEST_F(StationsTest, TheEndOfTheMinuteIsNoticedWithoutAQuestion) {
  SeeAgent(1, "Windows NT");
  SeeAgent(1, "X11; Linux; Android Nokia", kNow + 10);
  stations_->Tick(kNow + 50);
  EXPECT_EQ(changes_.size(), 1u);
  stations_->Tick(kNow + 71);
  EXPECT_EQ(changes_.size(), 2u);
}

TEST_F(StationsTest, AClockThatIsSetBackDoesNotHoldTheMinuteForever) {
  SeeAgent(1, "Windows NT");
  SeeAgent(1, "X11; Linux; Android Nokia", kNow + 10);
  stations_->Tick(kNow - 100000);
  EXPECT_EQ(changes_.size(), 2u);
}

TEST_F(StationsTest, MethodsThatDifferAreShownAsContradicting) {
  SeeList(1, kPhoneList);
  EXPECT_FALSE(stations_->Find(1, kNow)->is_contradicting);
  SeeAgent(1, "Windows NT");
  EXPECT_TRUE(stations_->Find(1, kNow)->is_contradicting);
  SeeAgent(1, kPhoneAgent);
  EXPECT_FALSE(stations_->Find(1, kNow)->is_contradicting);
}

TEST_F(StationsTest, ManySystemsBehindOneAddressMarkItAsShared) {
  SeeAgent(1, "Windows NT");
  SeeAgent(1, "iPhone");
  EXPECT_FALSE(stations_->Find(1, kNow)->is_shared);
  SeeAgent(1, kPhoneAgent);
  EXPECT_TRUE(stations_->Find(1, kNow)->is_shared);
  EXPECT_EQ(AnswerOfMac(1), "///");
  // A day later it is one terminal's again.
  SeeAgent(1, "iPhone", kNow + 2 * kSharedSeconds);
  EXPECT_FALSE(stations_->Find(1, kNow + 2 * kSharedSeconds)->is_shared);
  EXPECT_EQ(AnswerOfMac(1, kNow + 2 * kSharedSeconds), "Nokia/Mobile/Android/Nokia phone");
}

TEST_F(StationsTest, ALessTrustedFeedDoesNotOverwriteWhatIsInItsLifetime) {
  SeeList(1, kPhoneList, kNow, "dnsmasq");
  SeeList(1, std::string("\x01\x0f\x03\x06", 4), kNow + 100, "capture");
  EXPECT_EQ(AnswerOfMac(1, kNow + 100), "/Mobile/Android/");
  SeeList(1, std::string("\x01\x0f\x03\x06", 4), kNow + 90000, "capture");
  EXPECT_EQ(AnswerOfMac(1, kNow + 90000), "/PC/Windows/");

  Sighting named = Of(1, "dnsmasq");
  named.host_name = "phone";
  See(named, kNow + 90000);
  named = Of(1, "radius");
  named.host_name = "other";
  Station* const station = See(named, kNow + 90001);
  EXPECT_EQ(Text(station->host_name.text), "phone");
  named.feed = "kea";
  See(named, kNow + 90002);
  EXPECT_EQ(Text(station->host_name.text), "other");
}

TEST_F(StationsTest, TheLastOptionListOfAFeedCounts) {
  SeeList(1, kPhoneList);
  SeeList(1, std::string("\x01\x0f\x03\x06", 4), kNow + 1);
  EXPECT_EQ(AnswerOfMac(1, kNow + 1), "/PC/Windows/");
  SeeList(1, kPhoneList, kNow + 2);
  EXPECT_EQ(AnswerOfMac(1, kNow + 2), "/Mobile/Android/");
}

TEST_F(StationsTest, AnIpAddressMovesWithItsLease) {
  SeeIp(1, "192.0.2.1", kNow, "dnsmasq", kNow + 3600);
  EXPECT_EQ(FindIp("192.0.2.1")->mac, 1u);
  // A capture has seen another one with it, but the server gave it to the first.
  SeeIp(2, "192.0.2.1", kNow + 1, "capture");
  EXPECT_EQ(FindIp("192.0.2.1", kNow + 1)->mac, 1u);
  SeeIp(2, "192.0.2.1", kNow + 2, "dnsmasq", kNow + 3600);
  EXPECT_EQ(FindIp("192.0.2.1", kNow + 2)->mac, 2u);
  EXPECT_EQ(stations_->Find(1, kNow + 2)->addresses.count, 0);
}

TEST_F(StationsTest, AnAddressIsNobodysBehindTheEndOfItsLease) {
  SeeIp(1, "192.0.2.1", kNow, "dnsmasq", kNow + 100);
  EXPECT_NE(FindIp("192.0.2.1", kNow + 99), nullptr);
  EXPECT_EQ(FindIp("192.0.2.1", kNow + 100), nullptr);
  Sighting portal = Of(0, "nginx");
  portal.ip = ParseIp("192.0.2.1");
  portal.user_agent = kPhoneAgent;
  EXPECT_EQ(See(portal, kNow + 100), nullptr);
  EXPECT_EQ(stations_->feeds().At(stations_->feeds().IdOf("nginx")).unplaced, 1u);
}

TEST_F(StationsTest, ALeaseThatIsGivenBackEnds) {
  SeeIp(1, "192.0.2.1");
  Sighting end = Of(1, "dnsmasq");
  end.ip = ParseIp("192.0.2.1");
  end.event = SightingEvent::kLeaseEnd;
  See(end);
  EXPECT_EQ(FindIp("192.0.2.1"), nullptr);
  end.mac = net::MacOf(9);
  EXPECT_EQ(See(end), nullptr);
  EXPECT_EQ(stations_->size(), 1u);
}

TEST_F(StationsTest, ABrowserIsTheTerminalThatHasItsAddress) {
  SeeIp(1, "2001:db8::1");
  Sighting portal = Of(0, "nginx");
  portal.ip = ParseIp("2001:db8::1");
  portal.user_agent = kPhoneAgent;
  ASSERT_NE(See(portal), nullptr);
  EXPECT_EQ(AnswerOfMac(1), "Nokia/Mobile/Android/Nokia phone");
}

TEST_F(StationsTest, ASessionEndsAndThePlaceStays) {
  Sighting start = Of(1, "radius");
  start.event = SightingEvent::kStart;
  start.access_device = "ap1";
  start.port = "7";
  start.session = "s1";
  const Station& station = *See(start);
  Sighting stop = Of(1, "radius");
  stop.event = SightingEvent::kStop;
  stop.session = "older";
  See(stop);
  EXPECT_EQ(Text(station.place.session), "s1");
  stop.session = "s1";
  See(stop);
  EXPECT_EQ(Text(station.place.session), "");
  EXPECT_EQ(Text(station.place.access_device), "ap1");
}

TEST_F(StationsTest, OtherRulesChangeAnswersBitByBitAndAtOnceForAQuestion) {
  for (uint64_t mac = 1; mac <= 50; ++mac)
    SeeAgent(mac, "Toaster/1.0");
  AddAgent("Toaster", Info("Acme", "IoT", "Linux"));
  EXPECT_EQ(AnswerOfMac(1), "///");
  stations_->RulesChanged();
  EXPECT_EQ(AnswerOfMac(1), "Acme/IoT/Linux/");
  EXPECT_EQ(changes_.size(), 1u);
  int slices = 1;
  while (stations_->AnswerSome(kNow, std::chrono::steady_clock::duration::zero()))
    ++slices;
  EXPECT_GT(slices, 3);
  EXPECT_EQ(changes_.size(), 50u);
  EXPECT_EQ(stations_->Find(50, kNow)->history.all().back().cause, Cause::kRules);
}

TEST_F(StationsTest, ARuleThatChangesNothingMakesNoHistory) {
  SeeAgent(1, kPhoneAgent);
  stations_->RulesChanged();
  while (stations_->AnswerSome(kNow, std::chrono::seconds(1))) {
  }
  EXPECT_EQ(changes_.size(), 1u);
}

TEST_F(StationsTest, TheHistoryKeepsTheLastEightChanges) {
  for (Seconds i = 0; i < 20; ++i)
    SeeList(1, i % 2 == 0 ? kPhoneList : std::string("\x01\x0f\x03\x06", 4), kNow + i);
  const Station& station = *stations_->Find(1, kNow + 20);
  EXPECT_EQ(station.history.count, kMaxHistory);
  EXPECT_EQ(station.history.values[0].time, kNow + 12);
  EXPECT_EQ(Text(station.answer_before), Text(station.history.values[1].to));
  EXPECT_EQ(changes_.size(), 20u);
}

TEST_F(StationsTest, AFloodOfUserAgentsKeepsTheChosenAndTheFamiliarOne) {
  SeeAgent(1, kPhoneAgent);
  SeeAgent(1, "familiar");
  SeeAgent(1, "familiar");
  for (int i = 0; i < 1000; ++i)
    SeeAgent(1, "random " + std::to_string(i), kNow + 1);
  const Station& station = *stations_->Find(1, kNow + 1);
  EXPECT_EQ(AnswerOfStation(station), "Nokia/Mobile/Android/Nokia phone");
  EXPECT_EQ(station.agents.count, kMaxAgents);
  const auto texts = station.agents.all();
  EXPECT_TRUE(
      std::ranges::any_of(texts, [&](const Seen& seen) { return Text(seen.text) == "familiar"; }));
}

TEST_F(StationsTest, OldStationsAreForgottenLocalOnesSooner) {
  constexpr uint64_t kLocal = uint64_t{2} << 40;
  SeeAgent(1, kPhoneAgent);
  SeeAgent(kLocal, kPhoneAgent);
  for (Seconds i = 0; i <= 30 * 24; ++i)
    stations_->Tick(kNow + i * 3600);
  EXPECT_EQ(gone_, std::vector<uint64_t>{kLocal});
  stations_->Tick(kNow + 30 * 86400 + 3600);
  EXPECT_EQ(stations_->size(), 0u);
  EXPECT_EQ(stations_->texts().size(), 0u);
}

TEST_F(StationsTest, AClockThatJumpsAheadForgetsNothingUntilAnHourHasPassed) {
  SeeAgent(1, kPhoneAgent);
  stations_->Tick(kNow);
  constexpr Seconds kWrong = kNow + 400 * 86400;
  stations_->Tick(kWrong);
  stations_->Tick(kWrong + 600);
  stations_->Tick(kNow + 601);
  EXPECT_EQ(stations_->size(), 1u);
  stations_->Tick(kWrong);
  for (Seconds i = 0; i <= 3601; i += 100)
    stations_->Tick(kWrong + i);
  EXPECT_EQ(stations_->size(), 0u);
}

TEST_F(StationsTest, ATimeThatIsAheadOrLongAgoIsNearNow) {
  Sighting sighting = Of(1);
  sighting.time = kNow + 5;
  EXPECT_EQ(See(sighting)->last, kNow + 5);
  sighting = Of(2);
  sighting.time = kNow + 6;
  EXPECT_EQ(See(sighting)->last, kNow);
  sighting = Of(3);
  sighting.time = 5;
  EXPECT_EQ(See(sighting)->last, kNow - 86400);
}

TEST_F(StationsTest, OnlyWhatARuleLookedForIsKeptWhereThatIsWanted) {
  StationLimits limits;
  limits.only_matched_agents = true;
  Make(limits);
  const Station& station = *SeeAgent(1, kPhoneAgent);
  ASSERT_EQ(station.agents.count, 1);
  EXPECT_EQ(Text(station.agents.values[0].text), "Android Nokia");
  EXPECT_EQ(AnswerOfStation(station), "Nokia/Mobile/Android/Nokia phone");
  EXPECT_EQ(Text(station.history.values[0].because), "");
  SeeAgent(1, "nobody knows this");
  EXPECT_EQ(station.agents.count, 1);
  EXPECT_EQ(stations_->texts().Find("nobody knows this"), kNoElement);
}

TEST_F(StationsTest, FeedsAreCounted) {
  SeeAgent(1, kPhoneAgent);
  Sighting late = Of(1);
  late.dropped = 7;
  See(late, kNow + 1);
  stations_->CountMalformed("capture", {}, kNow + 2);
  stations_->CountMalformed("", {}, kNow + 3);
  const Feeds& feeds = stations_->feeds();
  const Feed& capture = feeds.At(stations_->feeds().IdOf("capture"));
  EXPECT_EQ(capture.count, 2u);
  EXPECT_EQ(capture.dropped, 7u);
  EXPECT_EQ(capture.malformed, 1u);
  EXPECT_EQ(capture.first, kNow);
  EXPECT_EQ(capture.last, kNow + 2);
  EXPECT_EQ(feeds.At(0).malformed, 1u);
}

TEST_F(StationsTest, TooManyFeedsAreOneWithoutAName) {
  for (int i = 0; i < 200; ++i)
    SeeAgent(1, kPhoneAgent, kNow, "feed-" + std::to_string(i));
  EXPECT_EQ(stations_->feeds().size(), Feeds::kMaxFeeds);
  EXPECT_GT(stations_->feeds().At(0).count, 100u);
}

TEST_F(StationsTest, NothingOfForgottenStationsStaysUnderRandomHistories) {
  std::mt19937 random(3);
  StationLimits limits;
  limits.stations = 64;
  Make(limits);
  const std::vector<std::string> agents = {kPhoneAgent, kCheckAgent, "Windows NT",
                                           "iPhone",    "Macintosh", "other"};
  for (Seconds step = 0; step < 20000; ++step) {
    Sighting sighting = Of(1 + random() % 100, random() % 2 == 0 ? "dnsmasq" : "nginx");
    if (random() % 2 == 0) sighting.user_agent = agents[random() % agents.size()];
    if (random() % 3 == 0) sighting.options = std::string(1 + random() % 3, char(1 + random() % 9));
    if (random() % 3 == 0) {
      sighting.ip = ParseIp("192.0.2." + std::to_string(1 + random() % 200));
      sighting.event = random() % 4 == 0 ? SightingEvent::kLeaseEnd : SightingEvent::kLease;
    }
    if (random() % 5 == 0) sighting.host_name = "host" + std::to_string(random() % 9);
    if (random() % 5 == 0) sighting.session = "s" + std::to_string(random() % 9);
    See(sighting, kNow + step);
    if (random() % 500 == 0) stations_->RulesChanged();
    if (random() % 10 == 0) stations_->AnswerSome(kNow + step, std::chrono::microseconds(50));
    if (random() % 10 == 0) stations_->Tick(kNow + step);
    ASSERT_LE(stations_->size(), 48u);
  }
  for (uint64_t mac = 1; mac <= 100; ++mac) {
    if (Station* const station = stations_->Find(mac, kNow + 20000)) stations_->Forget(*station);
  }
  EXPECT_EQ(stations_->size(), 0u);
  EXPECT_EQ(stations_->texts().size(), 0u);
}

}  // namespace
}  // namespace byod::lauthd
