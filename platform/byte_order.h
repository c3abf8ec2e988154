/** Numbers in network byte order, at any alignment. */
#ifndef LAUTH_BYTE_ORDER_H
#define LAUTH_BYTE_ORDER_H

#include <cstdint>

namespace lauth {

inline uint16_t LoadU16(const uint8_t* from) {
  return static_cast<uint16_t>(from[0] << 8 | from[1]);
}

inline uint32_t LoadU32(const uint8_t* from) {
  return uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8 | from[3];
}

inline void StoreU16(uint8_t* to, uint16_t value) {
  to[0] = static_cast<uint8_t>(value >> 8);
  to[1] = static_cast<uint8_t>(value);
}

inline void StoreU32(uint8_t* to, uint32_t value) {
  StoreU16(to, static_cast<uint16_t>(value >> 16));
  StoreU16(to + 2, static_cast<uint16_t>(value));
}

}  // namespace lauth

#endif
