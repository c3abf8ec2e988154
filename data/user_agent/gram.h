// SPDX-License-Identifier: Apache-2.0
// Bytes of a text as numbers, for finding where a term may occur in it.
#ifndef BYOD_DATA_USER_AGENT_GRAM_H
#define BYOD_DATA_USER_AGENT_GRAM_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "data/containers/word_hash.h"

namespace byod::data {

inline constexpr bool kLittleEndian = std::endian::native == std::endian::little;

/// Up to four bytes of a text, filled up with NUL. No text contains a NUL, so grams of different
/// widths differ.
using Gram = uint32_t;

inline Gram LoadGram(const char* text, size_t width) {
  Gram gram = 0;
  std::memcpy(&gram, text, width);
  return gram;
}

/// Up to eight bytes of a text as the last bytes of a word, with NUL before them.
using Window = uint64_t;

inline Window LoadWindow(const char* text, size_t width) {
  Window window = 0;
  std::memcpy(reinterpret_cast<char*>(&window) + sizeof window - width, text, width);
  return window;
}

/// The window of the last bytes of a wider one. @param width  above 0
constexpr Window LastOf(Window window, size_t width) {
  const size_t shift = 8 * (sizeof window - width);
  return window & (kLittleEndian ? UINT64_MAX << shift : UINT64_MAX >> shift);
}

/// Any of the 32 bits may be used to name a place in a table.
inline uint32_t HashOfWindow(Window window) {
  // A product's bits depend on the lower bits of its factors alone: have them depend on all bytes.
  return static_cast<uint32_t>((window ^ window >> 32) * hash_key.window >> 32);
}

/// The gram of the first three bytes of one of four.
constexpr Gram FirstThree(Gram gram) {
  return gram & (kLittleEndian ? 0x00FFFFFF : 0xFFFFFF00);
}

/// The hash of the first three bytes of a gram, whatever its fourth byte is.
constexpr uint32_t HashOfThree(Gram gram) {
  const uint64_t three = kLittleEndian ? gram << 8 : gram & 0xFFFFFF00;
  return static_cast<uint32_t>(three * 0x9E3779B97F4A7C15 >> 32);
}

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_GRAM_H
