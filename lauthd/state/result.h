// SPDX-License-Identifier: Apache-2.0
// How a request ended.
#ifndef LAUTHD_STATE_RESULT_H
#define LAUTHD_STATE_RESULT_H

#include <cstdint>
#include <string>
#include <utility>

#include "byod_data.h"
#include "protocol/extensions.h"

namespace byod::lauthd {

struct Result {
  uint32_t code = 0;     // 0 or BYOD_ERR_*
  uint32_t refusal = 0;  // BYOD_REFUSAL_*
  std::string reason;    // for people

  bool Ok() const { return code == 0; }
};

/// The code that goes with a refusal.
constexpr uint32_t CodeOf(uint32_t refusal) {
  switch (refusal) {
    case BYOD_REFUSAL_LIMIT:
      return BYOD_ERR_RULE_LIMIT;
    case BYOD_REFUSAL_NO_CHANGE:
      return BYOD_ERR_NOCHANGE;
    default:
      return BYOD_ERR_FAILED;
  }
}

inline Result Refused(uint32_t refusal, std::string reason) {
  return {CodeOf(refusal), refusal, std::move(reason)};
}

inline Result NoChange() {
  return Refused(BYOD_REFUSAL_NO_CHANGE, "unchanged");
}

inline Result NoMemory() {
  return Refused(BYOD_REFUSAL_MEMORY, "no memory");
}

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RESULT_H
