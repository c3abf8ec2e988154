// What a command that changes something reports at its end.
#ifndef BYODCTL_CHANGE_REPORT_H
#define BYODCTL_CHANGE_REPORT_H

#include <iostream>

#include "byodctl/failure.h"
#include "byodctl/json_line.h"

namespace byod::ctl {

/// For AddJsonOption.
constexpr char kChangeKeys[] = "changed";

/// It is not an error when nothing had to be changed. @return the exit status
inline int ReportChange(bool changed, bool json) {
  if (json) {
    WriteJsonLine({{"changed", changed}});
  } else if (!changed) {
    std::cerr << "byodctl: unchanged\n";
  }
  return kExitSuccess;
}

}  // namespace byod::ctl

#endif  // BYODCTL_CHANGE_REPORT_H
