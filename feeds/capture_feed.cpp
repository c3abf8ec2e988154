// SPDX-License-Identifier: Apache-2.0
#include "feeds/capture_feed.h"

#include <string>
#include <string_view>
#include <utility>

#include "net/mac_text.h"

namespace byod::feeds {
namespace {

constexpr size_t kMaxReported = 16384;

}  // namespace

CaptureFeed::CaptureFeed(std::string feed, Report report)
    : feed_(std::move(feed)), report_(std::move(report)), reported_(kMaxReported) {}

void CaptureFeed::Take(const capture::Frame& frame) {
  now_us_ = frame.time_us;
  for (const capture::Neighbour& neighbour : neighbours_.Take(frame))
    Pair(neighbour);
  for (const capture::Sighting& found : dissector_.Take(frame)) {
    if (found.kind == capture::Sighting::Kind::kDhcp) {
      // The leases that pass by say which address belongs to which station.
      stations_.Take(found);
      if (found.HasOptions()) TakeDhcp(found.dhcp);
      for (const capture::Neighbour& neighbour : capture::Neighbours::OfDhcp(found.dhcp))
        Pair(neighbour);
    } else {
      TakeUserAgent(found);
    }
  }
}

void CaptureFeed::TakeDhcp(const capture::DhcpMessage& message) {
  const std::string mac = net::ToString(message.client);
  Sighting sighting;
  sighting.mac = mac;
  sighting.options = message.option55;
  sighting.vendor_class = message.vendor_class;
  sighting.host_name = message.host_name;
  ReportNew(sighting);
}

void CaptureFeed::TakeUserAgent(const capture::Sighting& found) {
  const capture::Station* const station = stations_.Take(found);
  const std::string mac = station->key.mac ? net::ToString(*station->key.mac) : std::string();
  const std::string ip = station->key.mac ? std::string() : capture::ToString(found.source);
  Sighting sighting;
  sighting.mac = mac;
  // Not with the MAC address as well: the sender of the frame may be a router that is not known as
  // one.
  sighting.ip = ip;
  sighting.user_agent = found.user_agent;
  ReportNew(sighting);
}

void CaptureFeed::Pair(const capture::Neighbour& neighbour) {
  const std::string mac = net::ToString(neighbour.mac);
  const std::string ip = capture::ToString(neighbour.address);
  Sighting sighting;
  sighting.mac = mac;
  sighting.ip = ip;
  sighting.event = neighbour.is_ended ? "lease-end" : "lease";
  if (neighbour.seconds != 0) {
    sighting.lease_end = static_cast<int64_t>(now_us_ / 1000000 + neighbour.seconds);
  }
  ReportNew(sighting);
}

void CaptureFeed::ReportNew(Sighting sighting) {
  sighting.feed = feed_;
  const size_t hash = std::hash<std::string_view>()(Datagram(sighting).text());
  uint64_t& last_us = reported_.Touch(hash);
  const bool is_new = last_us == 0 || now_us_ < last_us || now_us_ - last_us >= kQuietUs;
  if (!is_new) return;
  sighting.time_us = now_us_;
  if (report_(sighting)) last_us = now_us_;
}

}  // namespace byod::feeds
