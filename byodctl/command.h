// What a command of byodctl consists of.
#ifndef BYODCTL_COMMAND_H
#define BYODCTL_COMMAND_H

#include <CLI/App.hpp>
#include <functional>

namespace byod::ctl {

enum ExitStatus {
  kExitSuccess = 0,
  kExitBadInput = 1,  ///< of the command line, a file or a line of input
  kExitUnknown = 3    ///< something was not identified
};

/// Runs a command with the options that were parsed. @return the exit status
using Run = std::function<int()>;

struct Command {
  const char* name;
  const char* help;
  /// Declares the command's options.
  Run (*define)(CLI::App& app);
};

Run DefineIdentify(CLI::App& app);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_H
