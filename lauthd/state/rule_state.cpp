// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/rule_state.h"

namespace byod::lauthd {

void DropConfigured() {
  ForEachKind([](auto kind) {
    using Kind = decltype(kind);
    for (auto* rule = Kind::First(); rule != nullptr;) {
      auto* const next = Kind::Next(rule);
      if (rule->origin == BYOD_RULE_CUSTOM) {
        EraseRule<Kind>(rule);
      } else if (rule->configured != nullptr) {
        ExchangeInfo<Kind>(*rule, nullptr);
      }
      rule = next;
    }
  });
}

}  // namespace byod::lauthd
