// Text from outside, made fit for a terminal.
#ifndef BYODCTL_TEXT_DISPLAY_TEXT_H
#define BYODCTL_TEXT_DISPLAY_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace byod::ctl {

/// UTF-8 that a terminal only shows and does not obey: control characters become '?', bytes that
/// are not UTF-8 become U+FFFD.
std::string Printable(std::string_view text);

/// As Printable, but bytes that are not UTF-8 stay: for a program that reads them back.
std::string WithoutControls(std::string_view text);

/// The columns that a printable text takes.
size_t DisplayWidth(std::string_view text);

/// A printable text of at most `most` columns; the end of a longer one becomes an ellipsis.
std::string CutToWidth(std::string_view text, size_t most);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_DISPLAY_TEXT_H
