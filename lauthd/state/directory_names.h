// SPDX-License-Identifier: Apache-2.0
// The names in a directory. The iterator of the standard library ends the process where it has no
// memory for a path.
#ifndef LAUTHD_STATE_DIRECTORY_NAMES_H
#define LAUTHD_STATE_DIRECTORY_NAMES_H

#include <string>
#include <vector>

namespace byod::lauthd {

/// @return in no order; empty for a directory that cannot be read. @throws std::bad_alloc
std::vector<std::string> NamesIn(const std::string& directory);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_DIRECTORY_NAMES_H
