// SPDX-License-Identifier: Apache-2.0
// The report of a command that changes something.
#ifndef BYODCTL_COMMANDS_CHANGE_REPORT_H
#define BYODCTL_COMMANDS_CHANGE_REPORT_H

#include <optional>
#include <string>
#include <vector>

namespace byod::ctl {

/// For AddJsonOption.
constexpr char kChangeKeys[] = "changed";
constexpr char kChangeKeysWithWarnings[] = "changed, warnings";

/**
 * It is not an error if nothing had to be changed, nor if there are warnings: the change is made.
 *
 * @param warnings  nothing for a command that never warns
 * @return the exit status
 */
int ReportChange(bool changed, bool json,
                 const std::optional<std::vector<std::string>>& warnings = std::nullopt);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMANDS_CHANGE_REPORT_H
