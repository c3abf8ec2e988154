// SPDX-License-Identifier: Apache-2.0
// What a query or listing asks for.
#ifndef LAUTHD_REQUESTS_SELECTORS_H
#define LAUTHD_REQUESTS_SELECTORS_H

#include "byod_tlv.h"
#include "lauthd/state/result.h"
#include "protocol/selectors.h"

namespace byod::lauthd {

using protocol::Which;

struct Selectors {
  Which which = Which::kThis;
  uint32_t mode = static_cast<uint32_t>(protocol::Detail::kAll);  // a Detail
  bool valid = true;
};

inline Selectors ReadSelectors(uint32_t request) {
  uint32_t which = 0;
  Selectors selectors;
  BYOD_tlv_GetUINTValueByType(request, BYOD_TLV_QUERYARG, &which);
  BYOD_tlv_GetUINTValueByType(request, BYOD_TLV_QUERYARG2, &selectors.mode);
  selectors.which = static_cast<Which>(which);
  selectors.valid = which <= static_cast<uint32_t>(Which::kNextConfigured) &&
                    selectors.mode <= static_cast<uint32_t>(protocol::Detail::kAll);
  return selectors;
}

inline Result BadSelectors() {
  return Refused(BYOD_REFUSAL_MALFORMED, "a selector is out of range");
}

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_SELECTORS_H
