// SPDX-License-Identifier: Apache-2.0
// The six bytes of a MAC address, as a number and as text.
#ifndef BYOD_NET_MAC_ADDRESS_H
#define BYOD_NET_MAC_ADDRESS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "net/byte_order.h"

namespace byod::net {

inline constexpr size_t kMacSize = 6;

using MacAddress = std::array<uint8_t, kMacSize>;

/// The address as a number, the first byte the most significant.
inline uint64_t LoadMac(const uint8_t* bytes) {
  return uint64_t{LoadBig<uint32_t>(bytes)} << 16 | LoadBig<uint16_t>(bytes + sizeof(uint32_t));
}

/// @param address  48 bits
inline MacAddress MacOf(uint64_t address) {
  MacAddress mac;
  StoreBig(mac.data(), static_cast<uint32_t>(address >> 16));
  StoreBig(mac.data() + sizeof(uint32_t), static_cast<uint16_t>(address));
  return mac;
}

/// How an address is spelt: lower-case digits, a separator after each group of bytes but the last.
struct MacSpelling {
  size_t group;
  char separator;

  /// The text's length without its NUL.
  constexpr size_t Length() const { return 2 * kMacSize + (kMacSize - 1) / group; }
};

inline constexpr MacSpelling kColons = {1, ':'};          // 00:11:22:33:44:55
inline constexpr MacSpelling kStored = {2, '-'};          // 0011-2233-4455
inline constexpr MacSpelling kDigits = {kMacSize, '\0'};  // 001122334455

/// Writes an address and a NUL. @param out  has room for both
inline void WriteMac(char* out, const uint8_t* mac, MacSpelling spelling) {
  constexpr char kHexadecimal[] = "0123456789abcdef";
  for (size_t i = 0; i < kMacSize; ++i) {
    if (i != 0 && i % spelling.group == 0) *out++ = spelling.separator;
    *out++ = kHexadecimal[mac[i] >> 4];
    *out++ = kHexadecimal[mac[i] & 0x0F];
  }
  *out = '\0';
}

/// The same into an array, whose size is checked.
template <MacSpelling kSpelling, size_t Size>
void WriteMac(char (&out)[Size], const uint8_t* mac) {
  static_assert(Size > kSpelling.Length());
  WriteMac(out, mac, kSpelling);
}

}  // namespace byod::net

#endif  // BYOD_NET_MAC_ADDRESS_H
