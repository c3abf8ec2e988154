// SPDX-License-Identifier: Apache-2.0
// A second, plain reading of messages to compare the library's decoders with. It knows the memory
// form and the tables of decoders.h and shares no code with the library or the container.
#ifndef TESTS_SUPPORT_PLAIN_DECODER_H
#define TESTS_SUPPORT_PLAIN_DECODER_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/decoders.h"

namespace support {

struct PlainElement {
  uint16_t type;
  std::string bytes;
};

/// The memory form of a message with these bytes behind its header.
inline std::string WithHeader(const std::string& elements) {
  std::string bytes = "\xF9LM\x01";
  const auto length = static_cast<uint32_t>(elements.size() + 8);
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(length >> shift)));
  }
  return bytes + elements;
}

/// Takes a memory form apart. False when it is none; bytes behind it do not count.
inline bool PlainParse(const std::string& bytes, std::vector<PlainElement>& elements) {
  const auto number = [&bytes](size_t at, size_t size) {
    size_t value = 0;
    for (size_t i = 0; i < size; ++i)
      value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
  };
  if (bytes.size() < 8 || bytes.compare(0, 4, "\xF9LM\x01") != 0) return false;
  const size_t end = number(4, 4);
  if (end < 8 || end > bytes.size()) return false;
  for (size_t at = 8; at < end;) {
    if (end - at < 4) return false;
    const size_t length = number(at + 2, 2);
    if (end - at - 4 < length) return false;
    elements.push_back({static_cast<uint16_t>(number(at, 2)), bytes.substr(at + 4, length)});
    at += 4 + length;
  }
  return true;
}

/// Only 4 bytes are a number; any other length reads as 0.
inline uint32_t PlainNumber(const std::string& bytes) {
  if (bytes.size() != 4) return 0;
  uint32_t value = 0;
  for (const char c : bytes)
    value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

/// What a decoder makes of these elements.
inline uint32_t PlainDecode(const Decoder& decoder, const std::vector<PlainElement>& elements,
                            Records& out) {
  constexpr uint32_t kFailed = 0x40010001u;
  for (const auto& [offset, size] : decoder.clears)
    std::memset(out.at(offset), 0, size);
  for (const PlainElement& element : elements) {
    for (const Destination& to : decoder.takes) {
      if (to.type != element.type) continue;
      const size_t length = element.bytes.size();
      char* const field = out.at(to.offset);
      switch (to.kind) {
        case Kind::kText:
          if (length == 0 || length > to.size) return kFailed;
          std::memcpy(field, element.bytes.data(), length);
          field[length - 1] = '\0';
          break;
        case Kind::kAddress:
          if (length > 6) return kFailed;
          std::memcpy(field, element.bytes.data(), length);
          break;
        case Kind::kNumber: {
          const uint32_t value = PlainNumber(element.bytes);
          std::memcpy(field, &value, 4);
          break;
        }
        case Kind::kWord: {
          const auto value = static_cast<uint16_t>(PlainNumber(element.bytes));
          std::memcpy(field, &value, 2);
          break;
        }
        case Kind::kOption55: {
          const uint32_t valid = length < 256 ? static_cast<uint32_t>(length) : 0;
          if (valid == length) std::memcpy(field + 4, element.bytes.data(), length);
          std::memcpy(field, &valid, 4);
          break;
        }
      }
      if (decoder.first_only) return 0;
    }
  }
  return 0;
}

}  // namespace support

#endif  // TESTS_SUPPORT_PLAIN_DECODER_H
