// SPDX-License-Identifier: Apache-2.0
// The process at the other end of a connection.
#ifndef LAUTHD_STATE_PEER_H
#define LAUTHD_STATE_PEER_H

#include <sys/types.h>

namespace byod::lauthd {

struct Peer {
  uid_t user = static_cast<uid_t>(-1);  // nobody
  bool may_change = false;              // root, the daemon's own user, the administration group
  bool trusted = false;                 // root or the daemon's own user
  bool may_report = false;              // sightings
  pid_t process = 0;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_PEER_H
