// SPDX-License-Identifier: Apache-2.0
// What a program has seen of a terminal, and the datagram that says it to the daemon: one JSON
// object.
//
// The only part that every feed has, so it allocates nothing, throws nothing, and needs no library:
// it is linked into a DHCP server too.
#ifndef BYOD_FEEDS_SIGHTING_H
#define BYOD_FEEDS_SIGHTING_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace byod::feeds {

inline constexpr size_t kMaxDatagram = 4096;
inline constexpr size_t kMaxText = 255;  ///< of a User-Agent, a vendor class or a host name
inline constexpr size_t kMaxPlace = 64;  ///< of an access device, a port or a session
inline constexpr size_t kMaxOptions = 255;

/// What is empty or 0 was not seen. Everything is borrowed. Texts may hold any bytes.
struct Sighting {
  std::string_view feed;  ///< a-z 0-9 -; up to 32
  std::string_view mac;   ///< "00:16:aa:00:00:01"; without one there is an ip
  std::string_view ip;
  std::string_view event;            ///< "lease", "lease-end", "start", "interim", "stop"
  int64_t lease_end = 0;             ///< seconds since 1970
  uint64_t time_us = 0;              ///< microseconds since 1970; 0 = now
  std::span<const uint8_t> options;  ///< DHCP option 55
  std::string_view user_agent;
  std::string_view vendor_class;  ///< DHCP option 60
  std::string_view host_name;     ///< DHCP option 12
  std::string_view access_device;
  std::string_view port;
  std::string_view session;
};

/**
 * A sighting as a datagram.
 *
 * Texts longer than their limit are cut there, and a place is left out. Bytes that are not UTF-8
 * become the character of the same number. In the rare case that all together is longer than a
 * datagram, a field that does not fit is left out, those at the end of Sighting first.
 */
class Datagram {
 public:
  /// @param dropped  sightings of this feed that were lost since the last one that was sent
  explicit Datagram(const Sighting& sighting, uint64_t dropped = 0);

  std::string_view text() const { return {bytes_.data(), size_}; }

 private:
  std::array<char, kMaxDatagram> bytes_;
  size_t size_;
};

}  // namespace byod::feeds

#endif  // BYOD_FEEDS_SIGHTING_H
