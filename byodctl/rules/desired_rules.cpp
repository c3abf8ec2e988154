// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/desired_rules.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "byod_tlv.h"

namespace byod::ctl {
namespace {

using ConfiguredRules = std::map<std::string, Rule>;

/// Removes what is configured of a row's rule from the list and returns it. A custom rule in
/// another spelling counts as another rule: the spelling changes only by deleting and adding it.
std::optional<Rule> Take(ConfiguredRules& configured, const Rule& row) {
  const auto found = configured.find(IdentityOf(row.key));
  if (found == configured.end()) return std::nullopt;
  if (found->second.is_custom && ToString(found->second.key) != ToString(row.key)) {
    return std::nullopt;
  }
  Rule rule = std::move(found->second);
  configured.erase(found);
  return rule;
}

bool SaysNothing(const rulefiles::DeviceText& device) {
  return std::ranges::all_of(
      kDeviceFields, [&](const DeviceField& field) { return (device.*field.member).empty(); });
}

}  // namespace

std::vector<DesiredRule> AddedRules(std::vector<PlacedRule> rows) {
  std::vector<DesiredRule> rules;
  rules.reserve(rows.size());
  for (PlacedRule& row : rows)
    rules.push_back({std::move(row.rule), std::move(row.place), std::nullopt});
  return rules;
}

std::vector<DesiredRule> ReplacedRules(Client& client, RuleCsv file) {
  ConfiguredRules configured;
  for (const uint32_t kind : file.kinds) {
    ListRules(client, kind, true, Detail::kConfigured,
              [&](const Rule& rule) { configured.emplace(IdentityOf(rule.key), rule); });
  }
  std::vector<DesiredRule> rows = AddedRules(std::move(file.rules));
  for (DesiredRule& row : rows)
    row.configured = Take(configured, row.rule);

  std::vector<DesiredRule> rules;
  rules.reserve(configured.size() + rows.size());
  for (auto& [identity, rule] : configured)
    rules.push_back({std::move(rule), {}, std::nullopt});
  std::ranges::move(rows, std::back_inserter(rules));
  return rules;
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
