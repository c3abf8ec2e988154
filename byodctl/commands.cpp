// The table of commands.
#include "byodctl/command.h"

namespace byod::ctl {
namespace {

constexpr Command kCommands[] = {
    {"identify", nullptr, "Tell vendor, category, OS and name of terminals", &DefineIdentify},
    {"show", "rules", "List the rules", &DefineShowRules},
    {"show", "rule", "Show one rule", &DefineShowRule},
    {"show", "order", "Show the order of the methods", &DefineShowOrder},
    {"show", "counts", "Show how many rules there are", &DefineShowCounts},
    {"show", "status", "Show the state of the daemon", &DefineShowStatus},
    {"show", "unknown", "List the fingerprints that nothing matched", &DefineShowUnknown},
    {"show", "authorization", "List what terminals of user groups may do",
     &DefineShowAuthorization},
    {"set", "rule", "Make a rule, or change what one says", &DefineSetRule},
    {"set", "order", "Set the order of the methods", &DefineSetOrder},
    {"set", "authorization", "Set what terminals of a user group may do", &DefineSetAuthorization},
    {"unset", "rule", "Delete a rule, or take back what was set of one", &DefineUnsetRule},
    {"unset", "order", "Go back to the default order", &DefineUnsetOrder},
    {"unset", "authorization", "Take back what terminals of a user group may do",
     &DefineUnsetAuthorization},
    {"unset", "unknown", "Forget the fingerprints that nothing matched", &DefineUnsetUnknown},
    {"import", nullptr, "Set the rules of a rule file", &DefineImport},
    {"export", nullptr, "Write the configured rules as a rule file", &DefineExport},
    {"watch", nullptr, "Show identifications as they happen", &DefineWatch},
    {"backup", nullptr, "Save the daemon's database", &DefineBackup},
    {"restore", nullptr, "Bring a saved database back", &DefineRestore},
    {"reload", nullptr, "Have the daemon read its rule files anew", &DefineReload},
    {"check", "rules", "Check rule files", &DefineCheckRules},
};

}  // namespace

std::span<const Command> Commands() {
  return kCommands;
}

}  // namespace byod::ctl
