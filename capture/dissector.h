// SPDX-License-Identifier: Apache-2.0
// Extracts from packets what they show about stations.
#ifndef BYOD_CAPTURE_DISSECTOR_H
#define BYOD_CAPTURE_DISSECTOR_H

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "capture/dhcp_message.h"
#include "capture/frame.h"
#include "capture/http_stream.h"
#include "capture/link_layer.h"
#include "capture/recent_map.h"
#include "capture/transport.h"

namespace byod::capture {

/// One fact that a packet shows.
struct Sighting {
  enum class Kind { kDhcp, kUserAgent };

  Kind kind = Kind::kDhcp;
  /// The sender of the frame; in a tunnel of the inner and of the outer frame.
  std::optional<MacAddress> sender;
  std::optional<MacAddress> outer_sender;
  IpAddress source = kNoAddress;  ///< of the IP packet
  DhcpMessage dhcp;               ///< of a DHCP message
  std::string user_agent;         ///< of any other sighting: up to 255 bytes, not empty
  bool is_user_agent_cut = false;

  /// A DISCOVER, REQUEST or INFORM with a list of options.
  bool HasOptions() const;
};

struct Counts {
  uint64_t packets = 0;
  uint64_t option_lists = 0;
  uint64_t user_agents = 0;
  uint64_t malformed = 0;  ///< packets that are cut short or inconsistent
};

/**
 * Reads packets in the order of their capture.
 *
 * The head of an HTTP request may be spread over segments, and a segment may hold several requests.
 * A bounded number of connections is followed at a time.
 */
class Dissector {
 public:
  Dissector();

  /// @return what the packet shows; several User-Agents in the order of their sending
  std::vector<Sighting> Take(const Frame& frame);

  const Counts& counts() const { return counts_; }

 private:
  /// Addresses and ports of client and server.
  using Flow = std::tuple<IpAddress, uint16_t, IpAddress, uint16_t>;

  std::vector<Sighting> TakeSegment(const Segment& segment, Sighting sighting);
  std::vector<Sighting> TakeDhcp(const Segment& segment, Sighting sighting);
  std::vector<Sighting> TakeTcp(const Segment& segment, const Sighting& sighting);
  HttpFindings ReadHttp(const Segment& segment);
  std::vector<Sighting> CountMalformed();

  Counts counts_;
  std::vector<uint8_t> inside_;  // the content of a tunnel
  RecentMap<Flow, HttpStream> streams_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_DISSECTOR_H
