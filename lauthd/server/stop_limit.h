// A stop that does not wait for a request that never comes back.
#ifndef LAUTHD_SERVER_STOP_LIMIT_H
#define LAUTHD_SERVER_STOP_LIMIT_H

namespace byod::lauthd {

/**
 * Ends the process with status 1, and a word on standard error, if it still runs so many seconds
 * after a signal that asks it to stop. The timer is the kernel's and its signal has a handler of
 * its own, so that it works whatever the process is doing.
 *
 * @param signal  has a handler already, which is called as before
 */
void LimitStop(int signal, unsigned seconds);

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_STOP_LIMIT_H
