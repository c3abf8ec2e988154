// SPDX-License-Identifier: Apache-2.0
#include "capture/stations.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/choices.h"
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

TEST_F(StationsTest, AFingerprintHasTheAddressTheOptionsAndTheUserAgent) {
  See(Ethernet(DhcpIp()));
  const Station* const station = See(Ethernet(HttpIp()));
  ASSERT_NE(station, nullptr);
  const ByodFingerPrint fingerprint = station->Fingerprint();
  EXPECT_TRUE(std::ranges::equal(fingerprint.mac, kClient));
  EXPECT_EQ(fingerprint.option_length, 4U);
  EXPECT_THAT(std::vector<int>(fingerprint.options, fingerprint.options + 5),
              ElementsAre(1, 3, 6, 15, 0));
  EXPECT_STREQ(fingerprint.user_agent, "Tester/1.0 (made up)");
}

TEST_F(StationsTest, AFingerprintKeepsWhatFits) {
  Station station;
  station.options.assign(BYOD_OPTION55_MAX + 1, 7);
  station.user_agent.assign(300, 'x');
  const ByodFingerPrint fingerprint = station.Fingerprint();
  EXPECT_EQ(fingerprint.option_length, BYOD_OPTION55_MAX);
  EXPECT_EQ(std::string{fingerprint.user_agent}, std::string(255, 'x'));
  EXPECT_THAT(fingerprint.mac, testing::Each(0));
}

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

TEST_F(StationsTest, TheLastHostNameAndTheLastVendorClassCount) {
  Dhcp dhcp;
  dhcp.options = {55, 1, 6, 12, 2, 'p', 'c', 60, 4, 'M', 'S', 'F', 'T'};
  See(Ethernet(DhcpIp(dhcp)));
  dhcp.options = {12, 3, 'n', 'e', 'w'};
  const Station* const station = See(Ethernet(DhcpIp(dhcp)));
  ASSERT_NE(station, nullptr);
  EXPECT_THAT(station->options, ElementsAre(6));
  EXPECT_EQ(station->host_name, "new");
  EXPECT_EQ(station->vendor_class, "MSFT");
  EXPECT_EQ(stations_.count(), 1U);
}

TEST_F(StationsTest, AnAddressThatBringsAUserAgentReturnsItsStation) {
  See(DhcpIp(), DLT_RAW);
  See(HttpIp(), DLT_RAW);
  const Station* const station = See(Answer(), DLT_RAW);
  ASSERT_NE(station, nullptr);
  EXPECT_EQ(station->key.mac, kClient);
  EXPECT_EQ(station->user_agent, "Tester/1.0 (made up)");
  EXPECT_EQ(See(Answer(), DLT_RAW), nullptr);
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

TEST_F(StationsTest, AnAddressThatAClientAsksForOrSaysThatItHasIsNotItsOwn) {
  See(DhcpIp(), DLT_RAW);
  See(Answer(), DLT_RAW);
  Dhcp dhcp;
  dhcp.client = {0x02, 9, 9, 9, 9, 9};
  for (const unsigned type : {1U, 3U, 8U}) {
    dhcp.type = type;
    dhcp.client_address = kClientIp;
    dhcp.options = {55, 1, 1};
    See(DhcpIp(dhcp), DLT_RAW);
    EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, kClient);
    dhcp.client_address = kNoIp;
    dhcp.options = {50, 4, 192, 0, 2, 10, 55, 1, 1};
    See(DhcpIp(dhcp), DLT_RAW);
    EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, kClient);
  }
}

// A client that asked for another one's address took it along, and its refusal took it from both.
TEST_F(StationsTest, ARefusalTakesNothingFromAnotherStation) {
  See(DhcpIp(), DLT_RAW);
  See(Answer(), DLT_RAW);
  Dhcp dhcp;
  dhcp.type = 3;
  dhcp.client = {0x02, 9, 9, 9, 9, 9};
  dhcp.options = {50, 4, 192, 0, 2, 10, 55, 1, 1};
  See(DhcpIp(dhcp), DLT_RAW);
  Dhcp refusal;
  refusal.operation = 2;
  refusal.type = 6;
  refusal.client = dhcp.client;
  See(Ipv4(17, Udp(67, 68, test::DhcpMessage(refusal)), kServerIp), DLT_RAW);
  EXPECT_EQ(See(HttpIp(), DLT_RAW)->key.mac, kClient);
}

