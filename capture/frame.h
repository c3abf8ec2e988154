// SPDX-License-Identifier: Apache-2.0
// Captured packets, and the addresses in them.
#ifndef BYOD_CAPTURE_FRAME_H
#define BYOD_CAPTURE_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "net/mac_text.h"

namespace byod::capture {

using Bytes = std::span<const uint8_t>;
using net::MacAddress;

/// An IPv6 address, or an IPv4 address in the last four bytes after ten zeros and ff:ff. All zero
/// = none.
using IpAddress = std::array<uint8_t, 16>;

inline constexpr IpAddress kNoAddress = {};

/// @param bytes  4 or 16 of them
IpAddress MakeIpAddress(Bytes bytes);

/// "192.0.2.1", "2001:db8::1"; empty for none
std::string ToString(const IpAddress& address);

struct Frame {
  int link_type = 0;     ///< DLT_* of libpcap
  uint64_t time_us = 0;  ///< microseconds since 1970
  Bytes bytes;           ///< as much as was captured; borrowed
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_FRAME_H
