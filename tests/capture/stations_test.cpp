#include "capture/stations.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <string>

#include "support/packets.h"

namespace byod::capture {
namespace {

using namespace byod::test;
using testing::ElementsAre;

constexpr Mac kRouter = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05};

class StationsTest : public testing::Test {
 protected:
  const Station* See(const Packet& frame, int link_type = DLT_EN10MB) {
    const Station* station = nullptr;
    for (const Sighting& sighting : dissector_.Take({link_type, 0, frame}))
      station = stations_.Take(sighting);
    EXPECT_EQ(dissector_.counts().malformed, 0U);
    return station;
  }

  /// A DHCP packet that gives the client its address.
  static Packet Answer(unsigned type = 5) {
    Dhcp dhcp;
    dhcp.operation = 2;
    dhcp.type = type;
    dhcp.offered_address = kClientIp;
    return Ipv4(17, Udp(67, 68, test::DhcpMessage(dhcp)), kServerIp);
  }

  static Packet Relayed() {
    Dhcp dhcp;
    dhcp.relay = kServerIp;
    return Ethernet(DhcpIp(dhcp), kRouter);
  }

  Dissector dissector_;
  Stations stations_;
};

TEST_F(StationsTest, ListAndUserAgentOfOneSenderAreJoined) {
  See(Ethernet(DhcpIp()));
  const Station* const station = See(Ethernet(HttpIp()));
  ASSERT_NE(station, nullptr);
  EXPECT_EQ(station->key.mac, kClient);
  EXPECT_THAT(station->options, ElementsAre(1, 3, 6, 15));
  EXPECT_EQ(station->user_agent, "Tester/1.0 (made up)");
  EXPECT_EQ(ToString(station->address), "192.0.2.10");
  EXPECT_EQ(stations_.count(), 1U);
}

TEST_F(StationsTest, TheLastListAndTheLastUserAgentCount) {
  See(Ethernet(DhcpIp()));
  See(Ethernet(HttpIp()));
  Dhcp dhcp;
  dhcp.options = {55, 1, 6};
  EXPECT_THAT(See(Ethernet(DhcpIp(dhcp)))->options, ElementsAre(6));
  EXPECT_EQ(See(Ethernet(HttpIp("GET / HTTP/1.1\r\nUser-Agent: b\r\n\r\n")))->user_agent, "b");
}

TEST_F(StationsTest, ARelayedRequestIsOfTheClientInIt) {
  const Station* const station = See(Relayed());
  ASSERT_NE(station, nullptr);
  EXPECT_EQ(station->key.mac, kClient);
  EXPECT_EQ(stations_.count(), 1U);
}

TEST_F(StationsTest, AUserAgentThatARelayHandsOnIsNotItsOwn) {
  See(Relayed());
  const Station* station = See(Ethernet(HttpIp(), kRouter));
  EXPECT_EQ(station->key.mac, std::nullopt);
  EXPECT_EQ(ToString(station->key.address), "192.0.2.10");
  See(Ethernet(Answer(), kRouter));
  station = See(Ethernet(HttpIp(), kRouter));
  EXPECT_EQ(station->key.mac, kClient);
  EXPECT_THAT(station->options, ElementsAre(1, 3, 6, 15));
}

TEST_F(StationsTest, WithoutALinkLayerTheAddressThatDhcpGaveTellsTheStation) {
  See(DhcpIp(), DLT_RAW);
  See(Answer(), DLT_RAW);
  const Station* const station = See(HttpIp(), DLT_RAW);
  EXPECT_EQ(station->key.mac, kClient);
  EXPECT_EQ(stations_.count(), 1U);
}

TEST_F(StationsTest, AnAddressThatAClientHasOrAsksForIsItsOwn) {
  Dhcp dhcp;
  dhcp.type = 8;
  dhcp.client_address = kClientIp;
  See(DhcpIp(dhcp), DLT_RAW);
  EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, kClient);

  dhcp.type = 3;
  dhcp.client_address = kNoIp;
  dhcp.client = {0x02, 9, 9, 9, 9, 9};
  dhcp.options = {50, 4, 192, 0, 2, 10, 55, 1, 1};
  See(DhcpIp(dhcp), DLT_RAW);
  EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, dhcp.client);

  // What a client would like is not its own while it only looks around.
  dhcp.type = 1;
  dhcp.client = {0x02, 8, 8, 8, 8, 8};
  See(DhcpIp(dhcp), DLT_RAW);
  EXPECT_NE(See(HttpIp(), DLT_RAW)->key.mac, dhcp.client);
}

TEST_F(StationsTest, AnAddressThatAServerRefusesIsNotTheClients) {
  Dhcp dhcp;
  dhcp.type = 3;
  dhcp.options = {50, 4, 192, 0, 2, 10, 55, 1, 1};
  See(DhcpIp(dhcp), DLT_RAW);
  See(Answer(6), DLT_RAW);
  EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, std::nullopt);
}

TEST_F(StationsTest, AUserAgentSeenBeforeTheAddressWasGivenMovesToItsStation) {
  EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, std::nullopt);
  See(DhcpIp(), DLT_RAW);
  See(Answer(), DLT_RAW);
  EXPECT_EQ(stations_.count(), 1U);
  EXPECT_EQ(See(DhcpIp(), DLT_RAW)->user_agent, "Tester/1.0 (made up)");
}

TEST_F(StationsTest, AMessageWithoutAListTellsNothing) {
  Dhcp dhcp;
  dhcp.options = {};
  EXPECT_EQ(See(Ethernet(DhcpIp(dhcp))), nullptr);
  EXPECT_EQ(See(Ethernet(Answer())), nullptr);
  EXPECT_EQ(stations_.count(), 0U);
}

TEST(Stations, ThoseSeenLeastLatelyAreForgottenBeyondTheBound) {
  Stations stations(3);
  const auto see = [&](uint8_t last, size_t size) {
    Sighting sighting;
    sighting.dhcp.is_request = true;
    sighting.dhcp.type = DhcpMessage::kDiscover;
    sighting.dhcp.client = {0, 0, 0, 0, 0, last};
    sighting.dhcp.option55.assign(size, 1);
    return stations.Take(sighting);
  };
  const auto agent_of = [&](uint8_t last) {
    Sighting sighting;
    sighting.kind = Sighting::Kind::kUserAgent;
    sighting.sender = MacAddress{0, 0, 0, 0, 0, last};
    sighting.user_agent = "x";
    return stations.Take(sighting)->options.size();
  };
  see(1, 1), see(2, 2), see(3, 3), see(1, 1), see(4, 4);
  EXPECT_EQ(stations.count(), 3U);
  EXPECT_EQ(agent_of(1), 1U);
  EXPECT_EQ(agent_of(3), 3U);
  EXPECT_EQ(agent_of(2), 0U);
}

}  // namespace
}  // namespace byod::capture
