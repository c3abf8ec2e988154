// SPDX-License-Identifier: Apache-2.0
// Which clients may change the configuration.
#ifndef LAUTHD_SERVER_ACCESS_H
#define LAUTHD_SERVER_ACCESS_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "lauthd/state/peer.h"

namespace byod::lauthd {

/// @return the id of a group, none for an empty name. @throws std::runtime_error  for an unknown
/// group
std::optional<gid_t> FindGroup(const std::string& name);

/**
 * Root, the daemon's own user and the members of the administration group may change the
 * configuration; every client that can connect may read it. Members of the feeds' group may also
 * report sightings.
 *
 * @param socket       a connected Unix socket
 * @param admin_group  none: no group counts
 * @param feed_group   likewise
 */
Peer ReadPeer(int socket, std::optional<gid_t> admin_group,
              std::optional<gid_t> feed_group = std::nullopt);

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_ACCESS_H
