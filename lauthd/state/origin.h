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

/// A custom rule that an open bulk deletes. It stays in its table until the bulk ends, as to put it
/// back would need memory. The library treats it as it treats a predefined rule: it is not counted
/// as custom, and does not meet the limit. Everything else passes it over.
inline constexpr uint32_t kWithdrawnOrigin = 3;

template <typename Rule>
bool IsWithdrawn(const Rule& rule) {
  return rule.origin == kWithdrawnOrigin;
}

/// How many rules of a table are withdrawn.
template <typename Rule>
inline uint32_t withdrawn_rules = 0;

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_ORIGIN_H
