// SPDX-License-Identifier: Apache-2.0
// Reads the key of the rule that a request is about.
#ifndef LAUTHD_REQUESTS_REQUEST_KEY_H
#define LAUTHD_REQUESTS_REQUEST_KEY_H

#include "lauthd/state/result.h"
#include "lauthd/state/rule_kind.h"

namespace byod::lauthd {

/// Whether a request must hold a complete key.
enum class KeyUse {
  kChange,  // it must
  kQuery    // without a key it asks for the first rule
};

/**
 * Reads the key of a request, within the limits of the records that it goes into. As everywhere,
 * the last one counts when an element is repeated.
 *
 * @param key      filled in; all zero when there is none
 * @param covered  gets whether it was a MAC address without a mask; may be null
 */
Result ReadKey(uint32_t request, KeyUse use, ByodMacRule& key, bool* covered = nullptr);

/// Turns a decoder's status into a refusal of the key, or the name, of a request.
Result CheckText(KeyUse use, uint32_t status, const TextKey& key);
Result CheckName(uint32_t status);

template <typename Kind>
Result ReadKeyOf(uint32_t request, KeyUse use, typename Kind::Key& key) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    return ReadKey(request, use, key);
  } else {
    key = {};
    uint32_t attribute = 0;
    return CheckText(use, Kind::DecodeKey(request, key, attribute), key);
  }
}

/// Reads the device name of a request whose key has been read: empty when it has none.
template <typename Kind>
Result ReadNameOf(uint32_t request, char (&name)[BYOD_DEVNAME_SIZE]) {
  return CheckName(Kind::DecodeName(request, name));
}

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_REQUEST_KEY_H
