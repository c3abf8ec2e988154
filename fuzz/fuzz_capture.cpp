// SPDX-License-Identifier: Apache-2.0
// Attacks capture::Dissector and capture::Stations, which parse packets from the network.
//
// Input: a byte that chooses the kind of link, then packets, each behind two bytes of its length.
// Every fingerprint must respect its limits; a truncated packet yields what the whole one does, or
// nothing; and the same packets yield the same fingerprints a second time.
#include <pcap/dlt.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "capture/stations.h"

namespace {

using byod::capture::Dissector;
using byod::capture::Frame;
using byod::capture::Sighting;
using byod::capture::Stations;

constexpr int kLinkTypes[] = {DLT_EN10MB, DLT_IEEE802_11, DLT_IEEE802_11_RADIO,
                              DLT_PPI,    DLT_LINUX_SLL,  DLT_LINUX_SLL2,
                              DLT_RAW,    DLT_NULL};
constexpr size_t kMostStations = 8;

void Expect(bool truth) {
  if (!truth) std::abort();
}

bool Same(const Sighting& a, const Sighting& b) {
  return a.kind == b.kind && a.sender == b.sender && a.user_agent == b.user_agent &&
         a.dhcp.client == b.dhcp.client && a.dhcp.option55 == b.dhcp.option55;
}

void ExpectFingerprint(const Sighting& sighting) {
  if (sighting.kind == Sighting::Kind::kUserAgent) {
    Expect(!sighting.user_agent.empty() && sighting.user_agent.size() <= 255);
    Expect(sighting.user_agent.find('\0') == std::string::npos);
  } else {
    Expect(sighting.dhcp.option55.size() <= 255);
    Expect((sighting.dhcp.client[0] & 1) == 0);
  }
}

/// A DHCP packet is independent of others, so a truncated one can be compared with the whole.
void ExpectNoGuess(const Frame& frame, const Sighting& whole) {
  if (whole.kind != Sighting::Kind::kDhcp) return;
  Frame cut = frame;
  cut.bytes = frame.bytes.first(frame.bytes.size() - 1);
  for (const Sighting& sighting : Dissector().Take(cut))
    Expect(Same(sighting, whole));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const int link_type = kLinkTypes[data[0] % std::size(kLinkTypes)];
  Dissector dissector, again;
  Stations stations(kMostStations);
  for (size_t at = 1; at + 2 <= size;) {
    size_t length = static_cast<size_t>(data[at] << 8 | data[at + 1]);
    at += 2;
    if (length > size - at) length = size - at;
    // In a block of its own size, so that a sanitizer sees a read beyond it.
    const std::vector<uint8_t> packet(data + at, data + at + length);
    at += length;
    const Frame frame{link_type, 0, packet};
    const std::vector<Sighting> sightings = dissector.Take(frame);
    Expect(std::ranges::equal(sightings, again.Take(frame), &Same));
    for (const Sighting& sighting : sightings) {
      ExpectFingerprint(sighting);
      ExpectNoGuess(frame, sighting);
      stations.Take(sighting);
    }
    Expect(stations.count() <= kMostStations);
  }
  Expect(dissector.counts().malformed <= dissector.counts().packets);
  return 0;
}
