// SPDX-License-Identifier: Apache-2.0
// One thing that a program noticed of a terminal, and how it reports it.
#ifndef LAUTHD_STATIONS_SIGHTING_H
#define LAUTHD_STATIONS_SIGHTING_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "lauthd/stations/ip_address.h"
#include "net/mac_address.h"

namespace byod::lauthd {

/// What happened to the terminal's address or session.
enum class SightingEvent : uint8_t { kNone, kLease, kLeaseEnd, kStart, kInterim, kStop };

/// An empty text, like an empty optional, was not reported.
struct Sighting {
  std::string feed;
  std::optional<net::MacAddress> mac;
  std::optional<IpAddress> ip;
  uint64_t lease_end = 0;  // seconds since 1970; 0 = not known
  SightingEvent event = SightingEvent::kNone;
  std::string options;  // DHCP option 55, its bytes
  std::string user_agent;
  std::string vendor_class;
  std::string host_name;
  std::string access_device;
  std::string port;
  std::string session;
  std::optional<uint64_t> time;  // seconds since 1970
  uint64_t dropped = 0;          // sightings that the sender could not send before this one
};

inline constexpr size_t kMaxSightingBytes = 4096;

/**
 * Reads a sighting, a JSON object; a syslog header may stand before it. Keys that are not known are
 * ignored, and a value of null is none. Texts are cut to their limits: 255 bytes; names of a place
 * that are too long are refused, since a part of one names nothing.
 *
 * @param sighting  filled in as far as possible, also when the rest is refused, so that its feed
 *                  may be known
 * @return why it is refused; empty = it is not
 */
std::string ParseSighting(std::string_view datagram, Sighting& sighting);

/// Whether a text may be the name of a feed: 1 to 32 characters of a-z, 0-9 and "-".
bool IsFeedName(std::string_view text);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_SIGHTING_H
