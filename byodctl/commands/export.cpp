// SPDX-License-Identifier: Apache-2.0
// byodctl export
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/rule_csv.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/json.h"
#include "byodctl/text/table.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string kind;
  bool json = false;
  bool spreadsheet = false;
};

/// A rule that was set by other means may contain what a rule file cannot.
bool IsReadable(const Rule& rule) {
  try {
    ReadRule(rule.key.kind, ToString(rule.key), rule.device);
    return true;
  } catch (const Failure&) {
    return false;
  }
}

int Export(const Options& options, const Settings& settings) {
  std::vector<uint32_t> kinds(std::begin(kRuleKindsInOrder), std::end(kRuleKindsInOrder));
  if (!options.kind.empty()) kinds = {RuleKindOf(options.kind)};
  Client client(settings);
  int status = kExitSuccess;
  // A file keeps every byte for import; a terminal must not get control characters.
  const CsvReader reader = options.spreadsheet ? CsvReader::kSpreadsheet : CsvReader::kImport;
  const bool is_terminal = WidthOfOutput().has_value();
  for (const uint32_t kind : kinds) {
    if (!options.json) std::cout << CsvHeader(kind);
    const auto take = [&](const Rule& rule) {
      const std::string key = ToString(rule.key);
      if (!IsReadable(rule)) {
        std::cerr << "byodctl: the " << kRuleKindNames[kind] << " rule " << Printable(key)
                  << " cannot be written in a rule file\n";
        status = kExitBadInput;
      } else if (options.json) {
        Json object = {{"kind", kRuleKindNames[kind]}, {"key", key}};
        for (const DeviceField& field : kDeviceFields)
          object.Set(field.name, rule.device.*field.member);
        object.Set("priority", rule.priority ? Json(*rule.priority) : Json());
        WriteJsonLine(object);
      } else {
        const std::string row = CsvRow(rule, reader);
        std::cout << (is_terminal ? Printable(row.substr(0, row.size() - 1)) + '\n' : row);
      }
    };
    ListRules(client, kind, true, Detail::kConfigured, take);
    ListIdleRules(client, kind, take);
  }
  return status;
}

}  // namespace

Run DefineExport(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Writes to standard output the rules that an administrator added or changed, with the "
      "fields that were\nset. Importing them again changes nothing. Without KIND the kinds follow "
      "one another, each with its\nheader; import reads that, but a directory of rule files "
      "needs one file for each kind. import does not\nread JSON.");
  parser.AddText("KIND", options->kind, "mac, user-agent or dhcp-option; default: all");
  const Option spreadsheet =
      parser.AddFlag("--spreadsheet", options->spreadsheet,
                     "Put ' before what a spreadsheet would take for a formula");
  AddJsonOption(parser, options->json, "kind, key, name, vendor, category, os, priority (or null)",
                "rule")
      .Excludes(spreadsheet);
  return [options, &settings] { return Export(*options, settings); };
}

}  // namespace byod::ctl
