// SPDX-License-Identifier: Apache-2.0
// Where a rule comes from.
#ifndef LAUTHD_STATE_ORIGIN_H
#define LAUTHD_STATE_ORIGIN_H

#include <cstdint>

#include "byod_data.h"

namespace byod::lauthd {

/// Whether an administrator made or modified a rule.
inline bool IsConfigured(uint32_t origin, uint32_t modified) {
  return origin == BYOD_RULE_CUSTOM || modified == 1;
}

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_ORIGIN_H
