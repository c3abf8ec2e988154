// Numbers from bytes in network order.
#ifndef BYOD_DATA_BYTE_ORDER_H
#define BYOD_DATA_BYTE_ORDER_H

#include <bit>
#include <cstdint>
#include <cstring>

namespace byod {

/// The six bytes of a MAC address as a number, the first byte the most significant.
inline uint64_t LoadMac(const uint8_t* bytes) {
  uint32_t high;
  uint16_t low;
  std::memcpy(&high, bytes, sizeof high);
  std::memcpy(&low, bytes + sizeof high, sizeof low);
  if constexpr (std::endian::native == std::endian::little) {
    high = __builtin_bswap32(high);
    low = __builtin_bswap16(low);
  }
  return uint64_t{high} << 16 | low;
}

/// Eight bytes as a number, the first one the most significant.
inline uint64_t LoadEight(const char* bytes) {
  uint64_t number;
  std::memcpy(&number, bytes, sizeof number);
  if constexpr (std::endian::native == std::endian::little) number = __builtin_bswap64(number);
  return number;
}

}  // namespace byod

#endif  // BYOD_DATA_BYTE_ORDER_H
