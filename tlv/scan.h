// SPDX-License-Identifier: Apache-2.0
// Decoding by table: a row says where the elements of one type go, and Scan holds the rules.
#ifndef BYOD_TLV_SCAN_H
#define BYOD_TLV_SCAN_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "byod_data.h"

namespace byod::tlv {

/// Where the elements of one type go. Made by the functions below.
struct Field {
  enum class Shape { kNumber, kShortNumber, kAddress, kText, kOptionList };

  uint16_t type;
  Shape shape;
  void* destination;
  uint32_t capacity;
};

inline Field Number(uint16_t type, uint32_t* out) {
  return {type, Field::Shape::kNumber, out, sizeof *out};
}

/// A number of which 16 bits are kept.
inline Field ShortNumber(uint16_t type, uint16_t* out) {
  return {type, Field::Shape::kShortNumber, out, sizeof *out};
}

inline Field Address(uint16_t type, uint8_t (&out)[BYOD_MAC_SIZE]) {
  return {type, Field::Shape::kAddress, out, BYOD_MAC_SIZE};
}

inline Field Text(uint16_t type, char* out, uint32_t capacity) {
  return {type, Field::Shape::kText, out, capacity};
}

template <size_t Size>
Field Text(uint16_t type, char (&out)[Size]) {
  return Text(type, out, Size);
}

/// The option list of a fingerprint, and its length.
inline Field OptionList(uint16_t type, ByodFingerPrint* out) {
  return {type, Field::Shape::kOptionList, out, BYOD_OPTION55_MAX};
}

/// Puts every element of a message where its field says. @return 0, or the first failure
uint32_t Scan(uint32_t msg, std::span<const Field> fields);

/// Puts one element where a field says.
uint32_t Store(uint32_t msg, uintptr_t element, const Field& field);

}  // namespace byod::tlv

#endif  // BYOD_TLV_SCAN_H
