// Letters without regard to case, the same in every locale: bytes above 127 stay as they are.
#ifndef BYOD_DATA_FOLD_CASE_H
#define BYOD_DATA_FOLD_CASE_H

#include <cstdint>

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

}  // namespace byod

#endif  // BYOD_DATA_FOLD_CASE_H
