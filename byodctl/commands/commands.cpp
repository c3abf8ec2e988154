// SPDX-License-Identifier: Apache-2.0
// The table of commands.
#include "byodctl/command_line/command.h"

namespace byod::ctl {
namespace {

constexpr Command kCommands[] = {
    {"identify", nullptr, "Find vendor, category, OS and name of terminals", &DefineIdentify},
    {"show", "rules", "List the rules", &DefineShowRules},
    {"show", "rule", "Show one rule", &DefineShowRule},
    {"show", "order", "Show the order of the methods", &DefineShowOrder},
    {"show", "counts", "Show the number of rules of each kind", &DefineShowCounts},
    {"show", "status", "Show the status of the daemon", &DefineShowStatus},
    {"show", "unknown", "List the fingerprints that nothing matched", &DefineShowUnknown},
    {"show", "station", "Show what is remembered of one terminal", &DefineShowStation},
    {"show", "stations", "List the terminals that are remembered", &DefineShowStations},
    {"show", "feeds", "List the programs that report terminals", &DefineShowFeeds},
    {"show", "authorization", "List what terminals of a user group may do",
     &DefineShowAuthorization},
    {"set", "rule", "Add a rule, or change one", &DefineSetRule},
    {"set", "order", "Set the order of the methods", &DefineSetOrder},
    {"set", "authorization", "Set what terminals of a user group may do", &DefineSetAuthorization},
    {"unset", "rule", "Delete a rule, or revert changes to one", &DefineUnsetRule},
    {"unset", "order", "Restore the default order of the methods", &DefineUnsetOrder},
    {"unset", "authorization", "Remove what terminals of a user group may do",
     &DefineUnsetAuthorization},
    {"unset", "station", "Forget one terminal", &DefineUnsetStation},
    {"unset", "unknown", "Delete the list of fingerprints that nothing matched",
     &DefineUnsetUnknown},
    {"import", nullptr, "Add or change the rules of a rule file", &DefineImport},
    {"export", nullptr, "Write the configured rules as a rule file", &DefineExport},
    {"try", nullptr, "Show which terminals a change would answer otherwise", &DefineTry},
    {"watch", nullptr, "Show identifications as they happen", &DefineWatch},
    {"backup", nullptr, "Save the daemon's configuration to a file", &DefineBackup},
    {"restore", nullptr, "Restore the configuration from a backup", &DefineRestore},
    {"reload", nullptr, "Make the daemon read its rule files again", &DefineReload},
    {"rebind", nullptr, "Move modifications of rules that are gone to their successors",
     &DefineRebind},
    {"check", "rules", "Check rule files", &DefineCheckRules},
};

}  // namespace

std::span<const Command> Commands() {
  return kCommands;
}

std::vector<std::string> Verbs() {
  std::vector<std::string> verbs;
  for (const Command& command : Commands()) {
    if (verbs.empty() || verbs.back() != command.verb) verbs.emplace_back(command.verb);
  }
  return verbs;
}

std::vector<std::string> NounsOf(std::string_view verb) {
  std::vector<std::string> nouns;
  for (const Command& command : Commands()) {
    if (verb == command.verb && command.noun != nullptr) nouns.emplace_back(command.noun);
  }
  return nouns;
}

}  // namespace byod::ctl
