// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/stored_name.h"

#include <algorithm>
#include <optional>

namespace byod::lauthd {

Result ChooseName(const IdleRules& idle, ByodMacRule& key, ByodMacRule* rule) {
  if (rule != nullptr && IsConfigured(rule->origin, rule->modified)) return {};
  ByodMacRule name = MacKind::KeyOf(rule != nullptr ? *rule : key);
  const auto other = [&]() -> std::optional<ByodMacRule> {
    if (const auto* const same = MacKind::Rules().Named(name.mac)) return MacKind::KeyOf(*same);
    const auto* const waiting = idle.InTheWayOf<MacKind>(name);
    return waiting != nullptr ? std::optional(waiting->first) : std::nullopt;
  };
  const auto first = other();
  if (!first) return {};
  if (const auto block = BlockOf(name)) {
    for (uint64_t address = block->Last(); address > block->address; --address) {
      std::ranges::copy(net::MakePrefix(address, 48).Mac(), name.mac);
      if (other()) continue;
      MacKind::TakeName(rule != nullptr ? *rule : key, name);
      return {};
    }
  }
  return Refused(BYOD_REFUSAL_CONFLICT,
                 "the rule " + MacKind::Describe(*first) + " is stored under this address");
}

}  // namespace byod::lauthd
