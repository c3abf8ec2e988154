// Joins what packets say to the stations that it is about.
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

/// What a station is known by: its MAC address, or else the IP address that it sends from.
struct StationKey {
  std::optional<MacAddress> mac;
  IpAddress address = kNoAddress;  ///< none when there is a mac

  friend auto operator<=>(const StationKey&, const StationKey&) = default;
};

/// What is known of a station. Of lists and User-Agents the last one counts.
struct Station {
  StationKey key;
  IpAddress address = kNoAddress;  ///< the last one that it was seen with
  std::vector<uint8_t> options;    ///< of DHCP option 55; empty = not seen
  std::string user_agent;          ///< empty = not seen

  /// Only the first 255 options and bytes of the User-Agent count.
  ByodFingerPrint Fingerprint() const;
};

/**
 * The stations of a network, and the addresses that DHCP gives them.
 *
 * A DHCP request is of the client whose address stands in it, whoever sent the frame. A User-Agent
 * is of the sender of the frame; where the frame has none, or its sender is seen to hand on what
 * others send, since it relays or answers DHCP, it is of the station that DHCP gave the IP address
 * to, or else of a station that is known by its IP address alone.
 *
 * DHCP gives an address with an ACK, and with nothing else: what a client asks for, or says that it
 * has, may be another station's. A NAK ends what the client's last ACK gave, unless that is another
 * station's by now.
 *
 * Of the stations that were seen least lately those beyond a bound are forgotten.
 */
class Stations {
 public:
  explicit Stations(size_t most = 65536);

  /// @return the station whose options or User-Agent the sighting tells, also when it tells nothing
  ///         new; null if it tells none. Borrowed until the next call.
  const Station* Take(const Sighting& sighting);

  size_t count() const { return stations_.size(); }

 private:
  const Station* TakeDhcp(const Sighting& sighting);
  const Station* TakeUserAgent(const Sighting& sighting);
  void Bind(const IpAddress& address, const MacAddress& mac);
  void Unbind(const MacAddress& mac);
  Station& Known(const StationKey& key);

  RecentMap<StationKey, Station> stations_;
  RecentMap<IpAddress, MacAddress> holders_;  // of the addresses that DHCP gave
  RecentMap<MacAddress, IpAddress> leases_;   // what the last ACK gave each client
  RecentMap<MacAddress, bool> forwarders_;    // senders of what is not theirs
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_STATIONS_H
