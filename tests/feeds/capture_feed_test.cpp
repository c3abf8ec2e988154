// SPDX-License-Identifier: Apache-2.0
#include "feeds/capture_feed.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/packets.h"

namespace byod::feeds {
namespace {

using namespace byod::test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint64_t kStart = 1'763'802'000'000'000;

class Capture : public testing::Test {
 protected:
  Capture() {
    feed_ = std::make_unique<CaptureFeed>("capture", [this](const Sighting& sighting) {
      if (!is_sent_) return false;
      Sighting untimed = sighting;
      EXPECT_EQ(std::exchange(untimed.time_us, 0), kStart + now_);
      texts_.emplace_back(Datagram(untimed).text());
      return true;
    });
  }

  /// What a packet makes the feed report.
  std::vector<std::string> Take(const Packet& frame) {
    feed_->Take({DLT_EN10MB, kStart + now_, frame});
    return std::exchange(texts_, {});
  }

  static Packet Ack(Packet options = {51, 4, 0, 0, 0, 60}) {
    Dhcp dhcp;
    dhcp.operation = 2;
    dhcp.type = 5;
    dhcp.offered_address = kClientIp;
    dhcp.options = std::move(options);
    return Ethernet(Ipv4(17, Udp(67, 68, DhcpMessage(dhcp)), kServerIp), kOther);
  }

  std::unique_ptr<CaptureFeed> feed_;
  std::vector<std::string> texts_;
  uint64_t now_ = 0;
  bool is_sent_ = true;
};

constexpr const char* kAgent =
    R"_({"feed":"capture","mac":"02:11:22:33:44:55","user_agent":"Tester/1.0 (made up)"})_";
constexpr const char* kList =
    R"({"feed":"capture","mac":"02:11:22:33:44:55","options":[1,3,6,15]})";

TEST_F(Capture, ADhcpRequestIsReportedWithWhatElseItSays) {
  Dhcp dhcp;
  dhcp.options = {55, 2, 1, 3, 60, 3, 'a', 'b', 'c', 12, 2, 'p', 'c'};
  EXPECT_THAT(Take(Ethernet(DhcpIp(dhcp))),
              ElementsAre(R"({"feed":"capture","mac":"02:11:22:33:44:55","options":[1,3],)"
                          R"("vendor_class":"abc","host_name":"pc"})"));
}

TEST_F(Capture, ALeaseIsReportedWithItsEnd) {
  EXPECT_THAT(Take(Ack()),
              ElementsAre(R"({"feed":"capture","mac":"02:11:22:33:44:55","ip":"192.0.2.10",)"
                          R"("event":"lease","lease_end":1763802060})"));
  Dhcp release;
  release.type = 7;
  release.client_address = kClientIp;
  EXPECT_THAT(Take(Ethernet(DhcpIp(release))),
              ElementsAre(R"({"feed":"capture","mac":"02:11:22:33:44:55","ip":"192.0.2.10",)"
                          R"("event":"lease-end"})"));
}

TEST_F(Capture, AUserAgentIsReportedWithTheSender) {
  EXPECT_THAT(Take(Ethernet(HttpIp())), ElementsAre(kAgent));
}

TEST_F(Capture, AUserAgentBehindARelayIsReportedWithTheLeasedOrTheBareAddress) {
  Take(Ack());  // from kOther, which so is known to send for others
  EXPECT_THAT(Take(Ethernet(HttpIp(), kOther)), ElementsAre(kAgent));
  const Packet unknown = Ipv4(6, Tcp(kRequest), {192, 0, 2, 77});
  EXPECT_THAT(Take(Ethernet(unknown, kOther)),
              ElementsAre(R"({"feed":"capture","ip":"192.0.2.77",)"
                          R"_("user_agent":"Tester/1.0 (made up)"})_"));
}

TEST_F(Capture, ArpIsReportedAsAPair) {
  const Packet frame = Maker()
                           .Zeros(6)
                           .All(kClient)
                           .Word(0x0806)
                           .Word(1)
                           .Word(0x0800)
                           .Word(0x0604)
                           .Word(1)
                           .All(kClient)
                           .All(kClientIp)
                           .Zeros(10);
  EXPECT_THAT(Take(frame),
              ElementsAre(R"({"feed":"capture","mac":"02:11:22:33:44:55","ip":"192.0.2.10",)"
                          R"("event":"lease"})"));
}

TEST_F(Capture, WhatWasJustReportedIsNotReportedAgain) {
  EXPECT_THAT(Take(Ethernet(DhcpIp())), ElementsAre(kList));
  EXPECT_THAT(Take(Ethernet(DhcpIp())), IsEmpty());
  EXPECT_THAT(Take(Ethernet(HttpIp())), ElementsAre(kAgent));
  now_ = CaptureFeed::kQuietUs - 1;
  EXPECT_THAT(Take(Ethernet(DhcpIp())), IsEmpty());
  now_ = CaptureFeed::kQuietUs;
  EXPECT_THAT(Take(Ethernet(DhcpIp())), ElementsAre(kList));
  now_ = 0;  // the clock was set back
  EXPECT_THAT(Take(Ethernet(DhcpIp())), ElementsAre(kList));
}

TEST_F(Capture, WhatWasLostIsReportedWithTheNextPacket) {
  is_sent_ = false;
  EXPECT_THAT(Take(Ethernet(DhcpIp())), IsEmpty());
  is_sent_ = true;
  EXPECT_THAT(Take(Ethernet(DhcpIp())), ElementsAre(kList));
}

}  // namespace
}  // namespace byod::feeds
