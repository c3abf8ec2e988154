// SPDX-License-Identifier: Apache-2.0
// Which IP address belongs to which MAC address, as a network itself finds out: by ARP, by
// neighbour discovery, and by the leases of DHCP servers.
#ifndef BYOD_CAPTURE_NEIGHBOURS_H
#define BYOD_CAPTURE_NEIGHBOURS_H

#include <cstdint>
#include <tuple>
#include <vector>

#include "capture/dissector.h"
#include "capture/frame.h"
#include "capture/recent_map.h"
#include "capture/transport.h"

namespace byod::capture {

struct Neighbour {
  MacAddress mac = {};
  IpAddress address = kNoAddress;
  bool is_ended = false;  ///< the station no longer has the address
  uint32_t seconds = 0;   ///< how long the address is leased from now on; 0 = not known
};

/**
 * Reads packets in the order of their capture.
 *
 * A pair counts only if the station itself sends it: one in a frame of somebody else, a proxy's or
 * a repeater's, is skipped. An address that is only asked for, or tried out, does not count either.
 * Packets in tunnels are not read.
 *
 * What a DHCPv6 server gives belongs to the sender of the request with the same number, as nothing
 * in the reply itself has to name its MAC address. Messages of relays are not read.
 */
class Neighbours {
 public:
  Neighbours();

  /// The pairs that an ARP, neighbour discovery or DHCPv6 packet shows.
  std::vector<Neighbour> Take(const Frame& frame);

  /// The pair that a message of DHCPv4 shows, if any.
  static std::vector<Neighbour> OfDhcp(const DhcpMessage& message);

 private:
  /// A client and the number of its exchange.
  using Exchange = std::tuple<IpAddress, uint32_t>;

  std::vector<Neighbour> TakeDhcpv6(const Segment& segment, const MacAddress& sender);

  RecentMap<Exchange, MacAddress> clients_;  // of DHCPv6
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_NEIGHBOURS_H
