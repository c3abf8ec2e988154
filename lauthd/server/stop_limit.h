// SPDX-License-Identifier: Apache-2.0
// Ends the daemon even when a request never returns.
#ifndef LAUTHD_SERVER_STOP_LIMIT_H
#define LAUTHD_SERVER_STOP_LIMIT_H

namespace byod::lauthd {

/**
 * Ends the process with status 1, and a line on standard error, if it still runs so many seconds
 * after a signal to stop. A kernel timer with its own signal handler does this, so that it works
 * whatever the process is doing.
 *
 * @param signal  has a handler already, which is called as before
 */
void LimitStop(int signal, unsigned seconds);

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_STOP_LIMIT_H
