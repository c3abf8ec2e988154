// SPDX-License-Identifier: Apache-2.0
// An IPv4 or IPv6 address of a terminal.
#ifndef LAUTHD_STATIONS_IP_ADDRESS_H
#define LAUTHD_STATIONS_IP_ADDRESS_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace byod::lauthd {

/// As the 16 bytes of an IPv6 address; an IPv4 address is mapped into it, ::ffff:192.0.2.1.
struct IpAddress {
  std::array<uint8_t, 16> bytes = {};

  friend bool operator==(const IpAddress&, const IpAddress&) = default;
};

/// Reads the address of one terminal: not the unspecified address, loopback or multicast.
std::optional<IpAddress> ParseIp(std::string_view text);

/// The usual text; an IPv4 address as one.
std::string ToString(const IpAddress& address);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_IP_ADDRESS_H
