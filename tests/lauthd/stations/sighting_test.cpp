// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/sighting.h"

#include <gtest/gtest.h>

#include <string>

namespace byod::lauthd {
namespace {

/// A sighting of one terminal with this besides.
std::string With(const std::string& rest) {
  return R"({"feed":"dnsmasq","mac":"00:11:22:33:44:55",)" + rest + "}";
}

std::string FaultOf(const std::string& text) {
  Sighting sighting;
  return ParseSighting(text, sighting);
}

Sighting Read(const std::string& text) {
  Sighting sighting;
  EXPECT_EQ(ParseSighting(text, sighting), "") << text;
  return sighting;
}

TEST(Sighting, EveryKeyIsRead) {
  const Sighting sighting = Read(With(
      R"("ip":"192.0.2.7","lease_end":1000,"event":"lease","options":"1, 3,6","user_agent":"UA",)"
      R"("vendor_class":"MSFT 5.0","host_name":"pc","access_device":"ap1","port":"3",)"
      R"("session":"s","time":12.75,"dropped":3)"));
  EXPECT_EQ(sighting.feed, "dnsmasq");
  EXPECT_EQ(*sighting.mac, (net::MacAddress{0, 0x11, 0x22, 0x33, 0x44, 0x55}));
  EXPECT_EQ(ToString(*sighting.ip), "192.0.2.7");
  EXPECT_EQ(sighting.lease_end, 1000u);
  EXPECT_EQ(sighting.event, SightingEvent::kLease);
  EXPECT_EQ(sighting.options, "\x01\x03\x06");
  EXPECT_EQ(sighting.user_agent, "UA");
  EXPECT_EQ(sighting.vendor_class, "MSFT 5.0");
  EXPECT_EQ(sighting.host_name, "pc");
  EXPECT_EQ(sighting.access_device, "ap1");
  EXPECT_EQ(sighting.port, "3");
  EXPECT_EQ(sighting.session, "s");
  EXPECT_EQ(sighting.time, 12u);
  EXPECT_EQ(sighting.dropped, 3u);
}

TEST(Sighting, OptionsMayBeAnArrayOfNumbers) {
  EXPECT_EQ(Read(With(R"("options":[1,3,255])")).options, "\x01\x03\xff");
  EXPECT_EQ(Read(With(R"("options":[])")).options, "");
  EXPECT_EQ(FaultOf(With(R"("options":[1,256])")), "an option is a number from 0 to 255");
  EXPECT_EQ(FaultOf(With(R"("options":[1.5])")), "an option is a number from 0 to 255");
  for (const char* const bad : {"[[1]]", "[\"1\"]", "[null]", "[true]", "[{}]"}) {
    EXPECT_EQ(FaultOf(With(std::string(R"("options":)") + bad)),
              "options holds a value that is not a number");
  }
}

TEST(Sighting, AnOptionListHas255NumbersAtMost) {
  std::string list = "1";
  for (int i = 1; i < 255; ++i)
    list += ",1";
  EXPECT_EQ(Read(With(R"("options":")" + list + '"')).options.size(), 255u);
  EXPECT_EQ(FaultOf(With(R"("options":")" + list + R"(,1")")),
            "options holds more than 255 numbers");
  EXPECT_EQ(FaultOf(With(R"("options":"1,x")")), "an option is a number from 0 to 255");
  EXPECT_EQ(FaultOf(With(R"("options":"1,,3")")), "an option is a number from 0 to 255");
}

TEST(Sighting, ASyslogHeaderIsPassedOver) {
  EXPECT_EQ(
      Read("<134>Nov 22 10:00:00 host nginx: " + With(R"("user_agent":"UA")") + "\n").user_agent,
      "UA");
}

TEST(Sighting, UnknownKeysAreIgnoredWhateverTheyHold) {
  EXPECT_EQ(Read(With(R"("x":{"mac":"no","options":[900]},"y":[1,"a",null,[true]],"z":1.5)")).feed,
            "dnsmasq");
}

TEST(Sighting, NullIsNoValue) {
  EXPECT_EQ(Read(With(R"("user_agent":null,"ip":null,"time":null,"options":null)")).ip,
            std::nullopt);
}

TEST(Sighting, AValueOfAnotherTypeIsRefusedByName) {
  EXPECT_EQ(FaultOf(With(R"("user_agent":1)")), "user_agent is not a string");
  EXPECT_EQ(FaultOf(With(R"("host_name":["a"])")), "host_name is not a string");
  EXPECT_EQ(FaultOf(With(R"("time":"now")")), "time is not a number");
  EXPECT_EQ(FaultOf(With(R"("lease_end":{})")), "lease_end is not a number");
  EXPECT_EQ(FaultOf(With(R"("options":7)")), "options is neither a string nor an array");
}

TEST(Sighting, ANumberOutOfRangeIsRefused) {
  EXPECT_EQ(FaultOf(With(R"("time":-1)")), "time is out of range");
  EXPECT_EQ(FaultOf(With(R"("lease_end":1e300)")), "lease_end is out of range");
  EXPECT_EQ(FaultOf(With(R"("dropped":99999999999)")), "dropped is out of range");
}

TEST(Sighting, OnlyTheAddressOfATerminalIsTaken) {
  for (const char* const mac : {"00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff", "01:00:5e:00:00:01", "x"})
    EXPECT_EQ(FaultOf(R"({"feed":"a","mac":")" + std::string(mac) + "\"}"),
              "mac is not the address of a terminal");
  for (const char* const ip : {"0.0.0.0", "127.0.0.1", "224.0.0.1", "255.255.255.255", "::", "::1",
                               "ff02::1", "1.2.3", "fe80::1%eth0", ""})
    EXPECT_EQ(FaultOf(With(R"("ip":")" + std::string(ip) + '"')),
              "ip is not the address of a terminal");
  EXPECT_EQ(ToString(*Read(With(R"("ip":"2001:db8::7")")).ip), "2001:db8::7");
}

TEST(Sighting, AnAddressAndAFeedMustBeThere) {
  EXPECT_EQ(FaultOf(R"({"feed":"a"})"), "mac and ip are missing");
  EXPECT_EQ(FaultOf(R"({"ip":"192.0.2.1"})"), "the feed is missing");
  EXPECT_EQ(Read(R"({"feed":"a","ip":"192.0.2.1"})").mac, std::nullopt);
  for (const std::string& feed :
       {std::string("A"), std::string("a b"), std::string(), std::string(33, 'a')})
    EXPECT_NE(FaultOf(R"({"ip":"192.0.2.1","feed":")" + feed + "\"}"), "");
  EXPECT_EQ(Read(R"({"ip":"192.0.2.1","feed":")" + std::string(32, 'z') + "\"}").feed.size(), 32u);
}

TEST(Sighting, LongTextsAreCutAndPartsOfAPlaceAreNot) {
  const std::string text(300, 'x');
  const Sighting sighting =
      Read(With(R"("user_agent":")" + text + R"(","vendor_class":")" + text + '"'));
  EXPECT_EQ(sighting.user_agent.size(), 255u);
  EXPECT_EQ(sighting.vendor_class.size(), 255u);
  EXPECT_EQ(Read(With(R"("session":")" + std::string(64, 's') + '"')).session.size(), 64u);
  EXPECT_EQ(FaultOf(With(R"("session":")" + std::string(65, 's') + '"')),
            "session is longer than 64 bytes");
}

TEST(Sighting, ATextEndsAtANul) {
  EXPECT_EQ(Read(With(R"("host_name":"pc\u0000rest")")).host_name, "pc");
}

TEST(Sighting, WhatIsNoObjectOrTooLongIsRefused) {
  for (const char* const bad : {"", "x", "[]", "\"{\"", "{", "{\"a\":", "{}x", "{\"a\":1}{", "1"})
    EXPECT_NE(FaultOf(bad), "") << bad;
  EXPECT_NE(FaultOf(With("\"host_name\":\"\xff\"")), "");
  std::string longest = With(R"("x":")");
  longest.pop_back();
  longest += std::string(kMaxSightingBytes - longest.size() - 2, 'y') + "\"}";
  EXPECT_EQ(FaultOf(longest), "");
  longest.insert(longest.size() - 2, "y");
  EXPECT_EQ(FaultOf(longest), "longer than 4096 bytes");
}

TEST(Sighting, TheFeedIsKnownOfOneThatIsRefusedBehindIt) {
  Sighting sighting;
  EXPECT_NE(ParseSighting(R"({"feed":"kea","mac":7})", sighting), "");
  EXPECT_EQ(sighting.feed, "kea");
}

TEST(Sighting, AnAddressWithoutAnEventIsALease) {
  EXPECT_EQ(Read(With(R"("ip":"192.0.2.7")")).event, SightingEvent::kLease);
  EXPECT_EQ(Read(With(R"("ip":"192.0.2.7","event":"lease-end")")).event, SightingEvent::kLeaseEnd);
  EXPECT_EQ(Read(R"({"feed":"a","ip":"192.0.2.1"})").event, SightingEvent::kNone);
  EXPECT_EQ(FaultOf(With(R"("event":"gone")")), "unknown event");
}

}  // namespace
}  // namespace byod::lauthd
