// byodctl show rules, byodctl show rule
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command.h"
#include "byodctl/json_line.h"
#include "byodctl/rule.h"
#include "byodctl/table.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string kind;
  std::string key;
  bool custom = false;
  bool modified = false;
  bool next = false;
  bool json = false;
};

const char* OriginOf(const Rule& rule) {
  return rule.is_custom ? "custom" : "predefined";
}

Json DeviceJson(const rulefiles::DeviceText& device) {
  Json object;
  for (const DeviceField& field : kDeviceFields)
    object[field.name] = device.*field.member;
  return object;
}

Json RuleJson(const Rule& rule) {
  Json object = {{"kind", kRuleKindNames[rule.key.kind]},
                 {"key", ToString(rule.key)},
                 {"origin", OriginOf(rule)},
                 {"modified", rule.is_modified}};
  object.update(DeviceJson(rule.device));
  return object;
}

std::vector<uint32_t> KindsOf(const std::string& name) {
  if (!name.empty()) return {RuleKindOf(name)};
  return {std::begin(kRuleKindsInOrder), std::end(kRuleKindsInOrder)};
}

int ShowRules(const Options& options, const Settings& settings) {
  const std::vector<uint32_t> kinds = KindsOf(options.kind);
  Client client(settings);
  Table table({"KIND", "KEY", "NAME", "VENDOR", "CATEGORY", "OS", "ORIGIN"});
  const bool is_filtered = options.custom || options.modified;
  const auto take = [&](const Rule& rule) {
    const bool is_wanted =
        (options.custom && rule.is_custom) || (options.modified && rule.is_modified);
    if (is_filtered && !is_wanted) return;
    if (options.json) return WriteJsonLine(RuleJson(rule));
    table.Add({kRuleKindNames[rule.key.kind], Cell(ToString(rule.key)), Cell(rule.device.name),
               Cell(rule.device.vendor), Cell(rule.device.category), Cell(rule.device.os),
               std::string{OriginOf(rule)} + (rule.is_modified ? ", modified" : "")},
              rule.is_custom || rule.is_modified ? Emphasis::kNotice : Emphasis::kNone);
  };
  for (const uint32_t kind : kinds)
    ListRules(client, kind, is_filtered, Telling::kAll, take);
  if (!options.json) table.Write(std::cout);
  return kExitSuccess;
}

int ShowRule(const Options& options, const Settings& settings) {
  const uint32_t kind = RuleKindOf(options.kind);
  const RuleKey key = ReadRule(kind, options.key, {}).key;
  Client client(settings);
  const auto ask = [&](const RuleKey& asked, Which which, Telling telling) {
    return RuleIn(kind, Fields(client.Ask(AskForRule(asked, which, telling))));
  };
  const Rule rule = ask(key, options.next ? Which::kNext : Which::kThis, Telling::kAll);
  const Rule configured = ask(rule.key, Which::kThis, Telling::kConfigured);
  if (options.json) {
    Json object = RuleJson(rule);
    object["configured"] = DeviceJson(configured.device);
    WriteJsonLine(object);
    return kExitSuccess;
  }
  Table table;
  table.Add({"kind", kRuleKindNames[kind]});
  table.Add({"key", Cell(ToString(rule.key), 256)});
  table.Add({"origin", std::string{OriginOf(rule)} + (rule.is_modified ? ", modified" : "")});
  for (const DeviceField& field : kDeviceFields) {
    const bool is_configured = !(configured.device.*field.member).empty();
    table.Add({field.name, Cell(rule.device.*field.member, 128) +
                               (is_configured && rule.is_modified ? " (configured)" : "")});
  }
  table.Write(std::cout);
  return kExitSuccess;
}

}  // namespace

Run DefineShowRules(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "JSON: kind, key, origin (predefined or custom), modified, name, vendor, category, "
      "os; a line for each rule.");
  app.add_option("KIND", options->kind, "mac, user-agent or dhcp-option; all without it");
  app.add_flag("--custom", options->custom, "Only rules that an administrator made");
  app.add_flag("--modified", options->modified,
               "Only predefined rules that an administrator changed");
  app.add_flag("--json", options->json, "Write JSON, a line for each rule");
  return [options, &settings] { return ShowRules(*options, settings); };
}

Run DefineShowRule(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "KEY is a MAC address with a number of bits or a mask (00:11:22:00:00:00/24), an expression "
      "of words of\na User-Agent, or a list of DHCP options. A whole address means the rule that "
      "covers it. configured is\nwhat an administrator set.");
  app.add_option("KIND", options->kind, "mac, user-agent or dhcp-option")->required();
  app.add_option("KEY", options->key, "The rule")->required();
  app.add_flag("--next", options->next, "The rule after this one, in the order of the table");
  app.add_flag("--json", options->json, "Write JSON");
  return [options, &settings] { return ShowRule(*options, settings); };
}

}  // namespace byod::ctl
