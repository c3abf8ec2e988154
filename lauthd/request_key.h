// The rule that a request means.
#ifndef LAUTHD_REQUEST_KEY_H
#define LAUTHD_REQUEST_KEY_H

#include "lauthd/result.h"
#include "lauthd/rule_kind.h"

namespace byod::lauthd {

/// How much of a key a request must hold.
enum class KeyUse {
  kChange,  // a whole key
  kQuery    // none asks for the first rule
};

/**
 * Reads the key of a request, within the limits of the records that it goes into.
 *
 * @param key      filled in; all zero when there is none
 * @param covered  gets whether it was a MAC address without a mask; may be null
 */
Result ReadKey(uint32_t request, KeyUse use, ByodMacRule& key, bool* covered = nullptr);
Result ReadKey(uint32_t request, KeyUse use, uint16_t element, TextKey& key);

template <typename Kind>
Result ReadKeyOf(uint32_t request, KeyUse use, typename Kind::Key& key) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    return ReadKey(request, use, key);
  } else {
    return ReadKey(request, use, Kind::kKeyElement, key);
  }
}

/// Reads the device name of a request: empty when it has none.
Result ReadName(uint32_t request, char (&name)[BYOD_DEVNAME_SIZE]);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUEST_KEY_H
