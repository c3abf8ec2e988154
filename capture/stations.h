// SPDX-License-Identifier: Apache-2.0
// Assigns what packets show to stations.
#ifndef BYOD_CAPTURE_STATIONS_H
#define BYOD_CAPTURE_STATIONS_H

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "byod_data.h"
#include "capture/dissector.h"
#include "capture/recent_map.h"

namespace byod::capture {

/// Identifies a station: its MAC address, or else the IP address that it sends from.
struct StationKey {
  std::optional<MacAddress> mac;
  IpAddress address = kNoAddress;  ///< none when there is a mac

  friend auto operator<=>(const StationKey&, const StationKey&) = default;
};

/// A station. The last of each that is not empty counts.
struct Station {
  StationKey key;
  IpAddress address = kNoAddress;  ///< the last one
  std::vector<uint8_t> options;    ///< of DHCP option 55; empty = not seen
  std::string user_agent;          ///< empty = not seen
  std::string host_name;           ///< DHCP option 12; empty = not seen
  std::string vendor_class;        ///< DHCP option 60; empty = not seen

  /// Only the first 255 options and bytes of the User-Agent count.
  ByodFingerPrint Fingerprint() const;
};

/**
 * The stations of a network, and the addresses that DHCP gives them.
 *
 * A DHCP request belongs to the client whose address it contains, not to the sender of the frame. A
 * User-Agent belongs to the sender of the frame. Where the frame has none, or its sender forwards
 * frames of others, since it relays or answers DHCP, the User-Agent belongs to the station to which
 * DHCP gave the IP address, or else to a station that is known by its IP address alone.
 *
 * DHCP gives an address with an ACK, and with nothing else: what a client asks for, or says that it
 * has, may belong to another station. A NAK ends what the client's last ACK gave, unless another
 * station has it by now.
 *
 * When there are too many stations, those seen least recently are dropped.
 */
class Stations {
 public:
  explicit Stations(size_t max_count = 65536);

  /// @return the station of which the sighting shows something that its Fingerprint, host name or
  ///         vendor class holds, new or not; null if it shows nothing of these. Borrowed until the
  ///         next call.
  const Station* Take(const Sighting& sighting);

  size_t count() const { return stations_.size(); }

 private:
  const Station* TakeDhcp(const Sighting& sighting);
  const Station* TakeUserAgent(const Sighting& sighting);
  const Station* Bind(const IpAddress& address, const MacAddress& mac);
  void Unbind(const MacAddress& mac);
  Station& Known(const StationKey& key);

  RecentMap<StationKey, Station> stations_;
  RecentMap<IpAddress, MacAddress> holders_;  // of the addresses that DHCP assigned
  RecentMap<MacAddress, IpAddress> leases_;   // what the last ACK assigned to each client
  RecentMap<MacAddress, bool> forwarders_;    // senders of frames of others
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_STATIONS_H
