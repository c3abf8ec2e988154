// A vendor derived from a terminal's type string.
#include <cstring>

#include "byod_data.h"
#include "data/bounded_copy.h"
#include "lauth_text.h"

namespace {

struct Row {
  const char* keyword;  // lower case, sought anywhere in the type
  const char* vendor;
};

// The first row decides, so their order counts: "lg" stands in many a type.
constexpr Row kRows[] = {
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
static_assert(sizeof kRows / sizeof *kRows == 46, "the built-in table");

const char* VendorOfType(const char* lowered) {
  for (const Row& row : kRows) {
    if (std::strstr(lowered, row.keyword) != nullptr) return row.vendor;
  }
  return "unknown";
}

}  // namespace

uint32_t BYOD_data_GetDeviceVendorByFingerPrint(const ByodFingerPrint* fp, uint32_t size,
                                                char* out) {
  if (fp == nullptr || out == nullptr) return BYOD_ERR_FAILED;
  if (size > 0) out[0] = '\0';
  char type[BYOD_DEVNAME_SIZE];
  const uint32_t result = BYOD_data_GetDeviceTypeByFingerPrint(fp, sizeof type, type);
  if (result != 0) return result;
  byod::CopyText(out, size, VendorOfType(lowercase(type)));
  return 0;
}
