// SPDX-License-Identifier: Apache-2.0
#include "tlv/scan.h"

#include <algorithm>

#include "lauth_tlv.h"

namespace byod::tlv {
namespace {

uint32_t StoreText(uint32_t msg, uintptr_t element, const Field& field) {
  const uint16_t length = TLV_GetLenByIterator(msg, element);
  if (length == 0 || length > field.capacity) return BYOD_ERR_FAILED;
  char* const text = static_cast<char*>(field.destination);
  if (TLV_GetValueByIterator(msg, element, length, text) != 0) return BYOD_ERR_FAILED;
  text[length - 1] = '\0';
  return 0;
}

/// A shorter address fills only the first bytes. A failed copy returns the container's own code.
uint32_t StoreAddress(uint32_t msg, uintptr_t element, const Field& field) {
  const uint16_t length = TLV_GetLenByIterator(msg, element);
  if (length > field.capacity) return BYOD_ERR_FAILED;
  return TLV_GetValueByIterator(msg, element, length, field.destination);
}

/// Never a failure: a list that cannot be read counts as empty.
uint32_t StoreOptionList(uint32_t msg, uintptr_t element, const Field& field) {
  auto* const fp = static_cast<ByodFingerPrint*>(field.destination);
  const uint16_t length = TLV_GetLenByIterator(msg, element);
  const bool stored =
      length <= field.capacity && TLV_GetValueByIterator(msg, element, length, fp->options) == 0;
  fp->option_length = stored ? length : 0;
  return 0;
}

}  // namespace

uint32_t Store(uint32_t msg, uintptr_t element, const Field& field) {
  switch (field.shape) {
    case Field::Shape::kNumber:
      *static_cast<uint32_t*>(field.destination) = TLV_GetUINTByIterator(msg, element);
      return 0;
    case Field::Shape::kShortNumber:
      *static_cast<uint16_t*>(field.destination) =
          static_cast<uint16_t>(TLV_GetUINTByIterator(msg, element));
      return 0;
    case Field::Shape::kAddress:
      return StoreAddress(msg, element, field);
    case Field::Shape::kText:
      return StoreText(msg, element, field);
    case Field::Shape::kOptionList:
      break;
  }
  return StoreOptionList(msg, element, field);
}

uint32_t Scan(uint32_t msg, std::span<const Field> fields) {
  for (uintptr_t element = TLV_GetFirst(msg); element != 0; element = TLV_GetNext(msg, element)) {
    const uint16_t type = TLV_GetTypeByIterator(msg, element);
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [type](const Field& f) { return f.type == type; });
    if (field == fields.end()) continue;
    if (const uint32_t failure = Store(msg, element, *field)) return failure;
  }
  return 0;
}

}  // namespace byod::tlv
