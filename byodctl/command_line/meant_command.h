// SPDX-License-Identifier: Apache-2.0
// Suggests a command for words that are not one.
#ifndef BYODCTL_COMMAND_LINE_MEANT_COMMAND_H
#define BYODCTL_COMMAND_LINE_MEANT_COMMAND_H

#include <string>

namespace byod::ctl {

/**
 * Names the unknown command and the most similar one, by spelling or by meaning:
 * `list rules` is `show rules`, and so is `rules` alone.
 *
 * @param first, second  the first two words of the command line; the second may be empty and may be
 *                       an argument rather than a word of the command
 * @return the message
 */
std::string UnknownCommand(const std::string& first, const std::string& second);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_MEANT_COMMAND_H
