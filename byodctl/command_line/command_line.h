// SPDX-License-Identifier: Apache-2.0
// The command line as a whole.
#ifndef BYODCTL_COMMAND_LINE_COMMAND_LINE_H
#define BYODCTL_COMMAND_LINE_COMMAND_LINE_H

#include <memory>
#include <string>
#include <vector>

#include "byodctl/command_line/command.h"
#include "byodctl/daemon/settings.h"

namespace byod::ctl {

class CommandLine {
 public:
  /// Declares the options of all commands. @param settings  filled in by Parse; outlive this
  explicit CommandLine(Settings& settings);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /**
   * Writes help or the version to standard output where the arguments ask for it.
   *
   * @param arguments  without the program's name
   * @return runs the command; empty when help or the version was written. Valid as long as this
   * @throws Failure of kExitBadInput that says what is wrong
   */
  Run Parse(std::vector<std::string> arguments);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_COMMAND_LINE_H
