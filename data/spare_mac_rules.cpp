// SPDX-License-Identifier: Apache-2.0
#include "data/spare_mac_rules.h"

#include <cstdlib>

namespace byod::data {

ByodMacRule* SpareMacRules::Take(size_t rules) {
  if (count_ == 0) {
    const size_t wanted = rules < kFewRules ? 1 : kRow;
    while (count_ < wanted) {
      ByodMacRule* const made = BYOD_data_AllocMacRule();
      if (made == nullptr) break;  // a shorter row
      rules_[count_++] = made;
    }
    if (count_ == 0) return nullptr;
  }
  return rules_[--count_];
}

void SpareMacRules::Clear() {
  while (count_ > 0)
    BYOD_data_FreeMacRule(rules_[--count_]);
}

}  // namespace byod::data
