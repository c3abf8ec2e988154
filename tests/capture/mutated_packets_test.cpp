// SPDX-License-Identifier: Apache-2.0
// Packets made up and then damaged, 100,000 of them: none may do harm, and none may show what a
// fingerprint cannot be. Worth running under the sanitizers.
#include <gmock/gmock.h>
#include <pcap/dlt.h>

#include <algorithm>
#include <random>
#include <vector>

#include "capture/stations.h"
#include "support/packets.h"

namespace byod::capture {
namespace {

using namespace byod::test;

constexpr size_t kPackets = 100000;
constexpr size_t kMostStations = 500;

struct Sample {
  int link_type;
  Packet frame;
};

std::vector<Sample> Samples() {
  Dhcp request;
  request.type = 3;
  request.relay = kServerIp;
  request.options = {50, 4, 192, 0, 2, 9, 52, 1, 3, 12, 3, 'a', 'b', 'c', 55, 3, 1, 3, 6};
  request.file = {55, 1, 7, 255};
  request.server_name = {12, 1, 'x', 255};
  Dhcp answer;
  answer.operation = 2;
  answer.type = 5;
  answer.offered_address = kClientIp;
  const Packet server = Ipv4(17, Udp(67, 68, test::DhcpMessage(answer)), kServerIp);
  std::vector<Sample> samples;
  for (const Packet& ip :
       {DhcpIp(), DhcpIp(request), server, HttpIp(), HttpIp(kRequest.substr(0, 40)),
        HttpIp(kRequest.substr(40), 1040), Ipv6(6, Tcp(kRequest)),
        Ipv6(0, Maker().Byte(6).Byte(0).Zeros(6).All(Tcp(kRequest)))}) {
    samples.push_back({DLT_EN10MB, Ethernet(ip)});
    samples.push_back({DLT_EN10MB, Ethernet(ip, kClient, {0x88A8, 0x8100})});
    samples.push_back({DLT_IEEE802_11, Wireless(ip, kClient, 0x88)});
    samples.push_back({DLT_IEEE802_11_RADIO, Radiotap(Wireless(ip))});
    samples.push_back({DLT_LINUX_SLL, Cooked(ip)});
    samples.push_back({DLT_LINUX_SLL2, Cooked2(ip)});
    samples.push_back({DLT_RAW, ip});
    samples.push_back({DLT_EN10MB, Capwap(Wireless(ip, kClient, 0x08, true))});
    samples.push_back({DLT_EN10MB, Capwap(Ethernet(ip), false)});
  }
  return samples;
}

class Damage {
 public:
  explicit Damage(uint32_t seed) : random_(seed) {}

  size_t Below(size_t bound) { return random_() % bound; }

  void Do(Packet& packet, const std::vector<Sample>& samples) {
    constexpr uint8_t kTelling[] = {0, 1, 6, 17, 53, 55, 63, 64, 127, 128, 254, 255};
    for (size_t times = Below(6); times > 0 && !packet.empty(); --times) {
      const size_t at = Below(packet.size());
      const auto place = packet.begin() + static_cast<ptrdiff_t>(at);
      switch (Below(7)) {
        case 0:
          *place = static_cast<uint8_t>(*place ^ 1U << Below(8));
          break;
        case 1:
          *place = static_cast<uint8_t>(random_());
          break;
        case 2:
          *place = kTelling[Below(std::size(kTelling))];
          break;
        case 3:
          packet.resize(at);
          break;
        case 4:
          packet.insert(place, Below(20), static_cast<uint8_t>(random_()));
          break;
        case 5:
          packet.erase(place, place + static_cast<ptrdiff_t>(Below(packet.size() - at) % 20));
          break;
        default: {  // goes on as another one
          const Packet& other = samples[Below(samples.size())].frame;
          const size_t from = Below(other.size());
          packet.resize(at);
          packet.insert(packet.end(), other.begin() + static_cast<ptrdiff_t>(from), other.end());
        }
      }
    }
  }

 private:
  std::mt19937 random_;
};

void ExpectFingerprint(const Sighting& sighting) {
  if (sighting.kind == Sighting::Kind::kUserAgent) {
    const std::string& agent = sighting.user_agent;
    EXPECT_TRUE(!agent.empty() && agent.size() <= 255);
    EXPECT_TRUE(std::ranges::none_of(agent, [](char c) {
      return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
    })) << agent;
  } else {
    EXPECT_LE(sighting.dhcp.option55.size(), 255U);
    EXPECT_EQ(sighting.dhcp.client[0] & 1, 0);
  }
}

TEST(MutatedPackets, DoNoHarmAndTellNothingThatAFingerprintCannotBe) {
  const std::vector<Sample> samples = Samples();
  Damage damage(20);
  Dissector dissector;
  Stations stations(kMostStations);
  size_t reported = 0;
  for (size_t i = 0; i < kPackets; ++i) {
    Sample sample = samples[damage.Below(samples.size())];
    damage.Do(sample.frame, samples);
    if (damage.Below(50) == 0) sample.link_type = samples[damage.Below(samples.size())].link_type;
    // In a block of its own size, so that a sanitizer sees a read beyond it.
    const std::vector<uint8_t> exact(sample.frame.begin(), sample.frame.end());
    for (const Sighting& sighting : dissector.Take({sample.link_type, 0, exact})) {
      ++reported;
      ExpectFingerprint(sighting);
      stations.Take(sighting);
    }
    ASSERT_LE(stations.count(), kMostStations);
    if (testing::Test::HasFailure()) return;
  }
  const Counts& counts = dissector.counts();
  EXPECT_EQ(counts.packets, kPackets);
  // Neither everything nor nothing came through.
  EXPECT_GT(reported, kPackets / 10);
  EXPECT_GT(counts.malformed, kPackets / 10);
  EXPECT_LE(counts.option_lists + counts.user_agents, reported);
}

}  // namespace
}  // namespace byod::capture
