// SPDX-License-Identifier: Apache-2.0
// Settings of all commands: which daemon, and how long it may take to answer.
#ifndef BYODCTL_DAEMON_SETTINGS_H
#define BYODCTL_DAEMON_SETTINGS_H

#include <string>

namespace byod::ctl {

struct Settings {
  std::string socket;      ///< empty = the default
  double timeout_s = 5.0;  ///< for connecting, for sending a request and for each reply
};

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_SETTINGS_H
