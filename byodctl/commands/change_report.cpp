// SPDX-License-Identifier: Apache-2.0
#include "byodctl/commands/change_report.h"

#include <iostream>

#include "byodctl/failure.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/json.h"

namespace byod::ctl {

int ReportChange(bool changed, bool json, const std::optional<std::vector<std::string>>& warnings) {
  if (json) {
    Json object = {{"changed", changed}};
    if (warnings) object.Set("warnings", *warnings);
    WriteJsonLine(object);
    return kExitSuccess;
  }
  for (const std::string& warning : warnings.value_or(std::vector<std::string>{}))
    std::cerr << "byodctl: warning: " << Printable(warning) << '\n';
  if (!changed) std::cerr << "byodctl: unchanged\n";
  return kExitSuccess;
}

}  // namespace byod::ctl
