// SPDX-License-Identifier: Apache-2.0
// Suggests a word for an unknown one of a command line, a rule file or a configuration file.
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
 * Finds the known word that is most similar to an unknown one.
 *
 * A word is near if at most a third of its letters are wrong, or one if it has less than six.
 * If there is none, the only word that begins with the unknown one counts, if that has two letters
 * or more.
 *
 * @return the nearest word, of equally near ones one with the same first letter, else the first in
 *         the list; empty when no word is near
 */
std::string NearestWord(std::string_view wrong, const std::vector<std::string>& words);

/**
 * The end of a message about an unknown word, the same for all such messages.
 *
 * @return `; did you mean "rules"?`; empty when no word is near
 */
std::string DidYouMean(std::string_view wrong, const std::vector<std::string>& words);

}  // namespace byod::text

#endif  // BYOD_TEXT_NEAREST_WORD_H
