// SPDX-License-Identifier: Apache-2.0
// DHCP messages, read strictly: what breaks off or contradicts itself is not a message.
//
// libtins reads the fixed part. Its reader of options is too lenient for fingerprints: it accepts a
// list without an end, and reads options after the end.
#ifndef BYOD_CAPTURE_DHCP_MESSAGE_H
#define BYOD_CAPTURE_DHCP_MESSAGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "capture/frame.h"

namespace byod::capture {

inline constexpr uint16_t kDhcpServerPort = 67;
inline constexpr uint16_t kDhcpClientPort = 68;

struct DhcpMessage {
  enum Type : uint8_t {
    kDiscover = 1,
    kRequest = 3,
    kAck = 5,
    kNak = 6,
    kRelease = 7,
    kInform = 8,
    kLeaseQuery = 10,
    kLeaseActive = 13
  };

  bool is_request = false;  ///< from a client
  uint8_t type = 0;         ///< Type, or any other number
  MacAddress client = {};
  bool is_relayed = false;
  IpAddress client_address = kNoAddress;     ///< the current one of the client
  IpAddress offered_address = kNoAddress;    ///< assigned by the server
  IpAddress requested_address = kNoAddress;  ///< option 50
  std::vector<uint8_t> option55;             ///< up to 255; empty = not in the message
  uint32_t lease_seconds = 0;                ///< option 51; 0 = not in the message
  std::string vendor_class;                  ///< option 60, any bytes; empty = not in the message
  std::string host_name;                     ///< option 12, the same

  /// A DISCOVER, REQUEST or INFORM.
  bool IsOfClient() const {
    return is_request && (type == kDiscover || type == kRequest || type == kInform);
  }

  /// Whether something in it says what kind of terminal the client is.
  bool ShowsClient() const {
    return !option55.empty() || !host_name.empty() || !vendor_class.empty();
  }

  /// A lease query or its answer, which may be about an address instead of a client.
  bool IsAboutLeases() const { return type >= kLeaseQuery && type <= kLeaseActive; }
};

/// @param payload  of a UDP packet to one of the ports. Split options are joined, and the fields
/// for
///                 names are read as options if option 52 says so.
/// @return nothing for a malformed message
std::optional<DhcpMessage> ReadDhcpMessage(Bytes payload);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_DHCP_MESSAGE_H
