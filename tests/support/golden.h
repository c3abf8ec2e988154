// SPDX-License-Identifier: Apache-2.0
// Bytes that are kept as text: lines of a name, a colon and hexadecimal digits; a line that begins
// with blanks continues the one above, and what follows a '#' is a comment.
#ifndef TESTS_SUPPORT_GOLDEN_H
#define TESTS_SUPPORT_GOLDEN_H

#include <map>
#include <string>

namespace support {

/// The bytes by name out of tests/golden/FILE.
std::map<std::string, std::string> ReadGolden(const std::string& file);

/// As ReadGolden writes it down, for the message of a failure.
std::string Hex(const std::string& bytes);

}  // namespace support

#endif  // TESTS_SUPPORT_GOLDEN_H
