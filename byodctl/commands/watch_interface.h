// SPDX-License-Identifier: Apache-2.0
// byodctl watch --interface: the stations whose packets pass an interface.
#ifndef BYODCTL_COMMANDS_WATCH_INTERFACE_H
#define BYODCTL_COMMANDS_WATCH_INTERFACE_H

#include <cstdint>
#include <optional>
#include <string>

#include "byodctl/daemon/settings.h"
#include "byodctl/identification/identifier_options.h"

namespace byod::ctl {

struct InterfaceOptions {
  std::string interface;
  IdentifierOptions identifier;
  std::optional<uint64_t> count;  ///< exits after this many lines
  bool json = false;
};

/// @return the exit status
int WatchInterface(const InterfaceOptions& options, const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMANDS_WATCH_INTERFACE_H
