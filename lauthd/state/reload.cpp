// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/reload.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "byod_db.h"
#include "lauthd/log.h"
#include "lauthd/state/match_order.h"
#include "lauthd/state/predefined_digest.h"
#include "lauthd/state/recovery.h"
#include "lauthd/state/rule_state.h"

namespace byod::lauthd {
namespace {

/// What an administrator gave one rule.
template <typename Kind>
struct Configured {
  typename Kind::Key key;
  OwnedInfo info;
  bool modification;  // stored as one of a predefined rule
};

/// What an administrator made of the rules of one kind.
template <typename Kind>
using Layer = std::vector<Configured<Kind>>;

/// Takes the administrator's information out of the rules, which are about to go, and out of the
/// idle ones.
template <typename Kind>
Layer<Kind> TakeLayer(const IdleRules& idle) {
  Layer<Kind> layer;
  // Without a database there is nothing that a restart would do otherwise.
  const int32_t handle = BYOD_db_GetDBHandle();
  const auto marked = StoredModifications<Kind>(handle);
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
    if (!IsConfigured(rule->origin, rule->modified)) continue;
    const auto key = Kind::KeyOf(*rule);
    layer.push_back({key, OwnedInfo(std::exchange(rule->configured, nullptr)),
                     rule->origin == BYOD_RULE_PREDEFINED && (handle < 0 || marked.contains(key))});
  }
  for (const auto& [key, rule] : idle.Of<Kind>()) {
    layer.push_back({key, CopyInfo(&rule.info), rule.modification});
    if (!layer.back().info) throw std::bad_alloc();
  }
  // In the order of the database, as a restart does it: the limit leaves out the same rules.
  std::ranges::sort(
      layer, [](const auto& a, const auto& b) { return DatabaseOrder<Kind>()(a.key, b.key); });
  return layer;
}

/// @return the rule that takes an information; null if there is no place for it
template <typename Kind>
typename Kind::Rule* RuleFor(const Configured<Kind>& configured) {
  if (configured.modification) return Kind::Find(configured.key);
  uint16_t created = 0;
  uint32_t err = 0;
  auto* const rule = Kind::FindOrNew(configured.key, &created, &err);
  if (rule == nullptr && err == BYOD_ERR_FAILED) throw std::bad_alloc();
  return rule;
}

template <typename Kind>
void PutLayer(Layer<Kind> layer, IdleRules& idle) {
  for (Configured<Kind>& configured : layer) {
    if (auto* const rule = RuleFor<Kind>(configured)) {
      OwnedInfo& info = configured.info;
      const bool anything = info && BYOD_data_IsDeviceInfoExist(info.get()) == 1;
      ExchangeInfo<Kind>(*rule, anything ? std::move(info) : nullptr);
      Kind::TakeName(*rule, configured.key);
    } else {
      idle.Put<Kind>(configured.key, configured.info.get(), configured.modification);
    }
  }
}

Result Check(const PredefinedRules& rules) {
  if (!rules.insecure.empty()) return Refused(BYOD_REFUSAL_BAD_DATA, rules.insecure);
  const auto error = std::ranges::find_if(rules.faults, &IsError);
  if (error == rules.faults.end()) return {};
  std::string reason = rulefiles::ToString(*error);
  const auto more = std::count_if(error + 1, rules.faults.end(), &IsError);
  if (more > 0) reason += " (and " + std::to_string(more) + " more)";
  return Refused(BYOD_REFUSAL_BAD_DATA, std::move(reason));
}

void Replace(const PredefinedRules& rules, uint32_t rule_limit, IdleRules& idle) {
  ForEachKind([](auto kind) { RuleCursor<decltype(kind)>::LeaveAll(); });
  auto dhcp = TakeLayer<DhcpOptionKind>(idle);
  auto mac = TakeLayer<MacKind>(idle);
  auto user_agent = TakeLayer<UserAgentKind>(idle);
  idle.Clear();
  ForEachKind([](auto kind) { decltype(kind)::Configured().Begin(); });
  MacRuleSet::Get().Clear();
  BYOD_data_GlobalInfoFini();
  if (BYOD_data_GlobalInfoInit(rule_limit) != 0) throw std::bad_alloc();
  if (!LoadPredefined(rules, false)) throw std::bad_alloc();
  // In the order in which a recovery walks the database.
  PutLayer<DhcpOptionKind>(std::move(dhcp), idle);
  PutLayer<MacKind>(std::move(mac), idle);
  PutLayer<UserAgentKind>(std::move(user_agent), idle);
  if (!ArrangeMatchList()) throw std::bad_alloc();
  idle.SetSuccessors(rules.set.successors);
  idle.LogAll();
  ForEachKind([](auto kind) { RuleCursor<decltype(kind)>::ReturnAll(); });
}

}  // namespace

Result ReplacePredefined(const RuleSource& source, uint32_t rule_limit, IdleRules& idle) {
  PredefinedRules rules;
  try {
    rules = source.Read();
    if (Result checked = Check(rules); !checked.Ok()) return checked;
  } catch (const std::exception& error) {
    return Refused(BYOD_REFUSAL_MEMORY, error.what());
  }
  const uint64_t former = DigestOfPredefined();
  try {
    Replace(rules, rule_limit, idle);
  } catch (const std::bad_alloc&) {
    // The tables are neither the old nor the new ones. Everything that counts is stored, and the
    // next start has it.
    Log(Severity::kError, "no memory in the middle of a reload");
    std::abort();
  }
  return DigestOfPredefined() == former ? NoChange() : Result();
}

}  // namespace byod::lauthd
