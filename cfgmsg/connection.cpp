// SPDX-License-Identifier: Apache-2.0
#include "cfgmsg/connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "cfgmsg/endpoint.h"

namespace {

/// Closes a socket and leaves errno as it was, so that the caller can report why there is no
/// connection.
int Abandon(int socket) {
  const int reason = errno;
  close(socket);
  errno = reason;
  return -1;
}

}  // namespace

int BYOD_cfgmsg_ConnectToLauthd() {
  const byod::cfgmsg::Endpoint endpoint = byod::cfgmsg::LauthdEndpoint();
  const int connection = socket(endpoint.family, SOCK_STREAM, endpoint.protocol);
  if (connection < 0) return connection;
  if (endpoint.length == 0) {
    errno = ENAMETOOLONG;
    return Abandon(connection);
  }
  const auto* const address = reinterpret_cast<const sockaddr*>(&endpoint.address);
  while (connect(connection, address, endpoint.length) != 0) {
    // A connect that a signal interrupted may have gone through in the meantime.
    if (errno == EISCONN) break;
    if (errno != EINTR) return Abandon(connection);
  }
  return connection;
}

int BYOD_Init() {
  return BYOD_cfgmsg_ConnectToLauthd();
}

void BYOD_Fini(int connection) {
  if (connection >= 0) close(connection);
}
