// SPDX-License-Identifier: Apache-2.0
#include "capture/dissector.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <string>
#include <vector>

#include "support/packets.h"

namespace byod::capture {
namespace {

using namespace byod::test;
using testing::ElementsAre;

/// The only thing that a packet says, if anything.
std::optional<Sighting> Take(Dissector& dissector, const Packet& frame,
                             int link_type = DLT_EN10MB) {
  const std::vector<Sighting> sightings = dissector.Take({link_type, 0, frame});
  EXPECT_LE(sightings.size(), 1U);
  return sightings.empty() ? std::nullopt : std::optional(sightings.front());
}

/// The User-Agent that a packet completes, or "".
std::string AgentIn(Dissector& dissector, const Packet& ip) {
  const auto sighting = Take(dissector, ip, DLT_RAW);
  return sighting ? sighting->user_agent : "";
}

TEST(Dissector, ADhcpRequestTellsItsListItsClientAndTheSender) {
  Dissector dissector;
  const auto sighting = Take(dissector, Ethernet(DhcpIp(), kOther, {0x8100}));
  ASSERT_TRUE(sighting);
  EXPECT_TRUE(sighting->HasOptions());
  EXPECT_THAT(sighting->dhcp.option55, ElementsAre(1, 3, 6, 15));
  EXPECT_EQ(sighting->dhcp.client, kClient);
  EXPECT_EQ(sighting->sender, kOther);
  EXPECT_EQ(dissector.counts().option_lists, 1U);
}

TEST(Dissector, OnlyDiscoverRequestAndInformAreFingerprints) {
  for (unsigned type = 0; type < 20; ++type) {
    Dissector dissector;
    Dhcp dhcp;
    dhcp.type = type;
    const auto sighting = Take(dissector, Ethernet(DhcpIp(dhcp)));
    EXPECT_EQ(sighting && sighting->HasOptions(), type == 1 || type == 3 || type == 8) << type;
  }
  Dissector dissector;
  Dhcp dhcp;
  dhcp.operation = 2;
  const auto answer =
      Take(dissector, Ethernet(Ipv4(17, Udp(67, 68, test::DhcpMessage(dhcp)), kServerIp)));
  ASSERT_TRUE(answer);
  EXPECT_FALSE(answer->HasOptions());
  EXPECT_EQ(dissector.counts().option_lists, 0U);
}

TEST(Dissector, AnHttpRequestTellsItsUserAgentAndTheSender) {
  for (const Packet& ip : {HttpIp(), Ipv6(6, Tcp(kRequest))}) {
    Dissector dissector;
    const auto sighting = Take(dissector, Ethernet(ip));
    ASSERT_TRUE(sighting);
    EXPECT_EQ(sighting->kind, Sighting::Kind::kUserAgent);
    EXPECT_EQ(sighting->user_agent, "Tester/1.0 (made up)");
    EXPECT_EQ(sighting->sender, kClient);
    EXPECT_FALSE(sighting->is_user_agent_cut);
    EXPECT_EQ(ToString(sighting->source), ip[0] >> 4 == 4 ? "192.0.2.10" : "2001:db8::a");
  }
}

TEST(Dissector, AUserAgentIsCutBehind255Bytes) {
  for (const size_t size : {255, 256, 5000}) {
    Dissector dissector;
    const auto sighting = Take(
        dissector, HttpIp("GET / HTTP/1.1\r\nUser-Agent: " + std::string(size, 'x') + "\r\n\r\n"),
        DLT_RAW);
    ASSERT_TRUE(sighting);
    EXPECT_EQ(sighting->user_agent, std::string(255, 'x'));
    EXPECT_EQ(sighting->is_user_agent_cut, size > 255);
  }
}

TEST(Dissector, AHeadMayBeSpreadOverSegments) {
  const std::string head{kRequest};
  for (size_t cut = 1; cut + 4 < head.size(); ++cut) {
    Dissector dissector;
    const std::string first = AgentIn(dissector, HttpIp(head.substr(0, cut)));
    const std::string second =
        AgentIn(dissector, HttpIp(head.substr(cut), 1000 + static_cast<uint32_t>(cut)));
    // The line is whole once the next one has begun.
    EXPECT_EQ(first + second, "Tester/1.0 (made up)") << cut;
  }
}

TEST(Dissector, SegmentsThatAreSentAgainOrOverlapDoNotDisturbAHead) {
  const std::string head{kRequest};
  Dissector dissector;
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(0, 30), 0xFFFFFFF0)), "");
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(0, 30), 0xFFFFFFF0)), "");
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(50), 0xFFFFFFF0 + 50)), "");  // too early
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(20, 30), 0xFFFFFFF0 + 20)), "");
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(50), 0xFFFFFFF0 + 50)), "Tester/1.0 (made up)");
  EXPECT_EQ(dissector.counts().user_agents, 1U);
  EXPECT_EQ(dissector.counts().malformed, 0U);
}

