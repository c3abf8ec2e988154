// Words of the command line that may be abbreviated as long as they are unambiguous.
#ifndef BYODCTL_COMMAND_LINE_ABBREVIATIONS_H
#define BYODCTL_COMMAND_LINE_ABBREVIATIONS_H

#include <string>
#include <string_view>
#include <vector>

namespace byod::ctl {

/**
 * Finds the word that a text is, or is the beginning of.
 *
 * @return the word; the text itself when it begins none
 * @throws Failure of kExitBadInput when it begins several, naming them
 */
std::string FullWord(std::string_view text, const std::vector<std::string>& words);

/**
 * Writes a command line as the parser takes it: verb and noun in full, `help COMMAND` as
 * `COMMAND --help`, and a --json in front of the command behind it.
 *
 * @throws Failure of kExitBadInput for words that are no command, with the command that was
 *         probably meant
 */
std::vector<std::string> WithFullCommand(std::vector<std::string> arguments);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_ABBREVIATIONS_H
