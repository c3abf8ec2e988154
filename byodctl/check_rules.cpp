// byodctl check rules
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "byodctl/command.h"
#include "byodctl/display_text.h"
#include "byodctl/json_line.h"
#include "rulefiles/rule_set.h"

namespace byod::ctl {
namespace {

struct Options {
  rulefiles::Sources sources;
  bool json = false;
};

int Check(const Options& options) {
  Json problems = Json::array();
  rulefiles::Diagnostics diagnostics([&](const rulefiles::Diagnostic& diagnostic) {
    if (options.json) {
      problems.push_back({{"file", diagnostic.place.file ? *diagnostic.place.file : ""},
                          {"line", diagnostic.place.line},
                          {"reason", diagnostic.reason}});
    } else {
      std::cout << Printable(ToString(diagnostic)) << '\n';
    }
  });
  const rulefiles::RuleSet rules = rulefiles::ReadRuleSet(options.sources, diagnostics);
  if (options.json) {
    WriteJsonLine({{"mac", rules.mac.size()},
                   {"user-agent", rules.user_agent.size()},
                   {"dhcp-option", rules.dhcp_option.size()},
                   {"problems", problems}});
  } else {
    std::cout << rules.mac.size() << " mac, " << rules.user_agent.size() << " user-agent, "
              << rules.dhcp_option.size() << " dhcp-option rules, " << diagnostics.count()
              << (diagnostics.count() == 1 ? " problem\n" : " problems\n");
  }
  return diagnostics.count() == 0 ? kExitSuccess : kExitBadInput;
}

}  // namespace

Run DefineCheckRules(CLI::App& app, const Settings&) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "Reads the rule files as the daemon would, without the daemon, and tells what it "
      "would leave out.\nExit status: 0 without a problem, 1 with one.");
  app.add_option("DIR", options->sources.rules_directory, "Directory of rule files")
      ->required()
      ->check(CLI::ExistingDirectory);
  app.add_option("--ieee", options->sources.registry_directory,
                 "Directory of the registry of MAC prefixes, to check with it")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  app.add_flag("--json", options->json, "Write JSON: mac, user-agent, dhcp-option, problems");
  return [options] { return Check(*options); };
}

}  // namespace byod::ctl
