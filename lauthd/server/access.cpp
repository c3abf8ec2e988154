// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/access.h"

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace byod::lauthd {
namespace {

/// Whether the process that connected is in a group besides its first one.
bool HasFurtherGroup(int socket, gid_t group) {
#ifdef SO_PEERGROUPS
  std::vector<gid_t> groups(64);
  socklen_t size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
  if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) != 0) {
    // size is now what is needed.
    groups.resize(size / sizeof(gid_t));
    if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) != 0) return false;
  }
  groups.resize(size / sizeof(gid_t));
  return std::find(groups.begin(), groups.end(), group) != groups.end();
#else
  (void)socket, (void)group;
  return false;
#endif
}

}  // namespace

std::optional<gid_t> FindGroup(const std::string& name) {
  if (name.empty()) return std::nullopt;
  const group* const found = getgrnam(name.c_str());
  if (found == nullptr) throw std::runtime_error("no such group: \"" + name + "\"");
  return found->gr_gid;
}

Peer ReadPeer(int socket, std::optional<gid_t> admin_group, std::optional<gid_t> feed_group) {
  ucred credentials = {};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return {};
  const bool own = credentials.uid == 0 || credentials.uid == geteuid();
  const auto is_member = [&](std::optional<gid_t> group) {
    return group && (credentials.gid == *group || HasFurtherGroup(socket, *group));
  };
  const bool may_change = own || is_member(admin_group);
  const bool may_report = may_change || is_member(feed_group);
  return {credentials.uid, may_change, own, may_report, credentials.pid};
}

}  // namespace byod::lauthd
