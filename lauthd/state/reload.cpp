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
#include "lauthd/state/predefined_digest.h"
#include "lauthd/state/recovery.h"
#include "lauthd/state/retry.h"
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

/// @return a copy; null for null. @throws std::bad_alloc
OwnedInfo CopyPresent(const ByodDeviceInfo* info) {
  if (info == nullptr) return nullptr;
  OwnedInfo copy = CopyInfo(info);
  if (!copy) throw std::bad_alloc();
  return copy;
}

/// Copies the administrator's information of the rules, which are about to go, and of the idle
/// ones.
template <typename Kind>
Layer<Kind> CopyLayer(const IdleRules& idle) {
  Layer<Kind> layer;
  // Without a database there is nothing that a restart would do otherwise.
  const int32_t handle = BYOD_db_GetDBHandle();
  const auto marked = StoredModifications<Kind>(handle);
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
    if (!IsConfigured(rule->origin, rule->modified)) continue;
    const auto key = Kind::KeyOf(*rule);
    layer.push_back({key, CopyPresent(rule->configured),
                     rule->origin == BYOD_RULE_PREDEFINED && (handle < 0 || marked.contains(key))});
  }
  for (const auto& [key, rule] : idle.Of<Kind>())
    layer.push_back({key, CopyPresent(&rule.info), rule.modification});
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
  auto* const arranged = created == 1 ? ArrangeRule<Kind>(rule) : rule;
  if (arranged == nullptr && (rule != nullptr || err == BYOD_ERR_FAILED)) throw std::bad_alloc();
  return arranged;
}

template <typename Kind>
void PutLayer(const Layer<Kind>& layer, IdleRules& idle) {
  for (const Configured<Kind>& configured : layer) {
    if (auto* const rule = RuleFor<Kind>(configured)) {
      const auto& info = configured.info;
      const bool anything = info && BYOD_data_IsDeviceInfoExist(info.get()) == 1;
      ExchangeInfo<Kind>(*rule, anything ? CopyPresent(info.get()) : nullptr);
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

/// What an administrator made of all rules.
struct Layers {
  explicit Layers(const IdleRules& idle)
      : dhcp(CopyLayer<DhcpOptionKind>(idle)),
        mac(CopyLayer<MacKind>(idle)),
        user_agent(CopyLayer<UserAgentKind>(idle)) {}

  Layer<DhcpOptionKind> dhcp;
  Layer<MacKind> mac;
  Layer<UserAgentKind> user_agent;
};

/// Makes all tables from nothing. @throws std::bad_alloc  with a part of them made
void Fill(const PredefinedRules& rules, const Layers& layers, uint32_t rule_limit,
          IdleRules& idle) {
  idle.Clear();
  ForEachKind([](auto kind) { decltype(kind)::Configured().Begin(); });
  MacRuleSet::Get().Clear();
  BYOD_data_GlobalInfoFini();
  if (BYOD_data_GlobalInfoInit(rule_limit) != 0) throw std::bad_alloc();
  LoadPredefined(rules, false);  // throws without memory; a rule that another one covers is logged
  // In the order in which a recovery walks the database.
  PutLayer<DhcpOptionKind>(layers.dhcp, idle);
  PutLayer<MacKind>(layers.mac, idle);
  PutLayer<UserAgentKind>(layers.user_agent, idle);
  idle.SetSuccessors(rules.set.successors);
}

/// @throws std::bad_alloc  with nothing changed
void Replace(const PredefinedRules& rules, uint32_t rule_limit, IdleRules& idle) {
  const Layers layers(idle);
  ForEachKind([](auto kind) { RuleCursor<decltype(kind)>::LeaveAll(); });
  if (!RetryForMemory([&] { Fill(rules, layers, rule_limit, idle); })) {
    // The tables are neither the old nor the new ones. Everything that counts is stored, and the
    // next start has it.
    Log(Severity::kError, "no memory in the middle of a reload");
    std::abort();
  }
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
    return NoMemory();
  }
  return DigestOfPredefined() == former ? NoChange() : Result();
}

}  // namespace byod::lauthd
