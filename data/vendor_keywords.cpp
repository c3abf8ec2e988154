// SPDX-License-Identifier: Apache-2.0
// A vendor derived from a terminal's type string.
#include "data/vendor_keywords.h"

#include "byod_data.h"
#include "data/bounded_copy.h"
#include "lauth_text.h"

uint32_t BYOD_data_GetDeviceVendorByFingerPrint(const ByodFingerPrint* fp, uint32_t size,
                                                char* out) {
  if (fp == nullptr || out == nullptr) return BYOD_ERR_FAILED;
  if (size > 0) out[0] = '\0';
  char type[BYOD_DEVNAME_SIZE];
  const uint32_t result = BYOD_data_GetDeviceTypeByFingerPrint(fp, sizeof type, type);
  if (result != 0) return result;
  byod::CopyText(out, size, byod::data::VendorOfType(lowercase(type)));
  return 0;
}
