// byodctl watch --interface: the stations that packets on an interface tell of.
#ifndef BYODCTL_WATCH_INTERFACE_H
#define BYODCTL_WATCH_INTERFACE_H

#include <cstdint>
#include <string>

#include "byodctl/identifier_options.h"
#include "byodctl/settings.h"

namespace byod::ctl {

struct InterfaceOptions {
  std::string interface;
  IdentifierOptions identifier;
  uint64_t count = 0;  ///< ends after so many lines; 0 = without end
  bool json = false;
};

/// @return the exit status
int WatchInterface(const InterfaceOptions& options, const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_WATCH_INTERFACE_H
