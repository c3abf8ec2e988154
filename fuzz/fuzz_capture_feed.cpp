// SPDX-License-Identifier: Apache-2.0
// Attacks feeds::CaptureFeed, feeds::Datagram and capture::Neighbours, which turn packets from the
// network into sightings.
//
// Input: a byte that chooses the kind of link, then packets, each behind two bytes of its length.
// Every datagram must be one JSON object within its limit that names the feed and a station, and
// within the quiet time nothing may be reported twice.
#include <pcap/dlt.h>

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "feeds/capture_feed.h"

namespace {

using byod::feeds::CaptureFeed;
using byod::feeds::Datagram;
using byod::feeds::Sighting;

constexpr int kLinkTypes[] = {DLT_EN10MB, DLT_IEEE802_11, DLT_IEEE802_11_RADIO,
                              DLT_PPI,    DLT_LINUX_SLL,  DLT_LINUX_SLL2,
                              DLT_RAW,    DLT_NULL};
constexpr uint64_t kStart = 1'000'000;

void Expect(bool truth) {
  if (!truth) std::abort();
}

void ExpectSighting(const std::string& datagram) {
  Expect(datagram.size() <= byod::feeds::kMaxDatagram);
  const auto object = nlohmann::json::parse(datagram, nullptr, false);
  Expect(object.is_object() && object.value("feed", "") == "fuzz");
  Expect(object.contains("mac") || object.contains("ip"));
  // A character of UTF-8 may stand for one byte.
  Expect(object.value("user_agent", "").size() <= 2 * byod::feeds::kMaxText);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const int link_type = kLinkTypes[data[0] % std::size(kLinkTypes)];
  std::set<std::string> reported;
  CaptureFeed feed("fuzz", [&](const Sighting& sighting) {
    const std::string datagram(Datagram(sighting).text());
    ExpectSighting(datagram);
    Expect(reported.insert(datagram).second);
    return true;
  });
  for (size_t at = 1; at + 2 <= size;) {
    size_t length = static_cast<size_t>(data[at] << 8 | data[at + 1]);
    at += 2;
    if (length > size - at) length = size - at;
    // In a block of its own size, so that a sanitizer sees a read beyond it.
    const std::vector<uint8_t> packet(data + at, data + at + length);
    at += length;
    feed.Take({link_type, kStart, packet});
  }
  return 0;
}
