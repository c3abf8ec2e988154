// SPDX-License-Identifier: Apache-2.0
// UTF-8 text that has to fit a field of fixed width.
#ifndef BYOD_RULEFILES_TEXT_H
#define BYOD_RULEFILES_TEXT_H

#include <cstddef>
#include <string_view>

namespace byod::rulefiles {

bool IsUtf8(std::string_view text);

/// The longest beginning of a UTF-8 text that has at most `most` bytes and ends with a whole
/// character.
std::string_view CutAtCharacter(std::string_view text, size_t most);

/// Without the blanks and line ends around it.
std::string_view Trimmed(std::string_view text);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_TEXT_H
