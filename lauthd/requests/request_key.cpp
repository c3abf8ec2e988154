// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/request_key.h"

#include "lauth_tlv.h"
#include "mac.h"
#include "net/mac_address.h"

namespace byod::lauthd {
namespace {

/// Whether every address has 6 bytes: the decoder would fill a shorter one with zeros.
bool AddressesAreWhole(uint32_t request) {
  for (uintptr_t element = TLV_GetFirst(request); element != 0;
       element = TLV_GetNext(request, element)) {
    const uint16_t type = TLV_GetTypeByIterator(request, element);
    const bool is_address = type == BYOD_TLV_MAC || type == BYOD_TLV_MACMASK;
    if (is_address && TLV_GetLenByIterator(request, element) != BYOD_MAC_SIZE) return false;
  }
  return true;
}

bool Has(uint32_t request, uint16_t type) {
  return TLV_GetIteratorByType(request, type) != 0;
}

/// The tree orders rules by prefix; a rule under a mask with holes could not be found again.
bool IsPrefix(const uint8_t (&mask)[BYOD_MAC_SIZE]) {
  const uint64_t ones = 0xFFFFFFFFFFFF;
  const uint64_t free_bits = ~net::LoadMac(mask) & ones;
  return (free_bits & (free_bits + 1)) == 0;
}

Result Bad(const char* what) {
  return Refused(BYOD_REFUSAL_MALFORMED, what);
}

}  // namespace

Result ReadKey(uint32_t request, KeyUse use, ByodMacRule& key, bool* covered) {
  key = {};
  if (!AddressesAreWhole(request) || BYOD_tlv_GetMacAddrAndMask(request, &key) != 0) {
    return Bad("an address has 6 bytes");
  }
  const bool has_mac = Has(request, BYOD_TLV_MAC);
  const bool has_mask = Has(request, BYOD_TLV_MACMASK);
  if (covered != nullptr) *covered = has_mac && !has_mask;
  if (!has_mask && net::LoadMac(key.mac) != 0) MAC_BroadcastAddr(key.mask);
  if (!IsPrefix(key.mask)) return Bad("the mask has holes");
  if (use == KeyUse::kQuery) return {};
  if (!has_mac) return Bad("the MAC address is missing");
  if (!has_mask) MAC_BroadcastAddr(key.mask);
  if (net::LoadMac(key.mask) == 0) return Bad("the mask keeps nothing");
  return {};
}

Result CheckText(KeyUse use, uint32_t status, const TextKey& key) {
  if (status != 0) return Bad("the rule's text has 1 to 255 characters");
  if (use == KeyUse::kChange && key.text[0] == '\0') return Bad("the rule's text is missing");
  return {};
}

Result CheckName(uint32_t status) {
  return status == 0 ? Result() : Bad("a device name has at most 127 characters");
}

}  // namespace byod::lauthd
