// Finds in packets what tells of stations.
#ifndef BYOD_CAPTURE_DISSECTOR_H
#define BYOD_CAPTURE_DISSECTOR_H

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "capture/dhcp_message.h"
#include "capture/frame.h"
#include "capture/http_request.h"
#include "capture/link_layer.h"
#include "capture/recent_map.h"
#include "capture/transport.h"

namespace byod::capture {

/// What one packet tells.
struct Sighting {
  enum class Kind { kDhcp, kUserAgent };

  Kind kind = Kind::kDhcp;
  /// Who sent the frame; in a tunnel the frame inside and the one around it.
  std::optional<MacAddress> sender;
  std::optional<MacAddress> outer_sender;
  IpAddress source = kNoAddress;  ///< of the IP packet
  DhcpMessage dhcp;               ///< of a DHCP message
  std::string user_agent;         ///< else: up to 255 bytes, not empty
  bool is_user_agent_cut = false;

  /// A DISCOVER, REQUEST or INFORM with a list of options.
  bool HasOptions() const;
};

struct Counts {
  uint64_t packets = 0;
  uint64_t option_lists = 0;
  uint64_t user_agents = 0;
  uint64_t malformed = 0;  ///< cut short, or at odds with themselves
};

/**
 * Reads packets in the order of their capture.
 *
 * The head of an HTTP request may be spread over segments that follow one another; a bounded number
 * of such heads is kept at a time.
 */
class Dissector {
 public:
  Dissector();

  std::optional<Sighting> Take(const Frame& frame);

  const Counts& counts() const { return counts_; }

 private:
  /// Addresses and ports of client and server.
  using Flow = std::tuple<IpAddress, uint16_t, IpAddress, uint16_t>;

  struct Head {
    std::string text;
    uint32_t next = 0;  // sequence number
  };

  std::optional<Sighting> TakeSegment(const Segment& segment, Sighting sighting);
  std::optional<Sighting> TakeDhcp(const Segment& segment, Sighting sighting);
  std::optional<Sighting> TakeTcp(const Segment& segment, Sighting sighting);
  HttpHead ReadHead(const Segment& segment);
  std::nullopt_t CountMalformed();

  Counts counts_;
  std::vector<uint8_t> inside_;  // what a tunnel carries
  RecentMap<Flow, Head> heads_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_DISSECTOR_H
