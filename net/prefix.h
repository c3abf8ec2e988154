// SPDX-License-Identifier: Apache-2.0
// Blocks of MAC addresses that share their leading bits.
#ifndef BYOD_NET_PREFIX_H
#define BYOD_NET_PREFIX_H

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "net/mac_text.h"

namespace byod::net {

/// The addresses whose first `bits` bits are those of `address`. Ordered by address, then the
/// larger block first, so that a block stands in front of those inside it.
struct Prefix {
  uint64_t address = 0;  ///< 48 bits; those behind the prefix are 0
  unsigned bits = 48;    ///< 1 to 48

  uint64_t Last() const;
  bool Contains(const Prefix& other) const;
  bool Overlaps(const Prefix& other) const { return Contains(other) || other.Contains(*this); }
  /// One of the two blocks of one more bit.
  Prefix Half(bool upper) const;

  MacAddress Mac() const;
  MacAddress Mask() const;

  friend auto operator<=>(const Prefix&, const Prefix&) = default;
};

/// Clears the bits behind the prefix.
Prefix MakePrefix(uint64_t address, unsigned bits);

/// As MakePrefix.
Prefix MakePrefix(const MacAddress& mac, unsigned bits);

/// From the digits of an address's beginning, four bits each.
Prefix PrefixFromDigits(const std::string& digits);

/// "00:11:22:00:00:00/24"; a whole address without a length, "00:11:22:33:44:55".
std::string ToString(const Prefix& prefix);

/// A block as a rule table keeps it, an address and a mask of kMacSize bytes each, spelt as
/// above. A mask that is not a prefix, which only a table holds, is written as an address.
std::string BlockText(const uint8_t* mac, const uint8_t* mask);

}  // namespace byod::net

#endif  // BYOD_NET_PREFIX_H
