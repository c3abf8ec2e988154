// Words of the command line that may be cut short as long as they are clear.
#ifndef BYODCTL_WORDS_H
#define BYODCTL_WORDS_H

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

/// Writes the verb and noun of a command line out in full. Words that are unknown stay, for the
/// parser to refuse.
std::vector<std::string> WithFullCommand(std::vector<std::string> arguments);

}  // namespace byod::ctl

#endif  // BYODCTL_WORDS_H
