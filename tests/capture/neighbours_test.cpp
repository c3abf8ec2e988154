// SPDX-License-Identifier: Apache-2.0
#include "capture/neighbours.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <string>
#include <vector>

#include "support/packets.h"

namespace byod::capture {
namespace {

using namespace byod::test;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kClientText = "02:11:22:33:44:55";
constexpr std::array<uint8_t, 16> kGlobal = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0,
                                             0,    0,    0,    0,    0, 0, 0, 0x42};
constexpr std::array<uint8_t, 16> kLinkLocal = {0xFE, 0x80, 0, 0, 0, 0, 0, 0,
                                                0,    0x11, 0, 0, 0, 0, 0, 0x55};
constexpr std::array<uint8_t, 16> kGroup = {0xFF, 0x02};
constexpr std::array<uint8_t, 16> kNone = {};

/// "mac ip", "mac ip for 60 s", "mac ip ended"
std::vector<std::string> TextsOf(const std::vector<Neighbour>& neighbours) {
  std::vector<std::string> texts;
  for (const Neighbour& found : neighbours) {
    std::string text = net::ToString(found.mac) + " " + ToString(found.address);
    if (found.seconds != 0) text += " for " + std::to_string(found.seconds) + " s";
    texts.push_back(text + (found.is_ended ? " ended" : ""));
  }
  return texts;
}

std::vector<std::string> Take(const Packet& frame, int link_type = DLT_EN10MB) {
  Neighbours neighbours;
  return TextsOf(neighbours.Take({link_type, 0, frame}));
}

struct Arp {
  unsigned hardware = 1;
  unsigned protocol = 0x0800;
  unsigned operation = 1;
  Mac mac = kClient;
  Ip4 ip = kClientIp;
};

Packet ArpPacket(const Arp& arp) {
  return Maker()
      .Word(arp.hardware)
      .Word(arp.protocol)
      .Word(0x0604)
      .Word(arp.operation)
      .All(arp.mac)
      .All(arp.ip)
      .Zeros(6)
      .All(kServerIp);
}

Packet ArpFrame(const Arp& arp = {}, Mac sender = kClient, std::vector<unsigned> tags = {}) {
  Maker maker;
  maker.Zeros(6).All(sender);
  for (const unsigned tag : tags)
    maker.Word(tag).Word(7);
  return maker.Word(0x0806).All(ArpPacket(arp));
}

using Ip6 = std::array<uint8_t, 16>;

Packet Ip6Packet(unsigned protocol, unsigned hops, const Ip6& from, const Ip6& to,
                 const Packet& payload) {
  return Maker()
      .Long(0x60000000)
      .Word(static_cast<unsigned>(payload.size()))
      .Byte(protocol)
      .Byte(hops)
      .All(from)
      .All(to)
      .All(payload);
}

/// @param option  its type, 0 = none
Packet Discovery(unsigned type, const Ip6& target, unsigned option, Mac mac = kClient) {
  Maker maker;
  maker.Byte(type).Byte(0).Word(0).Long(0).All(target);
  if (option != 0) maker.Byte(option).Byte(1).All(mac);
  return maker;
}

Packet Solicitation(const Ip6& source, unsigned hops = 255, unsigned option = 1,
                    Mac mac = kClient) {
  return Ip6Packet(58, hops, source, kGroup, Discovery(135, kLinkLocal, option, mac));
}

Packet Advertisement(const Ip6& target, unsigned option = 2) {
  return Ip6Packet(58, 255, kLinkLocal, kGroup, Discovery(136, target, option));
}

struct Association {
  unsigned code = 3;
  Ip6 address = kGlobal;
  uint32_t valid = 3600;
};

Packet Dhcpv6(unsigned type, uint32_t number, const std::vector<Association>& given = {}) {
  Maker maker;
  maker.Long(type << 24 | number);
  maker.Word(1).Word(4).Long(7);  // the client's identifier
  for (const Association& one : given) {
    maker.Word(one.code).Word(40).Long(1).Long(0).Long(0);
    maker.Word(5).Word(24).All(one.address).Long(1800).Long(one.valid);
  }
  return maker;
}

Packet FromClient(unsigned type, uint32_t number) {
  return Ethernet(Ip6Packet(17, 1, kLinkLocal, kGroup, Udp(546, 547, Dhcpv6(type, number))));
}

Packet FromServer(const Packet& message) {
  return Ethernet(Ip6Packet(17, 64, {0xFE, 0x80, 9}, kLinkLocal, Udp(547, 546, message)), kOther);
}

std::vector<std::string> After(unsigned request, uint32_t number, const Packet& reply) {
  Neighbours neighbours;
  EXPECT_THAT(neighbours.Take({DLT_EN10MB, 0, FromClient(request, number)}), IsEmpty());
  return TextsOf(neighbours.Take({DLT_EN10MB, 0, FromServer(reply)}));
}

TEST(Neighbours, AnArpRequestOrReplySaysWhoseTheSendersAddressIs) {
  for (const unsigned operation : {1U, 2U}) {
    Arp arp;
    arp.operation = operation;
    EXPECT_THAT(Take(ArpFrame(arp)), ElementsAre(kClientText + " 192.0.2.10"));
    EXPECT_THAT(Take(ArpFrame(arp, kClient, {0x8100})), ElementsAre(kClientText + " 192.0.2.10"));
  }
  Maker wireless;
  wireless.Byte(0x08).Byte(1).Word(0).All(kOther).All(kClient).Zeros(6).Little(0x0110);
  wireless.Byte(0xAA).Byte(0xAA).Byte(3).Zeros(3).Word(0x0806).All(ArpPacket({}));
  EXPECT_THAT(Take(wireless, DLT_IEEE802_11), ElementsAre(kClientText + " 192.0.2.10"));
}

TEST(Neighbours, AnArpPacketForSomebodyElseIsSkipped) {
  EXPECT_THAT(Take(ArpFrame({}, kOther)), IsEmpty());
}

TEST(Neighbours, AnAddressThatIsTriedOutIsSkipped) {
  Arp arp;
  arp.ip = kNoIp;
  EXPECT_THAT(Take(ArpFrame(arp)), IsEmpty());
  EXPECT_THAT(Take(Ethernet(Solicitation(kNone))), IsEmpty());
}

TEST(Neighbours, ArpOfOtherNetworksAndOperationsIsSkipped) {
  Arp arp;
  arp.hardware = 24;
  EXPECT_THAT(Take(ArpFrame(arp)), IsEmpty());
  arp = {};
  arp.protocol = 0x86DD;
  EXPECT_THAT(Take(ArpFrame(arp)), IsEmpty());
  for (const unsigned operation : {0U, 3U, 8U}) {
    arp = {};
    arp.operation = operation;
    EXPECT_THAT(Take(ArpFrame(arp)), IsEmpty());
  }
  arp = {};
  arp.mac = {0x03, 1, 2, 3, 4, 5};
  EXPECT_THAT(Take(ArpFrame(arp, arp.mac)), IsEmpty());
  arp = {};
  arp.ip = {239, 1, 1, 1};
  EXPECT_THAT(Take(ArpFrame(arp)), IsEmpty());
}

TEST(Neighbours, ASolicitationSaysWhoseItsSourceIs) {
  EXPECT_THAT(Take(Ethernet(Solicitation(kGlobal))), ElementsAre(kClientText + " 2001:db8::42"));
}

TEST(Neighbours, AnAdvertisementSaysWhoseItsTargetIs) {
  EXPECT_THAT(Take(Ethernet(Advertisement(kGlobal))), ElementsAre(kClientText + " 2001:db8::42"));
}

TEST(Neighbours, DiscoveryThatMayComeFromElsewhereIsSkipped) {
  EXPECT_THAT(Take(Ethernet(Solicitation(kGlobal, 254))), IsEmpty());
  EXPECT_THAT(Take(Ethernet(Solicitation(kGlobal, 255, 1, kOther))), IsEmpty());
  EXPECT_THAT(Take(Ethernet(Solicitation(kGlobal, 255, 2))), IsEmpty());
  EXPECT_THAT(Take(Ethernet(Solicitation(kGlobal, 255, 0))), IsEmpty());
  EXPECT_THAT(Take(Ethernet(Advertisement(kGlobal, 0))), IsEmpty());
  EXPECT_THAT(Take(Ethernet(Advertisement(kGroup))), IsEmpty());
}

TEST(Neighbours, AnAddressOfDhcpv6BelongsToWhoAskedForIt) {
  const auto lease = ElementsAre(kClientText + " 2001:db8::42 for 3600 s");
  for (const unsigned request : {1U, 3U, 5U, 6U})
    EXPECT_THAT(After(request, 0x123456, Dhcpv6(7, 0x123456, {{}})), lease) << request;
}

TEST(Neighbours, ALeaseOfDhcpv6WithoutTimeHasEnded) {
  EXPECT_THAT(After(3, 1, Dhcpv6(7, 1, {{3, kGlobal, 0}})),
              ElementsAre(kClientText + " 2001:db8::42 ended"));
  EXPECT_THAT(After(3, 1, Dhcpv6(7, 1, {{3, kGlobal, 0xFFFFFFFF}})),
              ElementsAre(kClientText + " 2001:db8::42"));
}

TEST(Neighbours, AReplyOfDhcpv6WithoutItsRequestIsSkipped) {
  EXPECT_THAT(After(3, 1, Dhcpv6(7, 2, {{}})), IsEmpty());   // of another exchange
  EXPECT_THAT(After(11, 1, Dhcpv6(7, 1, {{}})), IsEmpty());  // asked for no address
  EXPECT_THAT(After(3, 1, Dhcpv6(2, 1, {{}})), IsEmpty());   // an offer
  EXPECT_THAT(After(3, 1, Dhcpv6(7, 1, {{25, kGlobal, 1}})), IsEmpty());
}

TEST(Neighbours, EveryCutAndEveryChangedByteIsSurvived) {
  const Packet frames[] = {ArpFrame(), Ethernet(Solicitation(kGlobal)),
                           Ethernet(Advertisement(kGlobal)), FromServer(Dhcpv6(7, 1, {{}, {}}))};
  for (const Packet& whole : frames) {
    Neighbours neighbours;
    neighbours.Take({DLT_EN10MB, 0, FromClient(3, 1)});
    EXPECT_FALSE(neighbours.Take({DLT_EN10MB, 0, whole}).empty());
    for (size_t size = 0; size < whole.size(); ++size) {
      // In memory of its own, so that a read beyond the end is noticed.
      const Packet part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
      EXPECT_THAT(neighbours.Take({DLT_EN10MB, 0, part}), IsEmpty()) << size;
    }
    for (size_t at = 0; at < whole.size(); ++at) {
      for (const uint8_t value : {0x00, 0x01, 0x7F, 0xFF}) {
        Packet changed = whole;
        changed[at] = value;
        EXPECT_LE(neighbours.Take({DLT_EN10MB, 0, changed}).size(), 3U);
      }
    }
  }
}

DhcpMessage Message(unsigned operation, unsigned type, const Packet& options = {}) {
  Dhcp dhcp;
  dhcp.operation = operation;
  dhcp.type = type;
  dhcp.client_address = {192, 0, 2, 9};
  dhcp.offered_address = kClientIp;
  dhcp.options = options;
  const auto message = ReadDhcpMessage(byod::test::DhcpMessage(dhcp));
  EXPECT_TRUE(message);
  return message.value_or(DhcpMessage{});
}

TEST(Neighbours, ALeaseOfDhcpv4IsGivenByAnAckAndEndedByARelease) {
  EXPECT_THAT(TextsOf(Neighbours::OfDhcp(Message(2, 5, {51, 4, 0, 0, 0x0E, 0x10}))),
              ElementsAre(kClientText + " 192.0.2.10 for 3600 s"));
  EXPECT_THAT(TextsOf(Neighbours::OfDhcp(Message(2, 5, {51, 4, 255, 255, 255, 255}))),
              ElementsAre(kClientText + " 192.0.2.10"));
  EXPECT_THAT(TextsOf(Neighbours::OfDhcp(Message(1, 7))),
              ElementsAre(kClientText + " 192.0.2.9 ended"));
  for (const unsigned type : {1U, 2U, 3U, 4U, 6U, 8U}) {
    EXPECT_THAT(Neighbours::OfDhcp(Message(1, type)), IsEmpty());
    EXPECT_THAT(Neighbours::OfDhcp(Message(2, type)), IsEmpty());
  }
  EXPECT_THAT(Neighbours::OfDhcp(Message(1, 5)), IsEmpty());
}

}  // namespace
}  // namespace byod::capture
