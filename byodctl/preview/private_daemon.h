// SPDX-License-Identifier: Apache-2.0
// A daemon in a process of its own, in which changes can be tried without touching the running one.
#ifndef BYODCTL_PREVIEW_PRIVATE_DAEMON_H
#define BYODCTL_PREVIEW_PRIVATE_DAEMON_H

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "byodctl/daemon/settings.h"
#include "net/scratch_directory.h"

namespace byod::ctl {

/// What a daemon was started with, as far as its answers depend on it.
struct DaemonSources {
  std::string rules;     ///< directory of rule files; empty = none
  std::string registry;  ///< directory of the registry; empty = none
  uint32_t rule_limit = 0;
  uint32_t carved_limit = 0;
  uint32_t module_makers = 0;  ///< as BYOD_EXT_MODULE_MAKERS
};

class PrivateDaemon {
 public:
  /**
   * Starts the daemon, which reads its files meanwhile. The program is the one that the environment
   * variable LAUTHD_PROGRAM names, else the one beside this program, else that of the search path.
   *
   * @throws Failure of kExitNoDaemon if it cannot be started
   */
  explicit PrivateDaemon(const DaemonSources& sources);
  /// Ends it and removes its files.
  ~PrivateDaemon();
  PrivateDaemon(const PrivateDaemon&) = delete;
  PrivateDaemon& operator=(const PrivateDaemon&) = delete;

  /// Waits until it accepts clients. @throws Failure of kExitNoDaemon with its message
  void WaitUntilReady();

  /// For clients of this daemon.
  const Settings& settings() const { return settings_; }

 private:
  [[noreturn]] void Fail() const;

  net::ScratchDirectory directory_;
  Settings settings_;
  pid_t process_ = -1;
};

}  // namespace byod::ctl

#endif  // BYODCTL_PREVIEW_PRIVATE_DAEMON_H
