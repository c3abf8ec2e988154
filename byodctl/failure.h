// SPDX-License-Identifier: Apache-2.0
// How a command fails.
#ifndef BYODCTL_FAILURE_H
#define BYODCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace byod::ctl {

enum ExitStatus {
  kExitSuccess = 0,
  kExitBadInput = 1,    ///< of the command line, a file or a line of input
  kExitNoDaemon = 2,    ///< the daemon is not running, or does not answer
  kExitUnknown = 3,     ///< a terminal is not identified, or there is no such rule or set
  kExitPermission = 4,  ///< this user may not do that
  kExitRefused = 5      ///< the daemon refuses, with a reason
};

/// Ends the command; what() is printed on standard error.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& what) : std::runtime_error(what), status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_FAILURE_H
