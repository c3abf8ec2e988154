// SPDX-License-Identifier: Apache-2.0
// Which element carries which attribute.
#ifndef BYOD_TLV_ATTRIBUTE_H
#define BYOD_TLV_ATTRIBUTE_H

#include "byod_tlv.h"

namespace byod::tlv {

struct Attribute {
  uint32_t kind;
  uint16_t type;
  char (ByodDeviceInfo::*field)[BYOD_ATTR_SIZE];
};

constexpr Attribute kAttributes[] = {
    {BYOD_ATTR_VENDOR, BYOD_TLV_VENDOR, &ByodDeviceInfo::vendor},
    {BYOD_ATTR_CATEGORY, BYOD_TLV_DEVTYPE, &ByodDeviceInfo::category},
    {BYOD_ATTR_OS, BYOD_TLV_OS, &ByodDeviceInfo::os},
};

/// @return the attribute of a kind, or null
constexpr const Attribute* AttributeOf(uint32_t kind) {
  for (const Attribute& attribute : kAttributes) {
    if (attribute.kind == kind) return &attribute;
  }
  return nullptr;
}

}  // namespace byod::tlv

#endif  // BYOD_TLV_ATTRIBUTE_H