TEST(Dissector, AHeadIsForgottenWhenTheConnectionStartsAgain) {
  const std::string head{kRequest};
  for (const unsigned flags : {0x02U, 0x04U}) {
    Dissector dissector;
    EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(0, 30))), "");
    EXPECT_EQ(AgentIn(dissector, HttpIp("", 500, flags)), "");
    EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(30), 1030)), "");
  }
}

TEST(Dissector, DataInTheFirstSegmentOfAConnectionIsReadOn) {
  const std::string head{kRequest};
  Dissector dissector;
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(0, 30), 1000, 0x02)), "");
  EXPECT_EQ(AgentIn(dissector, HttpIp(head.substr(30), 1031)), "Tester/1.0 (made up)");
}

TEST(Dissector, AHeadWithoutEndIsGivenUp) {
  Dissector dissector;
  std::string text = "GET / HTTP/1.1\r\n";
  uint32_t sequence = 0;
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(AgentIn(dissector, HttpIp(text, sequence)), "");
    sequence += static_cast<uint32_t>(text.size());
    text = "X-" + std::string(1000, 'x') + ": y\r\n";
  }
  EXPECT_EQ(AgentIn(dissector, HttpIp("User-Agent: late\r\n\r\n", sequence)), "");
}

TEST(Dissector, ManyHeadsAtOnceForgetTheOldest) {
  Dissector dissector;
  const std::string head{kRequest};
  const auto begin = [&](unsigned port) {
    Take(dissector, Ipv4(6, Tcp(head.substr(0, 30), 1000, 0x18, port)), DLT_RAW);
  };
  const auto finish = [&](unsigned port) {
    return AgentIn(dissector, Ipv4(6, Tcp(head.substr(30), 1030, 0x18, port)));
  };
  for (unsigned port = 1; port <= 1025; ++port)
    begin(port);
  EXPECT_EQ(finish(1), "");
  EXPECT_EQ(finish(2), "Tester/1.0 (made up)");
  EXPECT_EQ(finish(1025), "Tester/1.0 (made up)");
}

TEST(Dissector, ADhcpPacketCutAtAnyByteIsNoFingerprint) {
  const Packet whole = Ethernet(DhcpIp());
  for (size_t size = 0; size < whole.size(); ++size) {
    Dissector dissector;
    EXPECT_FALSE(Take(dissector, Packet(whole.begin(), whole.begin() + static_cast<long>(size))));
    EXPECT_EQ(dissector.counts().malformed, 1U) << size;
  }
}

TEST(Dissector, APacketThatContradictsItselfIsCountedAsMalformed) {
  const auto malformed_with = [](size_t at, std::vector<uint8_t> bytes) {
    Packet frame = Ethernet(DhcpIp());
    std::copy(bytes.begin(), bytes.end(), frame.begin() + static_cast<long>(at));
    Dissector dissector;
    const bool is_found = Take(dissector, frame).has_value();
    return !is_found && dissector.counts().malformed == 1;
  };
  EXPECT_TRUE(malformed_with(14, {0x46}));      // a longer IP header than it has
  EXPECT_TRUE(malformed_with(14, {0x41}));      // a shorter one than any
  EXPECT_TRUE(malformed_with(14, {0x55}));      // version 5
  EXPECT_TRUE(malformed_with(16, {0, 10}));     // an IP packet shorter than its header
  EXPECT_TRUE(malformed_with(16, {255, 255}));  // longer than what was captured
  EXPECT_TRUE(malformed_with(38, {255, 255}));  // a UDP packet longer than its IP packet
  EXPECT_TRUE(malformed_with(38, {0, 7}));      // shorter than its header
  EXPECT_FALSE(malformed_with(6, {0}));
}

