// SPDX-License-Identifier: Apache-2.0
// byodctl set rule, byodctl unset rule
#include <algorithm>
#include <iostream>
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
#include "byodctl/rules/rule_gain.h"
#include "byodctl/rules/user_agent_band.h"
#include "byodctl/rules/user_agent_rules.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/json.h"
#include "rulefiles/diagnostics.h"

namespace byod::ctl {
namespace {

constexpr char kGainKeys[] =
    "changed, warnings, gain (of a user-agent rule in effect, or null) {unknown (fingerprints that "
    "nothing matched) {matched, won, lost_to (by rule)}, examples (of predefined rules) {matched, "
    "won, lost_to (by rule)}, taken_from (by rule), over (predefined rules that match the "
    "--example)}";

struct Options {
  std::string kind;
  std::string key;
  rulefiles::DeviceText device;
  std::string example;
  std::vector<const DeviceField*> fields;  ///< those that are given
  std::optional<uint64_t> priority;
  bool json = false;
};

/// @return whether anything changed
bool Apply(Client& client, const std::vector<Request>& changes) {
  bool changed = false;
  for (const Request& change : changes)
    changed = client.Change(change) || changed;
  return changed;
}

/// Several changes are made together or not at all. @return whether anything changed
bool ApplyTogether(Client& client, const std::vector<Request>& changes) {
  if (changes.size() == 1) return client.Change(changes.front());
  Bulk bulk(client);
  const bool changed = Apply(client, changes);
  bulk.Commit();
  return changed;
}

std::vector<Request> FieldsToSet(const Options& options, const Rule& rule) {
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
  return changes;
}

std::optional<unsigned> PriorityIn(const Options& options, uint32_t kind) {
  if (!options.priority) return std::nullopt;
  if (kind != BYOD_METHOD_USERAGENT) {
    throw Failure(kExitBadInput, "--priority: only user-agent rules have a priority");
  }
  if (*options.priority > kMaxPriority) {
    throw Failure(kExitBadInput, "--priority " + std::to_string(*options.priority) +
                                     " is not 0 to " + std::to_string(kMaxPriority));
  }
  return static_cast<unsigned>(*options.priority);
}

/// What was said of a rule's place among the administrator's rules.
std::vector<std::string> NotesOn(const UserAgentRules& rules, const RuleKey& key) {
  std::vector<std::string> notes;
  if (rules.WasBelowBand(key)) {
    notes.push_back("the rule " + rulefiles::Quoted(key.text) +
                    " was stored without a priority, and has one now");
  }
  if (!PriorityOf(key.StoredText())) return notes;
  if (const auto other = rules.SharesLength(key)) {
    const bool is_first = key.StoredText() < other->StoredText();
    notes.push_back("the rule " + rulefiles::Quoted(key.text) + " has the same place as " +
                    rulefiles::Quoted(other->text) + "; where both match, " +
                    rulefiles::Quoted(is_first ? key.text : other->text) +
                    " wins, the first in byte order");
  }
  return notes;
}

struct Outcome {
  bool changed = false;
  RuleKey key;
  std::vector<std::string> notes;
};

/// The rule's place depends on all others of the administrator, so these must not change meanwhile.
Outcome SetUserAgent(const Options& options, Rule rule, Client& client) {
  const auto priority = PriorityIn(options, BYOD_METHOD_USERAGENT);
  Bulk bulk(client);
  UserAgentRules rules(client, UserAgentRules::Source::kCommand);
  rules.Place(rule.key.text, priority);
  rule.key = rules.KeyOf(rule.key.text, priority.has_value());
  const bool is_moved = Apply(client, rules.Moves());
  const bool is_changed = Apply(client, FieldsToSet(options, rule));
  bulk.Commit();
  return {is_moved || is_changed, rule.key, NotesOn(rules, rule.key)};
}

int Set(const Options& options, const Settings& settings) {
  const uint32_t kind = RuleKindOf(options.kind);
  const Rule rule = ReadRule(kind, options.key, options.device);
  PriorityIn(options, kind);
  const std::vector<Request> changes = FieldsToSet(options, rule);
  CheckExample(kind, options.example);
  Client client(settings);
  Outcome outcome = kind == BYOD_METHOD_USERAGENT
                        ? SetUserAgent(options, rule, client)
                        : Outcome{ApplyTogether(client, changes), rule.key, {}};
  const Rule set = FindRule(client, outcome.key);
  const std::vector<std::string> advice = AdviceOn(client, set, options.example);
  outcome.notes.insert(outcome.notes.end(), advice.begin(), advice.end());
  std::optional<RuleGain> gain;
  if (kind == BYOD_METHOD_USERAGENT && set.why_idle.empty()) {
    gain = GainOf(client, set, options.example);
  }
  if (options.json) {
    WriteJsonLine(
        {{"changed", outcome.changed}, {"warnings", outcome.notes}, {"gain", JsonOf(gain)}});
    return kExitSuccess;
  }
  const int status = ReportChange(outcome.changed, false, outcome.notes);
  for (const std::string& line : gain ? LinesOf(*gain) : std::vector<std::string>())
    std::cout << Printable(line) << '\n';
  return status;
}

int Unset(const Options& options, const Settings& settings) {
  const uint32_t kind = RuleKindOf(options.kind);
  RuleKey key = ReadRule(kind, options.key, {}).key;
  Client client(settings);
  if (kind == BYOD_METHOD_USERAGENT) {
    key = UserAgentRules(client, UserAgentRules::Source::kCommand).KeyOf(key.text);
  }
  std::vector<Request> changes;
  changes.reserve(options.fields.size() + 1);
  for (const DeviceField* const field : options.fields)
    changes.push_back(ChangeField(BYOD_OP_UNDO, key, *field, ""));
  if (changes.empty()) changes.push_back(ChangeRule(BYOD_OP_UNDO, key));
  return ReportChange(ApplyTogether(client, changes), options.json);
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
  AddJsonOption(parser, options->json, kGainKeys);
  parser
      .AddText("--example", options->example,
               "A User-Agent, list or address that the rule ought to win; warns if another does")
      .ValueName("TEXT");
  parser
      .AddNumber("--priority", options->priority,
                 "0 to 127, else the length of KEY: the higher of two custom user-agent rules wins")
      .ValueName("N");
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
