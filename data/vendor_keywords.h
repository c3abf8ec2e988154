// SPDX-License-Identifier: Apache-2.0
// The vendor that a device name suggests. For the library, and for the programs that know the name.
#ifndef BYOD_DATA_VENDOR_KEYWORDS_H
#define BYOD_DATA_VENDOR_KEYWORDS_H

#include <cstring>

namespace byod::data {

struct VendorKeyword {
  const char* keyword;  // lower case, sought anywhere in the type
  const char* vendor;
};

// The first row decides, so their order counts: "lg" stands in many a type.
inline constexpr VendorKeyword kVendorKeywords[] = {
    {"samsung", "Samsung"},
    {"galaxy", "Samsung"},
    {"apple", "Apple"},
    {"mac os x", "Apple"},
    {"iphone", "Apple"},
    {"ipod", "Apple"},
    {"ipad", "Apple"},
    {"xbox", "Microsoft"},
    {"windows", "PC"},
    {"cisco", "Cisco"},
    {"blackberry", "BlackBerry"},
    {"nokia", "Nokia"},
    {"lumia", "Nokia"},
    {"meego", "Nokia"},
    {"sony", "Sony"},
    {"playstation", "Sony"},
    {"ps vita", "Sony"},
    {"nexus", "Google"},
    {"lg", "LG"},
    {"ally", "LG"},
    {"optimus big", "LG"},
    {"optimus chat", "LG"},
    {"d-link", "PC"},
    {"htc", "HTC"},
    {"desire hd", "HTC"},
    {"moto", "Moto"},
    {"atrix", "Moto"},
    {"xoom", "Moto"},
    {"droid razr hd", "Moto"},
    {"xiaomi", "Xiaomi"},
    {"lenovo", "Lenovo"},
    {"meizu", "Meizu"},
    {"oneplus", "OnePlus"},
    {"smartisan", "Smartisan"},
    {"letv", "Letv"},
    {"zte", "ZTE"},
    {"bbk", "BBK"},
    {"oppo", "OPPO"},
    {"vivo", "VIVO"},
    {"lemobile", "Letv"},
    {"atheros", "PC"},
    {"netgear", "PC"},
    {"asustek", "PC"},
    {"broadcom", "PC"},
    {"tp-link", "PC"},
    {"intel", "PC"},
};
static_assert(sizeof kVendorKeywords / sizeof *kVendorKeywords == 46, "the built-in table");

/// @param lowered  a device name in lower case
inline const char* VendorOfType(const char* lowered) {
  for (const VendorKeyword& row : kVendorKeywords) {
    if (std::strstr(lowered, row.keyword) != nullptr) return row.vendor;
  }
  return "unknown";
}

}  // namespace byod::data

#endif  // BYOD_DATA_VENDOR_KEYWORDS_H
