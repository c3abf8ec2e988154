// SPDX-License-Identifier: Apache-2.0
// Connects with a time limit: connect waits for ever when the daemon does not accept.
#ifndef BYODCTL_DAEMON_CONNECT_GUARD_H
#define BYODCTL_DAEMON_CONNECT_GUARD_H

#include <chrono>
#include <string>

#include "byodctl/daemon/settings.h"

namespace byod::ctl {

/// The address of the daemon, for messages.
std::string PlaceOfDaemon(const Settings& settings);

/**
 * Connects by the library, with the transport that it is configured for.
 *
 * After that time the process ends with kExitNoDaemon and a message on standard error: the library
 * resumes a connect that a signal interrupts, so there is no way to return from it.
 *
 * @return a connected socket, or a negative number, with the reason in errno
 */
int ConnectWithin(std::chrono::milliseconds time, const Settings& settings,
                  const std::string& place);

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_CONNECT_GUARD_H
