// SPDX-License-Identifier: Apache-2.0
// A copy of the running daemon, in which a change is tried.
#ifndef BYODCTL_PREVIEW_TRIAL_H
#define BYODCTL_PREVIEW_TRIAL_H

#include <memory>
#include <optional>
#include <string>

#include "byodctl/daemon/client.h"
#include "byodctl/preview/private_daemon.h"

namespace byod::ctl {

/// What the running daemon was started with; nothing if it is older and does not say. @throws
/// Refusal
std::optional<DaemonSources> SourcesOf(Client& client);

/// The configuration of the running daemon, which is not disturbed. @throws Refusal
std::string BackupOf(Client& client);

/// A daemon of its own with a configuration.
class Trial {
 public:
  /// Starts it. @throws Failure
  explicit Trial(const DaemonSources& sources) : daemon_(sources) {}

  /// Waits for it and restores the backup. @throws Failure
  void Restore(const std::string& backup);

  const Settings& settings() const { return daemon_.settings(); }

 private:
  PrivateDaemon daemon_;
};

/// @throws Failure if the daemon does not say how it was started
DaemonSources KnownSourcesOf(Client& client);

/// A daemon with the rule files and the configuration of the running one. @throws Failure
std::unique_ptr<Trial> CopyOfDaemon(const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_PREVIEW_TRIAL_H
