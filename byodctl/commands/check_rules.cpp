// SPDX-License-Identifier: Apache-2.0
// byodctl check rules
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/command_line/option_checks.h"
#include "byodctl/text/counted.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/json.h"
#include "lint/lint.h"

namespace byod::ctl {
namespace {

struct Options {
  rulefiles::Sources sources;
  bool is_strict = false;
  bool json = false;
};

Json RuleJson(const rulefiles::Place& place, const std::string& rule) {
  return {{"file", *place.file}, {"line", place.line}, {"rule", rule}};
}

Json ProblemJson(const lint::Finding& finding) {
  return {{"severity", NameOf(finding.severity)},
          {"check", finding.check},
          {"file", *finding.place.file},
          {"line", finding.place.line},
          {"rule", finding.rule},
          {"reason", finding.reason},
          {"other", finding.other ? RuleJson(finding.other->place, finding.other->rule) : Json()}};
}

int Check(const Options& options) {
  const lint::Report report = lint::Check(options.sources);
  const size_t errors = Count(report.findings, lint::Severity::kError);
  const size_t warnings = Count(report.findings, lint::Severity::kWarning);
  if (options.json) {
    Json problems = Json::EmptyArray();
    for (const lint::Finding& finding : report.findings)
      problems.Append(ProblemJson(finding));
    WriteJsonLine({{"mac", report.rules.mac.size()},
                   {"user-agent", report.rules.user_agent.size()},
                   {"dhcp-option", report.rules.dhcp_option.size()},
                   {"evidence", report.evidence},
                   {"errors", errors},
                   {"warnings", warnings},
                   {"problems", std::move(problems)}});
  } else {
    for (const lint::Finding& finding : report.findings)
      std::cout << Printable(ToString(finding)) << '\n';
    std::cout << report.rules.mac.size() << " mac, " << report.rules.user_agent.size()
              << " user-agent, " << report.rules.dhcp_option.size() << " dhcp-option"
              << (report.evidence > 0 ? ", " + std::to_string(report.evidence) + " evidence" : "")
              << " rules, " << Counted(errors, "error") << ", " << Counted(warnings, "warning")
              << '\n';
  }
  return errors > 0 || (options.is_strict && warnings > 0) ? kExitBadInput : kExitSuccess;
}

}  // namespace

Run DefineCheckRules(Parser& parser, const Settings&) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Reads the rule files as the daemon would, without the daemon, and reports what it would "
      "ignore, which\nrules never win or match what no terminal sends, and whether each rule wins "
      "on its example.\n\n"
      "Exit status: 0 without errors, 1 with errors.");
  parser.AddText("DIR", options->sources.rules_directory, "Directory of rule files")
      .Required()
      .Check(Directory());
  parser
      .AddText("--ieee", options->sources.registry_directory,
               "Directory of the registry of MAC prefixes, to check it too")
      .ValueName("DIR")
      .Check(Directory());
  parser.AddFlag("--strict", options->is_strict, "Exit with 1 on warnings too");
  AddJsonOption(
      parser, options->json,
      "mac, user-agent, dhcp-option, evidence, errors, warnings, problems {severity, check, file, "
      "line, rule, reason, other (or null) {file, line, rule}}");
  return [options] { return Check(*options); };
}

}  // namespace byod::ctl
