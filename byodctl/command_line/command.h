// What a command of byodctl consists of.
#ifndef BYODCTL_COMMAND_LINE_COMMAND_H
#define BYODCTL_COMMAND_LINE_COMMAND_H

#include <CLI/App.hpp>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "byodctl/daemon/settings.h"
#include "byodctl/failure.h"

namespace byod::ctl {

/// Runs a command with the options that were parsed. @return the exit status
using Run = std::function<int()>;

struct Command {
  const char* verb;
  const char* noun;  ///< nullptr when the verb says it all
  const char* help;
  /// Declares the command's options. The settings are filled in when the command runs; they outlive
  /// it.
  Run (*define)(CLI::App& app, const Settings& settings);
};

/// All of them, those with the same verb side by side.
std::span<const Command> Commands();

/// The first words of all commands.
std::vector<std::string> Verbs();

/// The second words that a first one takes; none when it is a whole command.
std::vector<std::string> NounsOf(std::string_view verb);

Run DefineIdentify(CLI::App& app, const Settings& settings);
Run DefineShowRules(CLI::App& app, const Settings& settings);
Run DefineShowRule(CLI::App& app, const Settings& settings);
Run DefineShowOrder(CLI::App& app, const Settings& settings);
Run DefineShowCounts(CLI::App& app, const Settings& settings);
Run DefineShowStatus(CLI::App& app, const Settings& settings);
Run DefineShowUnknown(CLI::App& app, const Settings& settings);
Run DefineShowAuthorization(CLI::App& app, const Settings& settings);
Run DefineSetRule(CLI::App& app, const Settings& settings);
Run DefineSetOrder(CLI::App& app, const Settings& settings);
Run DefineSetAuthorization(CLI::App& app, const Settings& settings);
Run DefineUnsetRule(CLI::App& app, const Settings& settings);
Run DefineUnsetOrder(CLI::App& app, const Settings& settings);
Run DefineUnsetAuthorization(CLI::App& app, const Settings& settings);
Run DefineUnsetUnknown(CLI::App& app, const Settings& settings);
Run DefineImport(CLI::App& app, const Settings& settings);
Run DefineExport(CLI::App& app, const Settings& settings);
Run DefineWatch(CLI::App& app, const Settings& settings);
Run DefineBackup(CLI::App& app, const Settings& settings);
Run DefineRestore(CLI::App& app, const Settings& settings);
Run DefineReload(CLI::App& app, const Settings& settings);
Run DefineCheckRules(CLI::App& app, const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_COMMAND_H
