// DHCP messages, read strictly: a message that breaks off, or contradicts itself, is none.
//
// libtins reads the fixed part. Its reading of the options is too forgiving for a fingerprint: it
// takes a list that never ends, and reads on behind the end.
#ifndef BYOD_CAPTURE_DHCP_MESSAGE_H
#define BYOD_CAPTURE_DHCP_MESSAGE_H

#include <cstdint>
#include <optional>
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
    kInform = 8,
    kLeaseQuery = 10,
    kLeaseActive = 13
  };

  bool is_request = false;  ///< from a client
  uint8_t type = 0;         ///< Type, or another one
  MacAddress client = {};
  bool is_relayed = false;
  IpAddress client_address = kNoAddress;     ///< that the client has already
  IpAddress offered_address = kNoAddress;    ///< that the server gives
  IpAddress requested_address = kNoAddress;  ///< option 50
  std::vector<uint8_t> option55;             ///< up to 255; empty when there is none

  /// A question about leases or its answer, which may be about an address instead of a client.
  bool IsAboutLeases() const { return type >= kLeaseQuery && type <= kLeaseActive; }
};

/// @param payload  of a UDP packet to one of the ports. Options that are split are put together,
/// and
///                 those in the fields for names are read when option 52 says so.
/// @return nothing for a malformed message
std::optional<DhcpMessage> ReadDhcpMessage(Bytes payload);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_DHCP_MESSAGE_H
