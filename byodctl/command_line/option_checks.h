// SPDX-License-Identifier: Apache-2.0
// Checks of option values. Messages name the value and what is allowed.
#ifndef BYODCTL_COMMAND_LINE_OPTION_CHECKS_H
#define BYODCTL_COMMAND_LINE_OPTION_CHECKS_H

#include <functional>
#include <string>

#include "byodctl/text/word_list.h"

namespace byod::ctl {

/// @return what is wrong with a value; empty = nothing
using OptionCheck = std::function<std::string(const std::string&)>;

/// One of these words.
OptionCheck OneOf(Words words);
OptionCheck WholeNumber();
/// @param range  for the message: "0.001 to 86400"
OptionCheck SecondsBetween(double min, double max, std::string range);
/// A directory that exists.
OptionCheck Directory();

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_OPTION_CHECKS_H
