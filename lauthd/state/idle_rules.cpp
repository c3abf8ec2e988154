// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/idle_rules.h"

#include <algorithm>
#include <new>
#include <vector>

#include "data/fold_case.h"
#include "lauthd/log.h"
#include "lauthd/state/rule_state.h"

namespace byod::lauthd {
namespace {

/// Whether both keys name the same rule of a table.
template <typename Kind>
bool NamesTheSame(const typename Kind::Key& a, const typename Kind::Key& b) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    return Kind::SameBlock(a, b);
  } else {
    return EqualWithoutCase(a.text, b.text);
  }
}

/// Makes the rule, which has room. @return whether it is in the table now
template <typename Kind>
bool TakeEffect(const typename Kind::Key& key, const ByodDeviceInfo& info) {
  OwnedInfo copy = CopyInfo(&info);
  if (!copy) return false;
  uint16_t created = 0;
  uint32_t err = 0;
  auto* rule = Kind::FindOrNew(key, &created, &err);
  if (rule != nullptr) rule = ArrangeRule<Kind>(rule);
  if (rule == nullptr) return false;
  if (BYOD_data_IsDeviceInfoExist(copy.get()) == 1) ExchangeInfo<Kind>(*rule, std::move(copy));
  return true;
}

/// What is logged must not hinder what it is about.
template <typename Write>
void LogAsFarAsMemoryAllows(Write write) {
  try {
    write();
  } catch (const std::bad_alloc&) {
    Log(Severity::kWarning, "no memory for a line of the log");
  }
}

template <typename Kind>
void RetryKind(IdleRules::Map<Kind>& rules) {
  for (auto rule = rules.begin(); rule != rules.end();) {
    if (rule->second.modification || !TakeEffect<Kind>(rule->first, rule->second.info)) {
      ++rule;
      continue;
    }
    const typename Kind::Key key = rule->first;
    rule = rules.erase(rule);
    LogAsFarAsMemoryAllows([&] {
      Log(Severity::kNotice, "the stored %s rule %s is in effect", Kind::kTitle,
          Kind::Describe(key).c_str());
    });
  }
}

}  // namespace

template <typename Kind>
std::string WhyIdle(const typename Kind::Key& key, const IdleRule& idle) {
  if (idle.modification) return "its rule is not in the catalogue";
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) return Kind::WhyNot(key);
  return "the custom rules have reached their limit";
}

template <typename Kind>
const typename IdleRules::Map<Kind>::value_type* IdleRules::Find(
    const typename Kind::Key& key) const {
  const auto& rules = Of<Kind>();
  const auto found = std::ranges::find_if(
      rules, [&](const auto& rule) { return NamesTheSame<Kind>(rule.first, key); });
  return found != rules.end() ? &*found : nullptr;
}

template <typename Kind>
const typename IdleRules::Map<Kind>::value_type* IdleRules::InTheWayOf(
    const typename Kind::Key& key) const {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    // Two rules of one address are stored in one place, whatever their masks.
    for (const auto& rule : Of<Kind>()) {
      if (std::memcmp(rule.first.mac, key.mac, sizeof key.mac) == 0) return &rule;
    }
  }
  return nullptr;
}

void IdleRules::SetSuccessors(const std::vector<rulefiles::Successor>& successors) {
  auto by_rule = std::make_shared<Successors>();
  for (const rulefiles::Successor& row : successors)
    by_rule->try_emplace(rulefiles::IdentityOfRule(row.method, row.rule), row);
  successors_ = std::move(by_rule);
}

const rulefiles::Successor* IdleRules::SuccessorOf(uint32_t method, const std::string& rule) const {
  if (!successors_) return nullptr;
  const auto found = successors_->find(rulefiles::IdentityOfRule(method, rule));
  return found != successors_->end() ? &found->second : nullptr;
}

void IdleRules::Retry() {
  if (Empty()) return;
  RetryKind<DhcpOptionKind>(std::get<Map<DhcpOptionKind>>(maps_));
  RetryKind<MacKind>(std::get<Map<MacKind>>(maps_));
  RetryKind<UserAgentKind>(std::get<Map<UserAgentKind>>(maps_));
}

void IdleRules::LogAll() const {
  ForEachKind([this](auto kind) {
    using Kind = decltype(kind);
    for (const auto& rule : Of<Kind>()) {
      LogAsFarAsMemoryAllows([&] {
        Log(Severity::kWarning, "the stored %s rule %s is not in effect: %s", Kind::kTitle,
            Kind::Describe(rule.first).c_str(), WhyIdle<Kind>(rule.first, rule.second).c_str());
      });
    }
  });
}

#define LAUTHD_INSTANTIATE(Kind)                                                                  \
  template std::string WhyIdle<Kind>(const Kind::Key&, const IdleRule&);                          \
  template const IdleRules::Map<Kind>::value_type* IdleRules::Find<Kind>(const Kind::Key&) const; \
  template const IdleRules::Map<Kind>::value_type* IdleRules::InTheWayOf<Kind>(const Kind::Key&)  \
      const;
LAUTHD_INSTANTIATE(DhcpOptionKind)
LAUTHD_INSTANTIATE(UserAgentKind)
LAUTHD_INSTANTIATE(MacKind)
#undef LAUTHD_INSTANTIATE

}  // namespace byod::lauthd
