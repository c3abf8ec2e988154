// SPDX-License-Identifier: Apache-2.0
// byodctl show rules, byodctl show rule
#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/rule_filter.h"
#include "byodctl/rules/user_agent_rules.h"
#include "byodctl/text/listing.h"
#include "byodctl/text/properties.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string kind;
  std::string key;
  RuleFilter filter;
  bool next = false;
  bool json = false;
};

constexpr char kRuleKeys[] =
    "kind, key, origin (predefined or custom), modified, name, vendor, category, os, "
    "not_in_effect (why a stored rule has no effect, or null), except (rules within a mac rule, "
    "which answer instead), priority (of a custom user-agent rule, or null)";

const char* OriginOf(const Rule& rule) {
  return rule.is_custom ? "custom" : "predefined";
}

/// The origin of a rule, whether it is modified, and whether it is in effect.
std::string StateOf(const Rule& rule) {
  return std::string{OriginOf(rule)} + (rule.is_modified ? ", modified" : "") +
         (rule.holes > 0 ? "; except " + std::to_string(rule.holes) : "") +
         (rule.why_idle.empty() ? "" : "; not in effect: " + rule.why_idle);
}

Emphasis EmphasisOf(const Rule& rule) {
  if (!rule.why_idle.empty()) return Emphasis::kAlarm;
  return rule.is_custom || rule.is_modified ? Emphasis::kNotice : Emphasis::kNone;
}

Json PriorityJson(const Rule& rule) {
  return rule.priority ? Json(*rule.priority) : Json();
}

Item ItemOf(const Rule& rule) {
  Item item = {{"kind", kRuleKindNames[rule.key.kind]},
               {"key", ToString(rule.key)},
               {"origin", OriginOf(rule), StateOf(rule)},
               {"modified", rule.is_modified}};
  for (const DeviceField& field : kDeviceFields)
    item.push_back({field.name, rule.device.*field.member});
  item.push_back({"not_in_effect", OrNull(rule.why_idle)});
  item.push_back({"except", rule.holes});
  item.push_back({"priority", PriorityJson(rule)});
  return item;
}

std::vector<uint32_t> KindsOf(const std::string& name) {
  if (!name.empty()) return {RuleKindOf(name)};
  return {std::begin(kRuleKindsInOrder), std::end(kRuleKindsInOrder)};
}

Rule AskFor(Client& client, const RuleKey& key, Which which, Detail detail) {
  return RuleIn(key.kind, Fields(client.Ask(AskForRule(key, which, detail))));
}

/// Calls take for the rules that may pass the filter.
void ListCandidates(Client& client, const std::vector<uint32_t>& kinds, const RuleFilter& filter,
                    const Settings& settings, const std::function<void(const Rule&)>& take) {
  if (!filter.wins) {
    for (const uint32_t kind : kinds) {
      ListRules(client, kind, filter.ConfiguredOnly(), Detail::kAll, take);
      ListIdleRules(client, kind, take);
    }
    return;
  }
  for (const RuleKey& key : WinningRules(*filter.wins, settings)) {
    if (std::ranges::find(kinds, key.kind) == kinds.end()) continue;
    take(AskFor(client, key, Which::kThis, Detail::kAll));
  }
}

int ShowRules(const Options& options, const Settings& settings) {
  const std::vector<uint32_t> kinds = KindsOf(options.kind);
  Client client(settings);
  Listing listing(FormOf(options.json), {{"KIND", "kind"},
                                         {"KEY", "key"},
                                         {"NAME", "name"},
                                         {"VENDOR", "vendor"},
                                         {"CATEGORY", "category"},
                                         {"OS", "os"},
                                         {"ORIGIN", "origin"}});
  const auto take = [&](const Rule& rule) {
    if (options.filter.Shows(rule)) listing.Add(ItemOf(rule), EmphasisOf(rule));
  };
  ListCandidates(client, kinds, options.filter, settings, take);
  listing.Finish();
  return kExitSuccess;
}

int ShowRule(const Options& options, const Settings& settings) {
  const uint32_t kind = RuleKindOf(options.kind);
  RuleKey key = ReadRule(kind, options.key, {}).key;
  Client client(settings);
  if (kind == BYOD_METHOD_USERAGENT) {
    key = UserAgentRules(client, UserAgentRules::Source::kCommand).KeyOf(key.text);
  }
  const Rule rule =
      options.next ? AskFor(client, key, Which::kNext, Detail::kAll) : FindRule(client, key);
  const bool is_idle = !rule.why_idle.empty();
  const Rule configured =
      is_idle ? rule : AskFor(client, rule.key, Which::kThis, Detail::kConfigured);
  Properties properties(FormOf(options.json));
  properties.Add("kind", "kind", kRuleKindNames[kind]);
  properties.Add("key", "key", ToString(rule.key));
  properties.Add("origin", "origin", OriginOf(rule), StateOf(rule),
                 is_idle ? Emphasis::kAlarm : Emphasis::kNone);
  properties.AddForPrograms("modified", rule.is_modified);
  Json configured_fields;
  for (const DeviceField& field : kDeviceFields) {
    const std::string& value = rule.device.*field.member;
    const std::string& set = configured.device.*field.member;
    configured_fields.Set(field.name, set);
    const bool is_marked = !set.empty() && rule.is_modified;
    properties.Add(field.name, field.name, value, value + (is_marked ? " (configured)" : ""));
  }
  properties.AddForPrograms("not_in_effect", OrNull(rule.why_idle));
  properties.AddForPrograms("except", rule.holes);
  properties.AddForPrograms("priority", PriorityJson(rule));
  if (rule.priority) properties.AddForPeople("priority", std::to_string(*rule.priority));
  properties.AddForPrograms("configured", configured_fields);
  properties.Write();
  return kExitSuccess;
}

}  // namespace

Run DefineShowRules(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Several options narrow the list together, except that --custom and --modified list what "
      "either "
      "of them\nlets through. TEXT is a part of a field, in upper or lower case. A FINGERPRINT has "
      "any of the three\nparts, the User-Agent last, or is one value by itself: "
      "--wins 00:11:22:33:44:55.");
  parser.AddText("KIND", options->kind, "mac, user-agent or dhcp-option; default: all");
  options->filter.Declare(parser);
  AddJsonOption(parser, options->json, kRuleKeys, "rule");
  return [options, &settings] { return ShowRules(*options, settings); };
}

Run DefineShowRule(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "KEY is a MAC address with a number of bits or a mask (00:11:22:00:00:00/24), an expression "
      "of words of\na User-Agent, or a list of DHCP options. A whole address means the rule that "
      "covers it. configured is\nwhat an administrator set.");
  std::string keys = kRuleKeys;
  keys += ", configured {name, vendor, category, os}";
  AddJsonOption(parser, options->json, keys);
  parser.AddText("KIND", options->kind, "mac, user-agent or dhcp-option").Required();
  parser.AddText("KEY", options->key, "The rule").Required();
  parser.AddFlag("--next", options->next, "The rule after this one, in the order of the table");
  return [options, &settings] { return ShowRule(*options, settings); };
}

}  // namespace byod::ctl
