// SPDX-License-Identifier: Apache-2.0
// The daemon's configuration file: a line for each option, "name = value".
#ifndef LAUTHD_CONFIG_FILE_H
#define LAUTHD_CONFIG_FILE_H

#include <functional>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace byod::lauthd {

/// What a line sets. An option that takes no value has "true".
struct Setting {
  unsigned line;
  std::string name;
  std::string value;
};

/**
 * Reads the lines of a configuration file. Blank lines and those that begin with '#' or ';' are
 * comments; so is the rest of a line from a '#' with a blank before it. A value may stand in double
 * or single quotes.
 *
 * @param fault  (line, reason), called for each line that cannot be read
 */
std::vector<Setting> ReadSettings(std::istream& input,
                                  const std::function<void(unsigned, std::string)>& fault);

}  // namespace byod::lauthd

#endif  // LAUTHD_CONFIG_FILE_H