TEST_F(StationsTest, AnAddressThatAServerRefusesIsNotTheClients) {
  See(DhcpIp(), DLT_RAW);
  See(Answer(), DLT_RAW);
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

/// A history of DHCP, and which station may use which address after it.
class History {
 public:
  explicit History(uint32_t seed) : choices_(seed), stations_(100) {}

  void Step() {
    const MacAddress client{0x02, 0, 0, 0, 0, static_cast<uint8_t>(choices_.Below(5))};
    const IpAddress address = AddressOf(choices_.Below(5));
    switch (choices_.Below(6)) {
      case 0:
        return Give(client, address);
      case 1:
        return Refuse(client);
      case 2:
        return ExpectHolder(address);
      default:
        return Ask(client, address);
    }
  }

 private:
  static constexpr MacAddress kServer = {0, 1, 2, 3, 4, 5};

  static IpAddress AddressOf(size_t number) {
    const uint8_t bytes[] = {192, 0, 2, static_cast<uint8_t>(10 + number)};
    return MakeIpAddress(Bytes(bytes));
  }

  Sighting Answer(const MacAddress& client, uint8_t type) {
    Sighting sighting;
    sighting.sender = kServer;
    sighting.dhcp.type = type;
    sighting.dhcp.client = client;
    return sighting;
  }

  void Ask(const MacAddress& client, const IpAddress& address) {
    Sighting sighting;
    sighting.sender = client;
    sighting.dhcp.is_request = true;
    sighting.dhcp.client = client;
    constexpr uint8_t kTypes[] = {DhcpMessage::kDiscover, DhcpMessage::kRequest,
                                  DhcpMessage::kInform};
    sighting.dhcp.type = kTypes[choices_.Below(3)];
    if (choices_.Below(2) == 0) sighting.dhcp.client_address = address;
    if (choices_.Below(2) == 0) sighting.dhcp.requested_address = address;
    if (choices_.Below(2) == 0) sighting.dhcp.option55 = {1, 3, 6};
    stations_.Take(sighting);
  }

  void Give(const MacAddress& client, const IpAddress& address) {
    Sighting answer = Answer(client, DhcpMessage::kAck);
    answer.dhcp.offered_address = address;
    stations_.Take(answer);
    holders_[address] = client;
    given_[client] = address;
  }

  void Refuse(const MacAddress& client) {
    stations_.Take(Answer(client, DhcpMessage::kNak));
    const auto given = given_.find(client);
    if (given == given_.end()) return;
    const auto holder = holders_.find(given->second);
    if (holder != holders_.end() && holder->second == client) holders_.erase(holder);
    given_.erase(given);
  }

  /// A User-Agent that comes by the server, which forwards.
  void ExpectHolder(const IpAddress& address) {
    stations_.Take(Answer({2, 2, 2, 2, 2, 2}, 2));
    Sighting sighting;
    sighting.kind = Sighting::Kind::kUserAgent;
    sighting.sender = kServer;
    sighting.source = address;
    sighting.user_agent = "x";
    const Station* const station = stations_.Take(sighting);
    const auto holder = holders_.find(address);
    const auto expected = holder != holders_.end() ? std::optional(holder->second) : std::nullopt;
    ASSERT_EQ(station->key.mac, expected);
  }

  Choices choices_;
  Stations stations_;
  std::map<IpAddress, MacAddress> holders_;
  std::map<MacAddress, IpAddress> given_;
};

TEST(Stations, AnAddressBelongsToWhomTheLastAcknowledgementGaveIt) {
  for (uint32_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    for (int step = 0; step < 200; ++step) {
      history.Step();
      ASSERT_FALSE(testing::Test::HasFailure());
    }
  }
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
