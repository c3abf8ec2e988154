// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/user_agent_rules.h"

#include <algorithm>
#include <utility>

#include "byod_tlv.h"
#include "rulefiles/diagnostics.h"

namespace byod::ctl {
namespace {

constexpr uint32_t kKind = BYOD_METHOD_USERAGENT;

}  // namespace

UserAgentRules::UserAgentRules(Client& client, Source source) : client_(client), source_(source) {
  const auto take = [&](const Rule& rule) {
    const std::string key = rule.key.StoredText();
    if (rule.is_custom) {
      band_.Add(key, rule.why_idle.empty());
      custom_.emplace(key, rule);
    } else {
      predefined_.insert(key);
    }
  };
  ListRules(client, kKind, source == Source::kCommand, Detail::kConfigured, take);
  ListIdleRules(client, kKind, take);
}

bool UserAgentRules::IsPredefined(const std::string& text) {
  if (predefined_.contains(text)) return true;
  if (source_ == Source::kFile) return false;
  try {
    const tlv::Message reply =
        client_.Ask(AskForRule({kKind, {}, text}, Which::kThis, Detail::kKey));
    const Rule rule = RuleIn(kKind, Fields(reply));
    // The daemon finds it in any case of letters; in another one it is another expression.
    return !rule.is_custom && rule.key.text == text;
  } catch (const Refusal& refusal) {
    if (refusal.status() != kExitUnknown) throw;
    return false;
  }
}

bool UserAgentRules::NamesPredefined(const std::string& text, bool has_priority) {
  if (has_priority) return false;
  const bool has_own = custom_.contains(text) || band_.Find(PlainText(text)) != nullptr;
  return (!has_own || source_ == Source::kFile) && IsPredefined(text);
}

RuleKey UserAgentRules::KeyOf(const std::string& text, bool has_priority) {
  if (NamesPredefined(text, has_priority)) return UserAgentKey(text, false);
  const bool is_key = custom_.contains(text) && band_.Has(text);  // that is, it has not moved
  const std::string* const key = is_key ? &text : band_.Find(PlainText(text));
  return key != nullptr ? UserAgentKey(*key, true) : RuleKey{kKind, {}, text};
}

void UserAgentRules::Place(const std::string& text, std::optional<unsigned> priority) {
  if (NamesPredefined(text, priority.has_value())) return;
  const std::string plain = PlainText(text);
  if (priority && !IsLengthened(plain)) {
    throw Failure(kExitBadInput, "the rule " + rulefiles::Quoted(text) + " takes no priority: it " +
                                     (plain.size() >= kBandStart ? "has 128 bytes and more"
                                                                 : "matches everything"));
  }
  band_.Place(plain, priority);
}

std::vector<Request> UserAgentRules::Moves() const {
  const std::vector<UserAgentBand::Move> moves = band_.Moves();
  std::vector<Request> changes;
  // First all deletions: a key may be another rule's new one.
  for (const UserAgentBand::Move& move : moves)
    changes.push_back(ChangeRule(BYOD_OP_UNDO, UserAgentKey(move.from, true)));
  for (const UserAgentBand::Move& move : moves) {
    const RuleKey key = UserAgentKey(move.to, true);
    changes.push_back(ChangeRule(BYOD_OP_SET, key));
    const Rule& rule = custom_.at(move.from);
    for (const DeviceField& field : kDeviceFields) {
      const std::string& value = rule.device.*field.member;
      if (!value.empty()) changes.push_back(ChangeField(BYOD_OP_SET, key, field, value));
    }
  }
  return changes;
}

std::optional<std::string> UserAgentRules::FormerKeyOf(const RuleKey& key) const {
  // A predefined rule may have the same text.
  const std::string* const placed = band_.Find(key.text);
  if (placed == nullptr || *placed != key.StoredText()) return std::nullopt;
  return band_.FormerKeyOf(key.text);
}

bool UserAgentRules::IsMoved(const RuleKey& key) const {
  return FormerKeyOf(key).has_value();
}

bool UserAgentRules::WasBelowBand(const RuleKey& key) const {
  const auto former = FormerKeyOf(key);
  return former && IsBelowBand(*former);
}

std::optional<RuleKey> UserAgentRules::SharesLength(const RuleKey& key) const {
  const std::string* const other = band_.SharesLength(key.StoredText());
  if (other == nullptr) return std::nullopt;
  return UserAgentKey(*other, true);
}

}  // namespace byod::ctl
