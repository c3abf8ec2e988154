// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/rule_source.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "lauthd/log.h"
#include "lauthd/state/directory_names.h"
#include "lauthd/state/file_rights.h"
#include "rulefiles/installed_sources.h"
#include "rulefiles/load.h"

namespace byod::lauthd {
namespace {

// Fewer rules are loaded too fast for a progress line to be read.
constexpr size_t kMinShown = 10000;
constexpr size_t kMaxFaultsLogged = 20;

void ShowProgress(size_t done, size_t of) {
  if (of < kMinShown) return;
  std::fprintf(stderr, "\rlauthd: %zu of %zu rules%s", done, of, done == of ? "\n" : "");
}

/// As the rules, one in a process.
std::vector<rulefiles::BackgroundAgent>& BackgroundAgents() {
  static std::vector<rulefiles::BackgroundAgent> agents;
  return agents;
}

/// What is read of the places that were chosen. A machine may do without the usual ones.
rulefiles::Sources WithoutMissing(rulefiles::Sources chosen) {
  const rulefiles::Sources usual = rulefiles::InstalledSources();
  const auto leave_out = [](std::string& directory, const std::string& place, const char* what) {
    std::error_code unknown;
    if (directory.empty() || directory != place) return;
    if (std::filesystem::exists(directory, unknown) || unknown) return;
    Log(Severity::kWarning, "no %s: %s does not exist", what, directory.c_str());
    directory.clear();
  };
  leave_out(chosen.rules_directory, usual.rules_directory, "predefined rules");
  leave_out(chosen.registry_directory, usual.registry_directory, "registry of address prefixes");
  return chosen;
}

/// @return why the first file or directory that others may write must not be used; empty: none
std::string FindInsecure(const rulefiles::Sources& sources) {
  for (const std::string& directory : {sources.rules_directory, sources.registry_directory}) {
    if (directory.empty()) continue;
    if (std::string reason = WhyInsecure(directory); !reason.empty()) return reason;
    // What cannot be read is reported by the reader.
    for (const std::string& name : NamesIn(directory)) {
      if (!name.ends_with(".csv")) continue;
      if (std::string reason = WhyInsecure(directory + '/' + name); !reason.empty()) return reason;
    }
  }
  return {};
}

}  // namespace

PredefinedRules RuleSource::Read() const {
  PredefinedRules rules;
  rulefiles::Diagnostics diagnostics(
      [&rules](const rulefiles::Diagnostic& diagnostic) { rules.faults.push_back(diagnostic); });
  const rulefiles::Sources sources =
      WithoutMissing({options_.rules, options_.ieee, options_.module_makers});
  if (!options_.insecure) rules.insecure = FindInsecure(sources);
  if (rules.insecure.empty()) rules.set = rulefiles::ReadRuleSet(sources, diagnostics);
  return rules;
}

bool RuleSource::shows_progress() const {
  return isatty(STDERR_FILENO) == 1;
}

bool LoadPredefined(const PredefinedRules& rules, bool show_progress) {
  for (size_t i = 0; i < rules.faults.size() && i < kMaxFaultsLogged; ++i)
    Log(Severity::kWarning, "%s", rulefiles::ToString(rules.faults[i]).c_str());
  if (rules.faults.size() > kMaxFaultsLogged) {
    Log(Severity::kWarning, "and %zu more faults in the rule files",
        rules.faults.size() - kMaxFaultsLogged);
  }
  rulefiles::Diagnostics refused([](const rulefiles::Diagnostic& diagnostic) {
    Log(Severity::kWarning, "%s", rulefiles::ToString(diagnostic).c_str());
  });
  const size_t loaded =
      rulefiles::Load(rules.set, refused,
                      show_progress ? rulefiles::Progress(ShowProgress) : rulefiles::Progress());
  BackgroundAgents() = rules.set.background;
  Log(Severity::kInfo, "loaded %zu predefined rules", loaded);
  return loaded ==
         rules.set.mac.size() + rules.set.user_agent.size() + rules.set.dhcp_option.size();
}

bool IsBackgroundAgent(const char* user_agent) {
  return rulefiles::IsBackground(BackgroundAgents(), user_agent);
}

}  // namespace byod::lauthd