TEST(Dissector, OptionsOfAnIpHeaderMayBePaddedBehindTheirEnd) {
  const auto take = [](const Packet& options, const Packet& plain, Dissector& dissector) {
    Packet ip = plain;
    ip.insert(ip.begin() + 20, options.begin(), options.end());
    ip[0] = static_cast<uint8_t>(0x45 + options.size() / 4);
    const size_t length = ip.size();
    ip[2] = static_cast<uint8_t>(length >> 8);
    ip[3] = static_cast<uint8_t>(length);
    return Take(dissector, ip, DLT_RAW).has_value();
  };
  for (const Packet& options :
       {Packet{0, 0, 0, 0}, Packet{1, 1, 0, 0}, Packet{7, 3, 4, 0, 0, 0, 0, 0}, Packet{1, 1, 1, 1},
        Packet{148, 4, 0, 0}, Packet{7, 7, 4, 1, 2, 3, 4, 1}, Packet(40, 0)}) {
    Dissector dissector;
    EXPECT_TRUE(take(options, DhcpIp(), dissector)) << testing::PrintToString(options);
    EXPECT_TRUE(take(options, HttpIp(), dissector));
    EXPECT_EQ(dissector.counts().malformed, 0U);
  }
  for (const Packet& options : {Packet{0, 0, 0, 1}, Packet{7, 5, 0, 0}, Packet{7, 1, 0, 0},
                                Packet{7, 0, 0, 0}, Packet{1, 1, 1, 7}}) {
    Dissector dissector;
    EXPECT_FALSE(take(options, DhcpIp(), dissector)) << testing::PrintToString(options);
    EXPECT_EQ(dissector.counts().malformed, 1U);
  }
}

TEST(Dissector, AQuestionAboutLeasesNeedsNoClient) {
  for (unsigned type = 9; type <= 14; ++type) {
    Dhcp dhcp;
    dhcp.type = type;
    dhcp.client = {};
    dhcp.hardware_length = 0;
    dhcp.client_address = kClientIp;
    Dissector dissector;
    const auto sighting = Take(dissector, Ethernet(DhcpIp(dhcp)));
    const bool is_about_leases = type >= 10 && type <= 13;
    EXPECT_EQ(dissector.counts().malformed, is_about_leases ? 0U : 1U) << type;
    EXPECT_EQ(sighting.has_value(), is_about_leases);
    EXPECT_FALSE(sighting && sighting->HasOptions());
    EXPECT_EQ(dissector.counts().option_lists, 0U);
  }
}

TEST(Dissector, PaddingBehindThePacketDoesNotCount) {
  Packet frame = Ethernet(DhcpIp());
  frame.insert(frame.end(), 40, 0xEE);
  Dissector dissector;
  const auto sighting = Take(dissector, frame);
  ASSERT_TRUE(sighting);
  EXPECT_THAT(sighting->dhcp.option55, ElementsAre(1, 3, 6, 15));
}

TEST(Dissector, FragmentsAndOtherPacketsAreNothing) {
  Dissector dissector;
  Packet fragment = DhcpIp();
  fragment[6] = 0x20;
  for (const Packet& ip : {fragment, Ipv4(1, {8, 0, 0, 0}), Ipv4(17, Udp(53, 5353, {1, 2})),
                           Ipv4(4, DhcpIp()), Ipv6(58, {128, 0, 0, 0})}) {
    EXPECT_FALSE(Take(dissector, ip, DLT_RAW));
  }
  EXPECT_EQ(dissector.counts().packets, 5U);
  EXPECT_EQ(dissector.counts().malformed, 0U);
}

TEST(Dissector, AFrameInATunnelHasTwoSenders) {
  Dissector dissector;
  for (const Packet& frame :
       {Capwap(Wireless(DhcpIp())), Capwap(Wireless(DhcpIp(), kClient, 0x08, true)),
        Capwap(Ethernet(DhcpIp()), false)}) {
    const auto sighting = Take(dissector, frame);
    ASSERT_TRUE(sighting);
    EXPECT_EQ(sighting->sender, kClient);
    EXPECT_EQ(sighting->outer_sender, kOther);
  }
  // A tunnel in a tunnel is not looked into.
  EXPECT_FALSE(Take(dissector, Capwap(Capwap(Wireless(DhcpIp())), false)));
}

}  // namespace
}  // namespace byod::capture
