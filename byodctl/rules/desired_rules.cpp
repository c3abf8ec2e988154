// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/desired_rules.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "byod_tlv.h"
#include "byodctl/rules/user_agent_rules.h"

namespace byod::ctl {
namespace {

using ConfiguredRules = std::map<std::string, Rule>;

/// Equal for keys of one rule of the daemon: two User-Agent rules may have one text.
std::string StoredIdentityOf(const RuleKey& key) {
  return IdentityOf(key.kind == BYOD_METHOD_USERAGENT ? RuleKey{key.kind, {}, key.StoredText()}
                                                      : key);
}

/// Removes what is configured of a row's rule from the list and returns it. A custom rule in
/// another spelling counts as another rule: the spelling changes only by deleting and adding it.
std::optional<Rule> Take(ConfiguredRules& configured, const Rule& row) {
  const auto found = configured.find(StoredIdentityOf(row.key));
  if (found == configured.end()) return std::nullopt;
  if (found->second.is_custom && ToString(found->second.key) != ToString(row.key)) {
    return std::nullopt;
  }
  Rule rule = std::move(found->second);
  configured.erase(found);
  return rule;
}

/// Gives the User-Agent rules of rows their places in the band, and the keys that belong to them.
/// @param replaces  a rule without a priority in its row has that of its length
std::vector<Request> Place(UserAgentRules& user_agents, std::vector<DesiredRule>& rows,
                           bool replaces) {
  const auto is_placed = [](const DesiredRule& row) {
    return row.rule.key.kind == BYOD_METHOD_USERAGENT && !row.IsRemoval();
  };
  for (const DesiredRule& row : rows) {
    if (row.rule.key.kind != BYOD_METHOD_USERAGENT) continue;
    if (row.IsRemoval()) {
      if (row.rule.is_custom) user_agents.Remove(row.rule.key);
      continue;
    }
    auto priority = row.rule.priority;
    const bool has_own = row.configured && row.configured->is_custom;
    if (replaces && has_own && !priority && row.configured->priority) {
      priority = static_cast<unsigned>(row.configured->key.text.size());
    }
    user_agents.Place(row.rule.key.text, priority);
  }
  // Only now, as each place may have moved others.
  for (DesiredRule& row : rows) {
    if (!is_placed(row)) continue;
    row.rule.key = user_agents.KeyOf(row.rule.key.text, row.rule.priority.has_value());
    row.is_moved = user_agents.IsMoved(row.rule.key);
  }
  return user_agents.Moves();
}

bool HasUserAgents(const RuleCsv& file) {
  return std::ranges::find(file.kinds, uint32_t{BYOD_METHOD_USERAGENT}) != file.kinds.end();
}

std::vector<DesiredRule> Rows(std::vector<PlacedRule> rows) {
  std::vector<DesiredRule> rules;
  rules.reserve(rows.size());
  for (PlacedRule& row : rows)
    rules.push_back({std::move(row.rule), std::move(row.place), std::nullopt});
  return rules;
}

bool SaysNothing(const rulefiles::DeviceText& device) {
  return std::ranges::all_of(
      kDeviceFields, [&](const DeviceField& field) { return (device.*field.member).empty(); });
}

}  // namespace

DesiredRules AddedRules(Client& client, RuleCsv file) {
  const bool has_user_agents = HasUserAgents(file);
  DesiredRules desired = {{}, Rows(std::move(file.rules))};
  if (has_user_agents) {
    UserAgentRules user_agents(client, UserAgentRules::Source::kFile);
    desired.moves = Place(user_agents, desired.rules, false);
  }
  return desired;
}

DesiredRules ReplacedRules(Client& client, RuleCsv file) {
  ConfiguredRules configured;
  for (const uint32_t kind : file.kinds) {
    ListRules(client, kind, true, Detail::kConfigured,
              [&](const Rule& rule) { configured.emplace(StoredIdentityOf(rule.key), rule); });
  }
  std::optional<UserAgentRules> user_agents;
  if (HasUserAgents(file)) user_agents.emplace(client, UserAgentRules::Source::kFile);
  std::vector<DesiredRule> rows = Rows(std::move(file.rules));
  for (DesiredRule& row : rows) {
    Rule known = row.rule;
    if (user_agents && known.key.kind == BYOD_METHOD_USERAGENT) {
      known.key = user_agents->KeyOf(known.key.text, known.priority.has_value());
    }
    const bool is_new_user_agent =
        known.key.kind == BYOD_METHOD_USERAGENT && known.key.stored.empty();
    if (!is_new_user_agent) row.configured = Take(configured, known);
  }

  DesiredRules desired;
  desired.rules.reserve(configured.size() + rows.size());
  for (auto& [identity, rule] : configured)
    desired.rules.push_back({std::move(rule), {}, std::nullopt});
  std::ranges::move(rows, std::back_inserter(desired.rules));
  if (user_agents) desired.moves = Place(*user_agents, desired.rules, true);
  return desired;
}

void AppendChanges(const DesiredRule& desired, std::vector<Request>& changes) {
  const Rule& rule = desired.rule;
  if (desired.IsRemoval()) {
    changes.push_back(ChangeRule(BYOD_OP_UNDO, rule.key));
    return;
  }
  changes.push_back(ChangeRule(BYOD_OP_SET, rule.key));
  for (const DeviceField& field : kDeviceFields) {
    const std::string& value = rule.device.*field.member;
    if (!value.empty()) changes.push_back(ChangeField(BYOD_OP_SET, rule.key, field, value));
  }
  if (!desired.configured) return;
  for (const DeviceField& field : kDeviceFields) {
    const bool was_set = !(desired.configured->device.*field.member).empty();
    if (was_set && (rule.device.*field.member).empty()) {
      changes.push_back(ChangeField(BYOD_OP_UNDO, rule.key, field, ""));
    }
  }
  // Without any field the daemon deletes a custom rule.
  if (SaysNothing(rule.device)) changes.push_back(ChangeRule(BYOD_OP_SET, rule.key));
}

}  // namespace byod::ctl
