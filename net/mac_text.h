// SPDX-License-Identifier: Apache-2.0
// MAC addresses in the spellings that people and programs use.
#ifndef BYOD_NET_MAC_TEXT_H
#define BYOD_NET_MAC_TEXT_H

#include <optional>
#include <string>
#include <string_view>

#include "net/mac_address.h"

namespace byod::net {

/**
 * The hexadecimal digits of an address or of the beginning of one: 00:11:22, 00-11-22, 0011-22,
 * 0011.22, 001122. Groups have two, four or six digits, the last may be shorter; between groups
 * stands one kind of separator, a colon, hyphen or dot.
 *
 * @return 1 to 12 digits, or nothing when the text is something else
 */
std::optional<std::string> MacDigits(std::string_view text);

/// A whole address, 00:11:22:33:44:55, 00-11-22-33-44-55, 0011-2233-4455, 001122334455 and the
/// like.
std::optional<MacAddress> ParseMac(std::string_view text);

/// "00:11:22:33:44:55"
std::string ToString(const MacAddress& mac);

/// Whether the address was made up on the spot, as terminals do to stay anonymous: its prefix is
/// not registered.
inline bool IsLocallyAdministered(const MacAddress& mac) {
  return (mac[0] & 0x02) != 0;
}

}  // namespace byod::net

#endif  // BYOD_NET_MAC_TEXT_H
