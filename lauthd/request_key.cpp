#include "lauthd/request_key.h"

#include "data/byte_order.h"
#include "lauth_tlv.h"
#include "mac.h"

namespace byod::lauthd {
namespace {

/// @return whether there is an address of that type; out is unchanged if not
bool ReadAddress(uint32_t request, uint16_t type, uint8_t (&out)[BYOD_MAC_SIZE], bool& bad) {
  const uintptr_t element = TLV_GetIteratorByType(request, type);
  if (element == 0) return false;
  bad = bad || TLV_GetLenByIterator(request, element) != sizeof out ||
        TLV_GetValueByIterator(request, element, sizeof out, out) != 0;
  return true;
}

/// Masks with holes have no order in which a rule could be found again.
bool IsPrefix(const uint8_t (&mask)[BYOD_MAC_SIZE]) {
  const uint64_t ones = 0xFFFFFFFFFFFF;
  const uint64_t free_bits = ~LoadMac(mask) & ones;
  return (free_bits & (free_bits + 1)) == 0;
}

Result Bad(const char* what) {
  return Refused(BYOD_REFUSAL_MALFORMED, what);
}

}  // namespace

Result ReadKey(uint32_t request, KeyUse use, ByodMacRule& key, bool* covered) {
  key = {};
  bool bad = false;
  const bool has_mac = ReadAddress(request, BYOD_TLV_MAC, key.mac, bad);
  const bool has_mask = ReadAddress(request, BYOD_TLV_MACMASK, key.mask, bad);
  if (bad) return Bad("an address has 6 bytes");
  if (covered != nullptr) *covered = has_mac && !has_mask;
  if (!has_mask && LoadMac(key.mac) != 0) MAC_BroadcastAddr(key.mask);
  if (!IsPrefix(key.mask)) return Bad("the mask has holes");
  if (use == KeyUse::kQuery) return {};
  if (!has_mac) return Bad("the MAC address is missing");
  if (!has_mask) MAC_BroadcastAddr(key.mask);
  if (LoadMac(key.mask) == 0) return Bad("the mask keeps nothing");
  return {};
}

Result ReadKey(uint32_t request, KeyUse use, uint16_t element, TextKey& key) {
  key = {};
  if (TLV_GetIteratorByType(request, element) != 0 &&
      BYOD_tlv_GetStrValueByType(request, element, sizeof key.text, key.text) != 0) {
    return Bad("the rule's text has 1 to 255 characters");
  }
  if (use == KeyUse::kChange && key.text[0] == '\0') return Bad("the rule's text is missing");
  return {};
}

Result ReadName(uint32_t request, char (&name)[BYOD_DEVNAME_SIZE]) {
  name[0] = '\0';
  if (TLV_GetIteratorByType(request, BYOD_TLV_DEVNAME) == 0) return {};
  if (BYOD_tlv_GetStrValueByType(request, BYOD_TLV_DEVNAME, sizeof name, name) != 0) {
    return Bad("a device name has at most 127 characters");
  }
  return {};
}

}  // namespace byod::lauthd
