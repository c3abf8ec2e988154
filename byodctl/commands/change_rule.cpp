// SPDX-License-Identifier: Apache-2.0
// byodctl set rule, byodctl unset rule
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/change_report.h"
#include "byodctl/daemon/bulk.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/rule_advice.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string kind;
  std::string key;
  rulefiles::DeviceText device;
  std::string example;
  std::vector<const DeviceField*> fields;  ///< those that are given
  bool json = false;
};

/// Several changes are made together or not at all. @return whether anything changed
bool Apply(Client& client, const std::vector<Request>& changes) {
  if (changes.size() == 1) return client.Change(changes.front());
  Bulk bulk(client);
  bool changed = false;
  for (const Request& change : changes)
    changed = client.Change(change) || changed;
  bulk.Commit();
  return changed;
}

int Set(const Options& options, const Settings& settings) {
  const uint32_t kind = RuleKindOf(options.kind);
  const Rule rule = ReadRule(kind, options.key, options.device);
  std::vector<Request> changes;
  for (const DeviceField* const field : options.fields) {
    const std::string& value = rule.device.*field->member;
    if (value.empty()) {
      throw Failure(kExitBadInput,
                    std::string{"--"} + field->name + " is empty; to clear it use unset rule");
    }
    changes.push_back(ChangeField(BYOD_OP_SET, rule.key, *field, value));
  }
  if (changes.empty()) changes.push_back(ChangeRule(BYOD_OP_SET, rule.key));
  CheckExample(kind, options.example);
  Client client(settings);
  const bool changed = Apply(client, changes);
  return ReportChange(changed, options.json, AdviceOn(client, rule.key, options.example));
}

int Unset(const Options& options, const Settings& settings) {
  const uint32_t kind = RuleKindOf(options.kind);
  const RuleKey key = ReadRule(kind, options.key, {}).key;
  std::vector<Request> changes;
  changes.reserve(options.fields.size() + 1);
  for (const DeviceField* const field : options.fields)
    changes.push_back(ChangeField(BYOD_OP_UNDO, key, *field, ""));
  if (changes.empty()) changes.push_back(ChangeRule(BYOD_OP_UNDO, key));
  Client client(settings);
  return ReportChange(Apply(client, changes), options.json);
}

std::shared_ptr<Options> DefineKey(Parser& parser) {
  const auto options = std::make_shared<Options>();
  parser.AddText("KIND", options->kind, "mac, user-agent or dhcp-option").Required();
  parser.AddText("KEY", options->key, "00:11:22/24, words of a User-Agent, or 1,3,6,15").Required();
  return options;
}

}  // namespace

Run DefineSetRule(Parser& parser, const Settings& settings) {
  const auto options = DefineKey(parser);
  parser.AddToHelp(
      "Adds the rule if it does not exist. Fields that are not given stay as they are.");
  AddJsonOption(parser, options->json, kChangeKeysWithWarnings);
  parser
      .AddText("--example", options->example,
               "A User-Agent, list or address that the rule ought to win; warns if another does")
      .ValueName("TEXT");
  for (const DeviceField& field : kDeviceFields) {
    parser
        .AddText(
            std::string{"--"} + field.name,
            [options, &field](const std::string& value) {
              options->device.*field.member = value;
              options->fields.push_back(&field);
            },
            std::string{"The rule's "} + field.name)
        .ValueName("TEXT");
  }
  return [options, &settings] { return Set(*options, settings); };
}

Run DefineUnsetRule(Parser& parser, const Settings& settings) {
  const auto options = DefineKey(parser);
  parser.AddToHelp(
      "Without a field: deletes a custom rule, or reverts all changes to a predefined one.");
  AddJsonOption(parser, options->json, kChangeKeys);
  for (const DeviceField& field : kDeviceFields) {
    parser.AddFlag(
        std::string{"--"} + field.name, [options, &field] { options->fields.push_back(&field); },
        std::string{"Revert the "} + field.name);
  }
  return [options, &settings] { return Unset(*options, settings); };
}

}  // namespace byod::ctl
