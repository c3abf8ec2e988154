// SPDX-License-Identifier: Apache-2.0
// MAC rules made ahead, so that they lie close together.
#ifndef BYOD_DATA_SPARE_MAC_RULES_H
#define BYOD_DATA_SPARE_MAC_RULES_H

#include <cstddef>

#include "byod_data.h"

namespace byod::data {

/**
 * A search in the tree reads rules and never their device info. Allocated alternately, a large
 * table's rules would be spread over so many pages that most steps of a search miss the processor's
 * address cache. So rules are allocated in rows; each is still a separate heap record, and released
 * as such. docs/performance.md, "MAC rules", has the figures.
 */
class SpareMacRules {
 public:
  static constexpr size_t kRow = 64;
  static constexpr size_t kFewRules = 1024;  // are in the caches wherever they lie

  /// @param rules  how many the table has
  /// @return a zero-filled rule, the caller's; null without memory
  ByodMacRule* Take(size_t rules);

  /// Releases those that have not been taken.
  void Clear();

 private:
  ByodMacRule* rules_[kRow] = {};
  size_t count_ = 0;
};

}  // namespace byod::data

#endif  // BYOD_DATA_SPARE_MAC_RULES_H
