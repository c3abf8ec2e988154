// SPDX-License-Identifier: Apache-2.0
// A number and what it counts.
#ifndef BYODCTL_TEXT_COUNTED_H
#define BYODCTL_TEXT_COUNTED_H

#include <cstddef>
#include <string>

namespace byod::ctl {

/// "1 error", "2 errors"
inline std::string Counted(size_t count, const char* what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_COUNTED_H
