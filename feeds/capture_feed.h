// SPDX-License-Identifier: Apache-2.0
// Turns packets into sightings.
#ifndef BYOD_FEEDS_CAPTURE_FEED_H
#define BYOD_FEEDS_CAPTURE_FEED_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "capture/dissector.h"
#include "capture/neighbours.h"
#include "capture/recent_map.h"
#include "capture/stations.h"
#include "feeds/sighting.h"

namespace byod::feeds {

/**
 * Reports what packets show about stations: option lists with what else the DHCP request says,
 * leases, pairs of addresses, and User-Agents.
 *
 * A User-Agent is reported with the MAC address of its station, or with the IP address alone where
 * a router or relay has sent the frame. What was reported within the last seconds is not reported
 * again: a page has a hundred requests with the same User-Agent.
 */
class CaptureFeed {
 public:
  using Report = std::function<bool(const Sighting&)>;

  static constexpr uint64_t kQuietUs = 10'000'000;

  /// @param feed    the feed's name
  /// @param report  called within Take; the sighting is borrowed during the call. @return whether
  /// it
  ///                was sent: if not, the next of the same kind is reported
  CaptureFeed(std::string feed, Report report);

  /// Packets in the order of their capture.
  void Take(const capture::Frame& frame);

  const capture::Counts& counts() const { return dissector_.counts(); }

 private:
  void TakeDhcp(const capture::DhcpMessage& message);
  void TakeUserAgent(const capture::Sighting& found);
  void Pair(const capture::Neighbour& neighbour);
  void ReportNew(Sighting sighting);

  std::string feed_;
  Report report_;
  capture::Dissector dissector_;
  capture::Neighbours neighbours_;
  capture::Stations stations_;
  capture::RecentMap<size_t, uint64_t> reported_;  // when, by the hash of its datagram
  uint64_t now_us_ = 0;                            // of the packets
};

}  // namespace byod::feeds

#endif  // BYOD_FEEDS_CAPTURE_FEED_H
