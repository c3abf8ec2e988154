// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Numbers of 64 bits in messages: 8 bytes, network order. For C++.
 */
#ifndef BYOD_PROTOCOL_COUNTER_H
#define BYOD_PROTOCOL_COUNTER_H

#include <cstdint>

#include "lauth_tlv.h"

namespace byod::protocol {

/// Bytes of a counter.
inline constexpr uint16_t kCounterSize = 8;

/// @param bytes  gets kCounterSize bytes
inline void StoreCounter(uint64_t value, uint8_t* bytes) {
  for (int i = kCounterSize - 1; i >= 0; --i, value >>= 8)
    bytes[i] = static_cast<uint8_t>(value);
}

/// Appends a counter. @return the container's result, 0 for success
inline uint32_t AppendCounter(uint32_t msg, uint16_t type, uint64_t value) {
  uint8_t bytes[kCounterSize];
  StoreCounter(value, bytes);
  return TLV_Append_Data(msg, type, kCounterSize, bytes);
}

/// Reads the first counter of a type. @return whether there is one; out is unchanged if not
inline bool GetCounter(uint32_t msg, uint16_t type, uint64_t& out) {
  uint8_t bytes[kCounterSize];
  const uintptr_t element = TLV_GetIteratorByType(msg, type);
  if (element == 0 || TLV_GetLenByIterator(msg, element) != kCounterSize) return false;
  if (TLV_GetValueByIterator(msg, element, kCounterSize, bytes) != 0) return false;
  out = 0;
  for (const uint8_t byte : bytes)
    out = out << 8 | byte;
  return true;
}

}  // namespace byod::protocol

#endif  // BYOD_PROTOCOL_COUNTER_H
