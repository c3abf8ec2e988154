// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/bulk.h"

#include "byod_db.h"

namespace byod::lauthd {
namespace {

/// @return the rule of exactly this key, if something of it has to be stored; else null
template <typename Kind>
const typename Kind::Rule* ToBeStored(const typename Kind::Key& key) {
  const auto* const rule = Kind::Find(key);
  if (rule == nullptr || !IsConfigured(rule->origin, rule->modified)) return nullptr;
  // The table also finds other spellings of the key, or another mask: these are other rules.
  return Kind::SameKey(Kind::KeyOf(*rule), key) ? rule : nullptr;
}

template <typename Kind, typename Rules>
uint32_t SaveRules(const IdleRules& idle, const Rules& rules) {
  const auto& idle_rules = idle.Of<Kind>();
  // Delete first: a new rule may be stored under the same key as a deleted one.
  for (const auto& [key, former] : rules) {
    if (!former.was_stored || ToBeStored<Kind>(key) != nullptr || idle_rules.contains(key))
      continue;
    if (const uint32_t failed = Kind::Unsave(key); failed != 0) return failed;
  }
  for (const auto& [key, former] : rules) {
    const auto* const rule = ToBeStored<Kind>(key);
    const auto idle_rule = idle_rules.find(key);
    uint32_t failed = 0;
    if (rule != nullptr) {
      failed = Kind::Save(rule);
    } else if (idle_rule != idle_rules.end()) {
      failed = SaveIdle<Kind>(key, idle_rule->second);
    }
    if (failed != 0) return failed;
  }
  return 0;
}

template <typename Kind, typename Rules>
void RollBackRules(Rules& rules) {
  // Restore first: what bears another key's name then has its own again.
  for (auto& [key, former] : rules) {
    if (former.existed) former.Restore(key);
  }
  for (const auto& [key, former] : rules) {
    if (former.existed) continue;
    auto* const rule = Kind::Find(key);
    if (rule != nullptr && Kind::SameKey(Kind::KeyOf(*rule), key)) EraseRule<Kind>(rule);
  }
}

template <typename Kind, typename Rules>
void EraseWithdrawn(const Rules& rules) {
  for (auto former = rules.begin();
       former != rules.end() && withdrawn_rules<typename Kind::Rule> > 0; ++former) {
    if (auto* const rule = Kind::FindWithdrawn(former->first)) EraseRule<Kind>(rule);
  }
}

}  // namespace

uint32_t Bulk::Save(const IdleRules& idle, const Authorization& authorization) const {
  uint32_t failed = 0;
  ForEachKind([&](auto kind) {
    using Kind = decltype(kind);
    if (failed == 0) failed = SaveRules<Kind>(idle, RulesOf<Kind>());
  });
  if (failed == 0 && order_) {
    ByodOrder order;
    BYOD_order_GetOrder(&order);
    failed = BYOD_db_SetOrder(&order);
  }
  for (auto set = sets_.begin(); set != sets_.end() && failed == 0; ++set) {
    const auto& [group, category] = *set;
    failed = StoreSet(group, category, authorization.Find(group, category));
  }
  return failed;
}

void Bulk::Finish() {
  ForEachKind([&](auto kind) {
    using Kind = decltype(kind);
    EraseWithdrawn<Kind>(RulesOf<Kind>());
    RulesOf<Kind>().clear();
  });
  idle_.reset();
  order_.reset();
  authorization_.reset();
  sets_.clear();
  open_ = false;
}

void Bulk::RollBack(IdleRules& idle, Authorization& authorization) {
  ForEachKind([&](auto kind) {
    using Kind = decltype(kind);
    RollBackRules<Kind>(RulesOf<Kind>());
  });
  if (idle_) idle = std::move(*idle_);
  if (order_) BYOD_order_SetOrder(&*order_);
  if (authorization_) authorization = std::move(*authorization_);
  Finish();
}

}  // namespace byod::lauthd
