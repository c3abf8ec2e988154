#include "lauthd/reload.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "data/fold_case.h"
#include "lauth_avl.h"
#include "lauthd/log.h"
#include "lauthd/match_order.h"
#include "lauthd/rule_state.h"

namespace byod::lauthd {
namespace {

/// What an administrator made of the rules of one kind.
template <typename Kind>
using Layer = std::vector<std::pair<typename Kind::Key, OwnedInfo>>;

template <typename Kind>
std::vector<typename Kind::Key> ConfiguredKeys() {
  std::vector<typename Kind::Key> keys;
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
    if (IsConfigured(rule->origin, rule->modified)) keys.push_back(Kind::KeyOf(*rule));
  }
  return keys;
}

/// Takes the administrator's informations out of the rules, which are about to go.
template <typename Kind>
Layer<Kind> TakeLayer() {
  Layer<Kind> layer;
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
    if (!IsConfigured(rule->origin, rule->modified)) continue;
    layer.emplace_back(Kind::KeyOf(*rule), OwnedInfo(std::exchange(rule->configured, nullptr)));
  }
  return layer;
}

template <typename Kind>
void PutLayer(Layer<Kind> layer) {
  for (auto& [key, info] : layer) {
    uint16_t created = 0;
    uint32_t err = 0;
    auto* const rule = Kind::FindOrNew(key, &created, &err);
    // It was judged before that there is a place.
    if (rule == nullptr) throw std::bad_alloc();
    ExchangeInfo<Kind>(*rule, std::move(info));
  }
}

// ---------------------------------------------------------------- judging

/// The addresses of rules, in a tree like that of the table.
class MacPlaces {
 public:
  MacPlaces() : tree_(AVL_Init(byod_data_MacRuleCompare, 0, nullptr)) {
    if (tree_ == nullptr) throw std::bad_alloc();
  }
  ~MacPlaces() { AVL_Fini(tree_); }
  MacPlaces(const MacPlaces&) = delete;
  MacPlaces& operator=(const MacPlaces&) = delete;

  void Add(const ByodMacRule& key) {
    rules_.push_back(key);
    AVL_Insert(tree_, &rules_.back());
  }
  const ByodMacRule* Overlapping(const ByodMacRule& key) const {
    return static_cast<const ByodMacRule*>(AVL_Get(tree_, &key, byod_data_MacRuleMatch));
  }

 private:
  std::deque<ByodMacRule> rules_;
  void* tree_;
};

bool IsSameBlock(const ByodMacRule& a, const ByodMacRule& b) {
  return byod_data_MacRuleCompareExact(&a, &b) == 0 &&
         std::memcmp(a.mask, b.mask, sizeof a.mask) == 0;
}

ByodMacRule KeyOf(const rulefiles::MacRule& rule) {
  ByodMacRule key = {};
  const auto mac = rule.prefix.Mac();
  const auto mask = rule.prefix.Mask();
  std::memcpy(key.mac, mac.data(), sizeof key.mac);
  std::memcpy(key.mask, mask.data(), sizeof key.mask);
  return key;
}

/// @param custom  gets how many of the administrator's rules stand by themselves
Result JudgeMac(const std::vector<rulefiles::MacRule>& predefined, size_t& custom) {
  MacPlaces places;
  for (const rulefiles::MacRule& rule : predefined)
    places.Add(KeyOf(rule));
  for (const ByodMacRule& key : ConfiguredKeys<MacKind>()) {
    const ByodMacRule* const other = places.Overlapping(key);
    if (other == nullptr) {
      ++custom;
      places.Add(key);
    } else if (!IsSameBlock(*other, key)) {
      return Refused(BYOD_REFUSAL_CONFLICT, "the new predefined rule " + MacKind::Describe(*other) +
                                                " overlaps the configured rule " +
                                                MacKind::Describe(key));
    }
  }
  return {};
}

std::string Folded(std::string text) {
  for (char& c : text)
    c = static_cast<char>(FoldCase(c));
  return text;
}

template <typename Kind>
void CountText(const std::vector<rulefiles::TextRule>& predefined, size_t& custom) {
  std::set<std::string> texts;
  for (const rulefiles::TextRule& rule : predefined)
    texts.insert(Folded(rule.text));
  for (const TextKey& key : ConfiguredKeys<Kind>())
    custom += texts.insert(Folded(key.text)).second;
}

Result Judge(const PredefinedRules& rules, uint32_t rule_limit) {
  const auto error = std::ranges::find_if(rules.faults, &IsError);
  if (error != rules.faults.end()) {
    std::string reason = rulefiles::ToString(*error);
    const auto more = std::count_if(error + 1, rules.faults.end(), &IsError);
    if (more > 0) reason += " (and " + std::to_string(more) + " more)";
    return Refused(BYOD_REFUSAL_BAD_DATA, std::move(reason));
  }
  size_t custom = 0;
  if (Result judged = JudgeMac(rules.set.mac, custom); !judged.Ok()) return judged;
  CountText<UserAgentKind>(rules.set.user_agent, custom);
  CountText<DhcpOptionKind>(rules.set.dhcp_option, custom);
  if (rule_limit != BYOD_NO_RULE_LIMIT && custom > rule_limit) {
    return Refused(BYOD_REFUSAL_LIMIT,
                   "modified rules that are no longer predefined would be custom ones too many");
  }
  return {};
}

void Replace(const PredefinedRules& rules, uint32_t rule_limit) {
  ForEachKind([](auto kind) { RuleCursor<decltype(kind)>::LeaveAll(); });
  auto dhcp = TakeLayer<DhcpOptionKind>();
  auto user_agent = TakeLayer<UserAgentKind>();
  auto mac = TakeLayer<MacKind>();
  BYOD_data_GlobalInfoFini();
  if (BYOD_data_GlobalInfoInit(rule_limit) != 0) throw std::bad_alloc();
  LoadPredefined(rules, false);
  PutLayer<DhcpOptionKind>(std::move(dhcp));
  PutLayer<UserAgentKind>(std::move(user_agent));
  PutLayer<MacKind>(std::move(mac));
  if (!ArrangeMatchList()) throw std::bad_alloc();
  ForEachKind([](auto kind) { RuleCursor<decltype(kind)>::ReturnAll(); });
}

}  // namespace

Result ReplacePredefined(const RuleSource& source, uint32_t rule_limit) {
  PredefinedRules rules;
  try {
    rules = source.Read();
    if (Result judged = Judge(rules, rule_limit); !judged.Ok()) return judged;
  } catch (const std::exception& error) {
    return Refused(BYOD_REFUSAL_MEMORY, error.what());
  }
  try {
    Replace(rules, rule_limit);
  } catch (const std::bad_alloc&) {
    // The tables are neither the old nor the new ones. Everything that counts is stored, and the
    // next start has it.
    Log(Severity::kError, "no memory in the middle of a reload");
    std::abort();
  }
  return {};
}

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
