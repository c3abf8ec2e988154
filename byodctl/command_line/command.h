// SPDX-License-Identifier: Apache-2.0
// A command of byodctl, and the table of all of them.
#ifndef BYODCTL_COMMAND_LINE_COMMAND_H
#define BYODCTL_COMMAND_LINE_COMMAND_H

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "byodctl/command_line/parser.h"
#include "byodctl/daemon/settings.h"
#include "byodctl/failure.h"

namespace byod::ctl {

/// Runs a command with the options that were parsed. @return the exit status
using Run = std::function<int()>;

struct Command {
  const char* verb;
  const char* noun;  ///< nullptr for a command of one word
  const char* help;
  /// Declares the command's options. The settings are complete when the command runs, and outlive
  /// it.
  Run (*define)(Parser& parser, const Settings& settings);
};

/// All commands; those with the same verb follow one another.
std::span<const Command> Commands();

/// The first words of all commands.
std::vector<std::string> Verbs();

/// The second words that may follow a first one; none for a command of one word.
std::vector<std::string> NounsOf(std::string_view verb);

Run DefineIdentify(Parser& parser, const Settings& settings);
Run DefineShowRules(Parser& parser, const Settings& settings);
Run DefineShowRule(Parser& parser, const Settings& settings);
Run DefineShowOrder(Parser& parser, const Settings& settings);
Run DefineShowCounts(Parser& parser, const Settings& settings);
Run DefineShowStatus(Parser& parser, const Settings& settings);
Run DefineShowUnknown(Parser& parser, const Settings& settings);
Run DefineShowAuthorization(Parser& parser, const Settings& settings);
Run DefineShowStation(Parser& parser, const Settings& settings);
Run DefineShowStations(Parser& parser, const Settings& settings);
Run DefineShowFeeds(Parser& parser, const Settings& settings);
Run DefineSetRule(Parser& parser, const Settings& settings);
Run DefineSetOrder(Parser& parser, const Settings& settings);
Run DefineSetAuthorization(Parser& parser, const Settings& settings);
Run DefineUnsetRule(Parser& parser, const Settings& settings);
Run DefineUnsetOrder(Parser& parser, const Settings& settings);
Run DefineUnsetAuthorization(Parser& parser, const Settings& settings);
Run DefineUnsetUnknown(Parser& parser, const Settings& settings);
Run DefineUnsetStation(Parser& parser, const Settings& settings);
Run DefineImport(Parser& parser, const Settings& settings);
Run DefineExport(Parser& parser, const Settings& settings);
Run DefineWatch(Parser& parser, const Settings& settings);
Run DefineBackup(Parser& parser, const Settings& settings);
Run DefineRestore(Parser& parser, const Settings& settings);
Run DefineReload(Parser& parser, const Settings& settings);
Run DefineRebind(Parser& parser, const Settings& settings);
Run DefineTry(Parser& parser, const Settings& settings);
Run DefineCheckRules(Parser& parser, const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_COMMAND_H
