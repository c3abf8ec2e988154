// SPDX-License-Identifier: Apache-2.0
// A time in the past, as people write it.
#ifndef BYODCTL_TEXT_SINCE_H
#define BYODCTL_TEXT_SINCE_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace byod::ctl {

/**
 * Reads "30s", "10m", "2h", "7d", so long ago, or "2026-02-28T12:34:56Z", with or without a
 * fraction.
 *
 * @param now  microseconds since 1970, as is the result
 */
std::optional<uint64_t> ParseSince(std::string_view text, uint64_t now);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_SINCE_H
