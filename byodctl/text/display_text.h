// SPDX-License-Identifier: Apache-2.0
// Text from outside, made safe for a terminal.
#ifndef BYODCTL_TEXT_DISPLAY_TEXT_H
#define BYODCTL_TEXT_DISPLAY_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace byod::ctl {

/// UTF-8 without anything that controls a terminal: control characters become '?', bytes that
/// are not UTF-8 become U+FFFD.
std::string Printable(std::string_view text);

/// As Printable, but bytes that are not UTF-8 stay: for a program that reads them back.
std::string WithoutControls(std::string_view text);

/// A text of JSON in UTF-8, in which what controls a terminal is escaped. Characters below U+0020
/// are left to the JSON library.
std::string WithEscapedControls(std::string_view json);

/// The width of a printable text in columns.
size_t DisplayWidth(std::string_view text);

/// A printable text of at most `max_width` columns; a longer one ends with an ellipsis.
std::string CutToWidth(std::string_view text, size_t max_width);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_DISPLAY_TEXT_H
