// What a query or listing asks for.
#ifndef LAUTHD_REQUESTS_SELECTORS_H
#define LAUTHD_REQUESTS_SELECTORS_H

#include "byod_tlv.h"
#include "lauthd/state/result.h"

namespace byod::lauthd {

/// The first selector.
enum class Which : uint32_t { kThis = 0, kNext = 1, kNextConfigured = 2 };

struct Selectors {
  Which which = Which::kThis;
  uint32_t mode = 2;  // the second selector: 2 all, merged; 1 configured; 0 the key alone
  bool valid = true;
};

inline Selectors ReadSelectors(uint32_t request) {
  uint32_t which = 0;
  Selectors selectors;
  BYOD_tlv_GetUINTValueByType(request, BYOD_TLV_QUERYARG, &which);
  BYOD_tlv_GetUINTValueByType(request, BYOD_TLV_QUERYARG2, &selectors.mode);
  selectors.which = static_cast<Which>(which);
  selectors.valid = which <= 2 && selectors.mode <= 2;
  return selectors;
}

inline Result BadSelectors() {
  return Refused(BYOD_REFUSAL_MALFORMED, "a selector is out of range");
}

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_SELECTORS_H
