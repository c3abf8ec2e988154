// The identification methods as they are written on the command line and in output.
#ifndef BYODCTL_METHOD_NAMES_H
#define BYODCTL_METHOD_NAMES_H

#include "byod_data.h"

namespace byod::ctl {

/// By BYOD_METHOD_*.
constexpr const char* kMethodNames[BYOD_METHOD_COUNT] = {"dhcp", "user-agent", "mac"};

}  // namespace byod::ctl

#endif  // BYODCTL_METHOD_NAMES_H
