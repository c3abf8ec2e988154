// SPDX-License-Identifier: Apache-2.0
#include "capture/link_layer.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <vector>

#include "support/packets.h"

namespace byod::capture {
namespace {

using namespace byod::test;

struct Wrapping {
  const char* name;
  int link_type;
  Packet frame;
  bool has_sender = true;
};

unsigned Size(const Packet& packet) {
  return static_cast<unsigned>(packet.size());
}

/// An Ethernet frame with a header between its type and the IP packet.
Packet Around(unsigned type, const Packet& header, const Packet& ip) {
  return Maker().All(kOther).All(kClient).Word(type).All(header).All(ip);
}

std::vector<Wrapping> WrappingsOf(const Packet& ip) {
  return {
      {"Ethernet", DLT_EN10MB, Ethernet(ip)},
      {"a VLAN", DLT_EN10MB, Ethernet(ip, kClient, {0x8100})},
      {"a VLAN in a service's", DLT_EN10MB, Ethernet(ip, kClient, {0x88A8, 0x8100})},
      {"a VLAN in an older service's", DLT_EN10MB, Ethernet(ip, kClient, {0x9100, 0x8100})},
      {"802.3", DLT_EN10MB,
       Maker().All(kOther).All(kClient).Word(static_cast<unsigned>(ip.size() + 8)).All(Snap(ip))},
      {"802.11", DLT_IEEE802_11, Wireless(ip)},
      {"802.11 with a quality", DLT_IEEE802_11, Wireless(ip, kClient, 0x88)},
      {"radiotap", DLT_IEEE802_11_RADIO, Radiotap(Wireless(ip))},
      {"per-packet information", DLT_PPI,
       Maker().Word(0).Little(8).Little(DLT_IEEE802_11).Little(0).All(Wireless(ip))},
      {"cooked", DLT_LINUX_SLL, Cooked(ip)},
      {"cooked, the second version", DLT_LINUX_SLL2, Cooked2(ip)},
      {"PPPoE", DLT_EN10MB,
       Around(0x8864, Maker().Byte(0x11).Byte(0).Word(7).Word(Size(ip) + 2).Word(0x0021), ip)},
      {"PPPoE in a VLAN", DLT_EN10MB,
       Around(0x8100,
              Maker().Word(7).Word(0x8864).Byte(0x11).Byte(0).Word(7).Word(Size(ip) + 2).Word(0x21),
              ip)},
      {"MPLS", DLT_EN10MB, Around(0x8847, Maker().Long(0x000100FF).Long(0x000201FF), ip), false},
      {"raw IP", DLT_RAW, ip, false},
      {"loopback", DLT_NULL, Maker().Little(2).Little(0).All(ip), false},
  };
}

TEST(LinkLayer, TheIpPacketAndItsSenderAreFoundInEveryWrapping) {
  const Packet ip = DhcpIp();
  for (const Wrapping& wrapping : WrappingsOf(ip)) {
    SCOPED_TRACE(wrapping.name);
    const Unwrapped found = UnwrapFrame(wrapping.link_type, wrapping.frame);
    EXPECT_EQ(found.verdict, Verdict::kFound);
    EXPECT_THAT(found.ip, testing::ElementsAreArray(ip));
    EXPECT_EQ(found.sender.has_value(), wrapping.has_sender);
    EXPECT_EQ(found.sender.value_or(kClient), kClient);
  }
}

TEST(LinkLayer, AFrameCutAnywhereInFrontOfTheIpPacketIsMalformed) {
  const Packet ip = DhcpIp();
  for (const Wrapping& wrapping : WrappingsOf(ip)) {
    SCOPED_TRACE(wrapping.name);
    for (size_t size = 0; size < wrapping.frame.size() - ip.size(); ++size) {
      const Bytes cut = Bytes(wrapping.frame).first(size);
      EXPECT_EQ(UnwrapFrame(wrapping.link_type, cut).verdict, Verdict::kMalformed) << size;
    }
  }
}

TEST(LinkLayer, TagsWithoutEndAreMalformed) {
  const Packet ip = DhcpIp();
  EXPECT_EQ(
      UnwrapFrame(DLT_EN10MB, Ethernet(ip, kClient, std::vector<unsigned>(4, 0x8100))).verdict,
      Verdict::kFound);
  EXPECT_EQ(
      UnwrapFrame(DLT_EN10MB, Ethernet(ip, kClient, std::vector<unsigned>(15000, 0x8100))).verdict,
      Verdict::kMalformed);
}

TEST(LinkLayer, LabelsWithoutEndAreMalformed) {
  const Packet ip = DhcpIp();
  const auto verdict_with = [&](size_t labels) {
    return UnwrapFrame(DLT_EN10MB,
                       Around(0x8847, Maker().Zeros(labels * 4 - 4).Long(0x000001FF), ip))
        .verdict;
  };
  EXPECT_EQ(verdict_with(16), Verdict::kFound);
  EXPECT_EQ(verdict_with(17), Verdict::kMalformed);
}

TEST(LinkLayer, WhatIsNotIpBehindPppoeAndMplsIsNothing) {
  const Packet ip = DhcpIp();
  const auto ppp_with = [&](unsigned version, unsigned code, unsigned protocol) {
    const Packet header = Maker().Byte(version).Byte(code).Word(7).Word(9).Word(protocol);
    return UnwrapFrame(DLT_EN10MB, Around(0x8864, header, ip)).verdict;
  };
  EXPECT_EQ(ppp_with(0x11, 0, 0x0057), Verdict::kFound);
  EXPECT_EQ(ppp_with(0x11, 0, 0xC021), Verdict::kNothing);  // sets up the line
  EXPECT_EQ(ppp_with(0x12, 0, 0x0021), Verdict::kMalformed);
  EXPECT_EQ(ppp_with(0x11, 9, 0x0021), Verdict::kMalformed);
  const Packet tunnel = Around(0x8847, Maker().Long(0x000001FF).Long(0), Ethernet(ip));
  EXPECT_EQ(UnwrapFrame(DLT_EN10MB, tunnel).verdict, Verdict::kNothing);
}

TEST(LinkLayer, OtherProtocolsAreNothing) {
  const Packet arp = Maker().All(kOther).All(kClient).Word(0x0806).Zeros(28);
  EXPECT_EQ(UnwrapFrame(DLT_EN10MB, arp).verdict, Verdict::kNothing);
  const Packet spanning_tree =
      Maker().All(kOther).All(kClient).Word(3).Byte(0x42).Byte(0x42).Byte(3);
  EXPECT_EQ(UnwrapFrame(DLT_EN10MB, spanning_tree).verdict, Verdict::kNothing);
}

TEST(LinkLayer, AWirelessFrameThatCannotBeReadIsNothing) {
  const Packet ip = DhcpIp();
  const auto verdict_with = [&](size_t at, uint8_t value) {
    Packet frame = Wireless(ip, kClient, 0x88);
    frame[at] = value;
    return UnwrapFrame(DLT_IEEE802_11, frame).verdict;
  };
  EXPECT_EQ(verdict_with(0, 0x88), Verdict::kFound);
  EXPECT_EQ(verdict_with(0, 0x80), Verdict::kNothing);   // a beacon
  EXPECT_EQ(verdict_with(0, 0xC8), Verdict::kNothing);   // without data
  EXPECT_EQ(verdict_with(1, 0x41), Verdict::kNothing);   // encrypted
  EXPECT_EQ(verdict_with(1, 0x05), Verdict::kNothing);   // more fragments follow
  EXPECT_EQ(verdict_with(22, 0x11), Verdict::kNothing);  // a later fragment
  EXPECT_EQ(verdict_with(24, 0x80), Verdict::kNothing);  // several packets in one
}

TEST(LinkLayer, TheSenderOfAWirelessFrameIsItsOriginalSource) {
  const Packet ip = DhcpIp();
  const Mac third = {0x00, 1, 2, 3, 4, 5}, fourth = {0x00, 6, 7, 8, 9, 10};
  const auto sender_with = [&](unsigned flags) {
    Maker maker;
    maker.Byte(0x08).Byte(flags).Word(0).All(kOther).All(kClient).All(third).Little(0);
    if (flags == 3) maker.All(fourth);
    const Packet frame = maker.All(Snap(ip));
    return UnwrapFrame(DLT_IEEE802_11, frame).sender;
  };
  EXPECT_EQ(sender_with(0), kClient);
  EXPECT_EQ(sender_with(1), kClient);
  EXPECT_EQ(sender_with(2), third);
  EXPECT_EQ(sender_with(3), fourth);
}

TEST(LinkLayer, AFrameWithABadChecksumIsMalformed) {
  Packet frame = Radiotap(Wireless(DhcpIp()));
  frame[16] = 0x40;
  EXPECT_EQ(UnwrapFrame(DLT_IEEE802_11_RADIO, frame).verdict, Verdict::kMalformed);
}

TEST(LinkLayer, AFrameInATunnelIsFoundAsItIsOrSwapped) {
  const Packet ip = DhcpIp();
  const auto unwrap = [](const Packet& frame, bool is_native) {
    const Packet whole = Capwap(frame, is_native);
    return UnwrapCapwap(Bytes(whole).subspan(14 + 20 + 8));
  };
  for (const Unwrapped& found :
       {unwrap(Wireless(ip), true), unwrap(Wireless(ip, kClient, 0x88, true), true),
        unwrap(Ethernet(ip), false)}) {
    EXPECT_EQ(found.verdict, Verdict::kFound);
    EXPECT_EQ(found.sender, kClient);
  }
  const auto verdict_of = [](const Packet& payload) { return UnwrapCapwap(payload).verdict; };
  EXPECT_EQ(verdict_of(Maker().Byte(1).Zeros(20)), Verdict::kNothing);  // encrypted
  EXPECT_EQ(verdict_of(Maker().Byte(0).Byte(0x10).Byte(0x43).Byte(0x80).Zeros(20)),
            Verdict::kNothing);  // a fragment
  EXPECT_EQ(verdict_of(Maker().Byte(0).Byte(0xF8).Byte(0x43).Byte(0).Zeros(20)),
            Verdict::kMalformed);  // a header that is longer than the packet
  EXPECT_EQ(verdict_of(Maker().Byte(0).Byte(0x10)), Verdict::kMalformed);
}

}  // namespace
}  // namespace byod::capture
