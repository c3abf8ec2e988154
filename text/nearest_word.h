// The word that was probably meant: wrong words of a command line, a rule file or a configuration
// file are reported with the right one that is nearest.
#ifndef BYOD_TEXT_NEAREST_WORD_H
#define BYOD_TEXT_NEAREST_WORD_H

#include <string>
#include <string_view>
#include <vector>

namespace byod::text {

/**
 * Counts the letters to insert, delete, replace or swap with their neighbour to turn one word into
 * the other. Upper and lower case are the same.
 */
size_t EditDistance(std::string_view a, std::string_view b);

/**
 * Finds the word that is nearest to a wrong one.
 *
 * Near is a word with up to one wrong letter in three (one in a word of less than six letters);
 * when there is none, the only word that begins with the wrong one, if that has two letters or
 * more.
 *
 * @return the nearest word, of equally near ones one with the same first letter, else the first in
 *         the list; empty when no word is near
 */
std::string NearestWord(std::string_view wrong, const std::vector<std::string>& words);

/**
 * The end of a message about a wrong word, so that all of them read alike.
 *
 * @return `; did you mean "rules"?`; empty when no word is near
 */
std::string DidYouMean(std::string_view wrong, const std::vector<std::string>& words);

}  // namespace byod::text

#endif  // BYOD_TEXT_NEAREST_WORD_H
