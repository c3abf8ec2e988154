// Connecting within a time: a daemon that does not accept lets connect wait for ever.
#ifndef BYODCTL_DAEMON_CONNECT_GUARD_H
#define BYODCTL_DAEMON_CONNECT_GUARD_H

#include <chrono>
#include <string>

#include "byodctl/daemon/settings.h"

namespace byod::ctl {

/// Where the daemon is expected, for people.
std::string PlaceOfDaemon(const Settings& settings);

/**
 * Connects by the library, over the transport that it was configured for.
 *
 * When the time is over the process ends with kExitNoDaemon and a message on standard error: the
 * library takes a connect up again that a signal interrupts, so there is nothing to return to.
 *
 * @return a connected socket, or a negative number, errno telling why
 */
int ConnectWithin(std::chrono::milliseconds time, const Settings& settings,
                  const std::string& place);

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_CONNECT_GUARD_H
