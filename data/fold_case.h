// SPDX-License-Identifier: Apache-2.0
// Letters without regard to case, the same in every locale: bytes above 127 stay as they are.
#ifndef BYOD_DATA_FOLD_CASE_H
#define BYOD_DATA_FOLD_CASE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace byod {

inline uint8_t FoldCase(char c) {
  const auto byte = static_cast<uint8_t>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<uint8_t>(byte + ('a' - 'A')) : byte;
}

inline bool EqualWithoutCase(const char* a, const char* b) {
  for (; FoldCase(*a) == FoldCase(*b); ++a, ++b) {
    if (*a == '\0') return true;
  }
  return false;
}

/// Folds eight bytes at once.
inline uint64_t FoldCase(uint64_t bytes) {
  constexpr uint64_t kEach = 0x0101010101010101;
  // The highest bit of each byte says: at or above 'A', above 'Z', above 127. No sum leaves its
  // byte.
  const uint64_t low = bytes & (0x7F * kEach);
  const uint64_t from_a = low + (0x80 - 'A') * kEach;
  const uint64_t above_z = low + (0x80 - 'Z' - 1) * kEach;
  const uint64_t upper = from_a & ~above_z & ~bytes & (0x80 * kEach);
  return bytes | upper >> 2;  // 0x20, from 'A' to 'a'
}

}  // namespace byod

#endif  // BYOD_DATA_FOLD_CASE_H
