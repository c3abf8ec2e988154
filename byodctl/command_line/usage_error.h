// SPDX-License-Identifier: Apache-2.0
// Messages for command lines that cannot be parsed.
#ifndef BYODCTL_COMMAND_LINE_USAGE_ERROR_H
#define BYODCTL_COMMAND_LINE_USAGE_ERROR_H

#include <string>

#include "byodctl/text/word_list.h"

namespace byod::ctl {

/// Where the parser stopped, and why.
struct UsageFault {
  enum Kind {
    kMissing,         ///< a required argument
    kConflict,        ///< between two options
    kFlagValue,       ///< a flag was given a value
    kNumberOfValues,  ///< an option lacks its value, or has two
    kOther
  };

  Kind kind = kOther;
  std::string message;      ///< the parser's
  std::string command;      ///< "byodctl show rules", as far as it was read
  Words options;            ///< those of the command and those of all commands, "--json"
  bool takes_kind = false;  ///< the command has an argument KIND
  Words extras;             ///< arguments that the parser did not take
  Words missing;            ///< required arguments that are not given
};

/// @return one line that names the option or argument, and the most similar one that exists
std::string UsageError(const UsageFault& fault);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_USAGE_ERROR_H
