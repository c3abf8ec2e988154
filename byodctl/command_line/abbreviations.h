// SPDX-License-Identifier: Apache-2.0
// Words of the command line that may be abbreviated as long as they are unambiguous.
#ifndef BYODCTL_COMMAND_LINE_ABBREVIATIONS_H
#define BYODCTL_COMMAND_LINE_ABBREVIATIONS_H

#include <string>
#include <string_view>
#include <vector>

namespace byod::ctl {

/**
 * Completes an abbreviated word.
 *
 * @return the word; the text itself if no word begins with it
 * @throws Failure of kExitBadInput when several words begin with it, naming them
 */
std::string FullWord(std::string_view text, const std::vector<std::string>& words);

/**
 * Rewrites a command line for the parser: verb and noun in full, `help COMMAND` as
 * `COMMAND --help`, and a --json before the command after it.
 *
 * @throws Failure of kExitBadInput for words that are not a command, with the command that is
 *         probably meant
 */
std::vector<std::string> WithFullCommand(std::vector<std::string> arguments);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_ABBREVIATIONS_H
