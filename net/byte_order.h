// SPDX-License-Identifier: Apache-2.0
// Numbers from bytes and to bytes, at any alignment. Big-endian is the order of the network.
#ifndef BYOD_NET_BYTE_ORDER_H
#define BYOD_NET_BYTE_ORDER_H

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace byod::net {

template <std::unsigned_integral Number>
constexpr Number SwapBytes(Number number) {
  if constexpr (sizeof number == 8) return __builtin_bswap64(number);
  if constexpr (sizeof number == 4) return __builtin_bswap32(number);
  if constexpr (sizeof number == 2) return __builtin_bswap16(number);
  return number;
}

/// Between this machine's order and another: the same swap there and back.
template <std::unsigned_integral Number>
constexpr Number BigEndian(Number number) {
  return std::endian::native == std::endian::big ? number : SwapBytes(number);
}
template <std::unsigned_integral Number>
constexpr Number LittleEndian(Number number) {
  return std::endian::native == std::endian::little ? number : SwapBytes(number);
}

template <std::unsigned_integral Number>
Number LoadBig(const void* from) {
  Number number;
  std::memcpy(&number, from, sizeof number);
  return BigEndian(number);
}

template <std::unsigned_integral Number>
Number LoadLittle(const void* from) {
  Number number;
  std::memcpy(&number, from, sizeof number);
  return LittleEndian(number);
}

template <std::unsigned_integral Number>
void StoreBig(void* to, Number number) {
  number = BigEndian(number);
  std::memcpy(to, &number, sizeof number);
}

}  // namespace byod::net

#endif  // BYOD_NET_BYTE_ORDER_H
