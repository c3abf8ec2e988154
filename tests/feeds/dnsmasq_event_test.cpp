// SPDX-License-Identifier: Apache-2.0
#include "feeds/dnsmasq_event.h"

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

namespace byod::feeds {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::map<std::string, std::string> g_environment;

char* Lookup(const char* name) {
  const auto found = g_environment.find(name);
  return found == g_environment.end() ? nullptr : found->second.data();
}

DnsmasqEvent Event(const std::vector<const char*>& arguments,
                   std::map<std::string, std::string> environment = {}) {
  g_environment = std::move(environment);
  return DnsmasqEvent(arguments, &Lookup);
}

std::vector<const char*> Arguments(const char* action, const char* mac = "00:16:aa:00:00:01") {
  return {action, mac, "192.0.2.10", "configured-name"};
}

std::vector<uint8_t> OptionsOf(const char* text) {
  const DnsmasqEvent event = Event(Arguments("add"), {{"DNSMASQ_REQUESTED_OPTIONS", text}});
  const auto options = event.sighting().options;
  return {options.begin(), options.end()};
}

TEST(DnsmasqEvent, ANewLeaseSaysWhatTheClientSent) {
  const DnsmasqEvent event = Event(Arguments("add"), {{"DNSMASQ_REQUESTED_OPTIONS", "1,121,3"},
                                                      {"DNSMASQ_VENDOR_CLASS", "MSFT 5.0"},
                                                      {"DNSMASQ_SUPPLIED_HOSTNAME", "pc-7"},
                                                      {"DNSMASQ_LEASE_EXPIRES", "1763805600"}});
  ASSERT_TRUE(event.IsSighting());
  EXPECT_EQ(Datagram(event.sighting()).text(),
            R"({"feed":"dnsmasq","mac":"00:16:aa:00:00:01","ip":"192.0.2.10","event":"lease",)"
            R"("lease_end":1763805600,"options":[1,121,3],"vendor_class":"MSFT 5.0",)"
            R"("host_name":"pc-7"})");
}

TEST(DnsmasqEvent, ALeaseFromTheLeaseFileSaysThePairAlone) {
  const DnsmasqEvent event =
      Event(Arguments("old"), {{"DNSMASQ_DATA_MISSING", "1"}, {"DNSMASQ_LEASE_EXPIRES", "0"}});
  EXPECT_EQ(Datagram(event.sighting()).text(),
            R"({"feed":"dnsmasq","mac":"00:16:aa:00:00:01","ip":"192.0.2.10","event":"lease"})");
}

TEST(DnsmasqEvent, ADeletedLeaseEndsThePair) {
  const DnsmasqEvent event = Event(Arguments("del"), {{"DNSMASQ_LEASE_EXPIRES", "1763805600"},
                                                      {"DNSMASQ_REQUESTED_OPTIONS", "1"}});
  EXPECT_EQ(
      Datagram(event.sighting()).text(),
      R"({"feed":"dnsmasq","mac":"00:16:aa:00:00:01","ip":"192.0.2.10","event":"lease-end"})");
}

TEST(DnsmasqEvent, OfALeaseOfDhcpv6OnlyThePairIsTaken) {
  const std::vector<const char*> arguments = {"add", "00:01:00:01:2c:0d:9e:1b:00:16:aa:00:00:01",
                                              "2001:db8::1"};
  const DnsmasqEvent event = Event(arguments, {{"DNSMASQ_IAID", "7"},
                                               {"DNSMASQ_MAC", "00:16:aa:00:00:01"},
                                               {"DNSMASQ_REQUESTED_OPTIONS", "23,24"},
                                               {"DNSMASQ_VENDOR_CLASS", "x"},
                                               {"DNSMASQ_LEASE_EXPIRES", "1763805600"}});
  EXPECT_EQ(Datagram(event.sighting()).text(),
            R"({"feed":"dnsmasq","mac":"00:16:aa:00:00:01","ip":"2001:db8::1","event":"lease",)"
            R"("lease_end":1763805600})");
  EXPECT_FALSE(Event(arguments, {{"DNSMASQ_IAID", "7"}}).IsSighting());
}

TEST(DnsmasqEvent, OtherActionsAndNetworksAreIgnored) {
  for (const char* action : {"init", "tftp", "arp-add", "arp-del", "relay-snoop", "", "adds"})
    EXPECT_FALSE(Event(Arguments(action)).IsSighting()) << action;
  for (const char* mac : {"20-00:16:aa:00:00:01:02:03", "06-00:16:aa:00:00:01", "",
                          "00:16:aa:00:00", "00:16:aa:00:00:0g", "0016:aa:00:00:011"}) {
    EXPECT_FALSE(Event(Arguments("add", mac)).IsSighting()) << mac;
  }
  EXPECT_FALSE(Event({}).IsSighting());
  EXPECT_FALSE(Event({"add", "00:16:aa:00:00:01"}).IsSighting());
}

TEST(DnsmasqEvent, AListThatIsNotOneIsLeftOut) {
  EXPECT_THAT(OptionsOf("1"), ElementsAre(1));
  EXPECT_THAT(OptionsOf("0,255"), ElementsAre(0, 255));
  for (const char* text : {"", ",", "1,", ",1", "1,,2", "256", "-1", "+1", "1 ,2", "1;2", "a"})
    EXPECT_THAT(OptionsOf(text), IsEmpty()) << text;
  std::string most = "7";
  for (size_t count = 1; count < kMaxOptions; ++count)
    most += ",7";
  EXPECT_EQ(OptionsOf(most.c_str()).size(), kMaxOptions);
  EXPECT_THAT(OptionsOf((most + ",7").c_str()), IsEmpty());
}

}  // namespace
}  // namespace byod::feeds
