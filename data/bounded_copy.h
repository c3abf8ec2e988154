// SPDX-License-Identifier: Apache-2.0
// Copies of text that never leave their destination.
#ifndef BYOD_DATA_BOUNDED_COPY_H
#define BYOD_DATA_BOUNDED_COPY_H

#include <cstddef>
#include <cstring>

namespace byod {

/// Copies as much of text as size has room for, and a NUL. Writes nothing into no room.
inline void CopyText(char* destination, size_t size, const char* text) {
  if (size == 0) return;
  const size_t length = strnlen(text, size - 1);
  std::memcpy(destination, text, length);
  destination[length] = '\0';
}

template <size_t Size>
void CopyText(char (&destination)[Size], const char* text) {
  CopyText(destination, Size, text);
}

/// The same, but an absent (empty) text leaves the destination as it is.
template <size_t Size>
void CopyPresentText(char (&destination)[Size], const char* text) {
  if (text[0] != '\0') CopyText(destination, Size, text);
}

}  // namespace byod

#endif  // BYOD_DATA_BOUNDED_COPY_H
