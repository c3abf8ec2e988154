// SPDX-License-Identifier: Apache-2.0
// What dnsmasq passes to its dhcp-script.
#ifndef BYOD_FEEDS_DNSMASQ_EVENT_H
#define BYOD_FEEDS_DNSMASQ_EVENT_H

#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "feeds/sighting.h"

namespace byod::feeds {

/**
 * A lease that dnsmasq has added, changed or deleted.
 *
 * dnsmasq says by arguments which address has which lease, and by its environment what the client
 * sent in its request. For a lease of DHCPv6 that is another thing, which is no fingerprint: only
 * the pair of addresses is taken.
 */
class DnsmasqEvent {
 public:
  using Environment = char* (*)(const char* name);

  /// @param arguments    "add", "old" or "del", MAC address (of DHCPv6: the client's identifier),
  /// IP
  ///                     address, and perhaps a host name; borrowed like the environment
  DnsmasqEvent(std::span<const char* const> arguments, Environment environment = std::getenv);

  /// Whether there is anything to report: dnsmasq has other events too, and leases of clients
  /// without a known MAC address.
  bool IsSighting() const { return !sighting_.mac.empty(); }

  const Sighting& sighting() const { return sighting_; }

 private:
  void ReadRequest(Environment environment);

  std::array<uint8_t, kMaxOptions> options_;
  Sighting sighting_;
};

}  // namespace byod::feeds

#endif  // BYOD_FEEDS_DNSMASQ_EVENT_H
