// What a command that changes something reports at its end.
#ifndef BYODCTL_COMMANDS_CHANGE_REPORT_H
#define BYODCTL_COMMANDS_CHANGE_REPORT_H

#include <iostream>
#include <string>
#include <vector>

#include "byodctl/failure.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/json_line.h"

namespace byod::ctl {

/// For AddJsonOption.
constexpr char kChangeKeys[] = "changed";
constexpr char kChangeKeysWithWarnings[] = "changed, warnings";

/// It is not an error when nothing had to be changed. @return the exit status
inline int ReportChange(bool changed, bool json) {
  if (json) {
    WriteJsonLine({{"changed", changed}});
  } else if (!changed) {
    std::cerr << "byodctl: unchanged\n";
  }
  return kExitSuccess;
}

/// As above, with warnings on standard error, or in the object. They leave the status alone: the
/// change is made.
inline int ReportChange(bool changed, const std::vector<std::string>& warnings, bool json) {
  if (json) {
    WriteJsonLine({{"changed", changed}, {"warnings", warnings}});
    return kExitSuccess;
  }
  for (const std::string& warning : warnings)
    std::cerr << "byodctl: warning: " << Printable(warning) << '\n';
  return ReportChange(changed, json);
}

}  // namespace byod::ctl

#endif  // BYODCTL_COMMANDS_CHANGE_REPORT_H
