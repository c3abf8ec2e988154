// SPDX-License-Identifier: Apache-2.0
// The names of the identification methods, in arguments and output.
#ifndef BYODCTL_TEXT_METHOD_NAMES_H
#define BYODCTL_TEXT_METHOD_NAMES_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "byod_data.h"

namespace byod::ctl {

/// By BYOD_METHOD_*.
constexpr const char* kMethodNames[BYOD_METHOD_COUNT] = {"dhcp", "user-agent", "mac"};

/**
 * Reads the name of a method, or of a kind of rule, which is the same: "dhcp", "dhcp-option",
 * "user-agent", "ua", "mac", their beginnings, in upper or lower case, with blanks around them.
 *
 * @return BYOD_METHOD_*, or nothing
 */
std::optional<uint32_t> MethodOf(std::string_view word);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_METHOD_NAMES_H
