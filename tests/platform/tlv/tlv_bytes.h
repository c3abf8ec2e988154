// SPDX-License-Identifier: Apache-2.0
/// Messages to and from byte vectors, for tests.
#ifndef BYOD_TESTS_PLATFORM_TLV_TLV_BYTES_H
#define BYOD_TESTS_PLATFORM_TLV_TLV_BYTES_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "lauth_tlv.h"

namespace tlv_bytes {

using Bytes = std::vector<uint8_t>;
using Elements = std::vector<std::pair<uint16_t, std::string>>;  // type, value

inline uintptr_t Address(const void* at) {
  return reinterpret_cast<uintptr_t>(at);
}

/// The written form of a message; empty when it cannot be written.
inline Bytes Written(uint32_t msg) {
  Bytes bytes(TLV_GetMsgLen(msg, TLV_MODE_MEMORY));
  const auto size = static_cast<uint32_t>(bytes.size());
  if (TLV_Flush(msg, TLV_MODE_MEMORY, size, Address(bytes.data())) != size) bytes.clear();
  return bytes;
}

/// The message in some bytes, which are moved to the end of a separate block so that a sanitizer
/// sees a read beyond them.
inline uint32_t ReadFrom(const uint8_t* bytes, size_t size) {
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[size]);
  if (size != 0) std::memcpy(exact.get(), bytes, size);
  return TLV_CreateReceiveMsg(TLV_MODE_MEMORY, Address(exact.get()), static_cast<uint32_t>(size));
}

inline uint32_t ReadFrom(const Bytes& bytes) {
  return ReadFrom(bytes.data(), bytes.size());
}

/// What a message holds.
inline Elements Contents(uint32_t msg) {
  Elements elements;
  for (uintptr_t at = TLV_GetFirst(msg); at != 0; at = TLV_GetNext(msg, at)) {
    std::string value(TLV_GetLenByIterator(msg, at), '\0');
    if (TLV_GetValueByIterator(msg, at, static_cast<uint16_t>(value.size()), value.data()) != 0) {
      value = "(unreadable)";
    }
    elements.emplace_back(TLV_GetTypeByIterator(msg, at), value);
  }
  return elements;
}

inline uint32_t Append(uint32_t msg, uint16_t type, const std::string& value) {
  return TLV_Append_Data(msg, type, static_cast<uint16_t>(value.size()), value.data());
}

/// A message with these elements.
inline uint32_t Make(const Elements& elements) {
  const uint32_t msg = TLV_Create();
  uint32_t status = 0;
  for (const auto& [type, value] : elements)
    status |= Append(msg, type, value);
  if (status == 0) return msg;
  TLV_Destroy(msg);
  return 0;
}

}  // namespace tlv_bytes

#endif
