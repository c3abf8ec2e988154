// SPDX-License-Identifier: Apache-2.0
// Where the daemon listens.
#ifndef BYOD_CFGMSG_ENDPOINT_H
#define BYOD_CFGMSG_ENDPOINT_H

#include <sys/socket.h>

namespace byod::cfgmsg {

struct Endpoint {
  int family;
  int protocol;
  sockaddr_storage address;
  socklen_t length;  // 0: there is no such address
};

/// The daemon's place on the device's own local transport.
Endpoint DeviceEndpoint();

/// The daemon's Unix socket: a fixed path, or what LAUTHD_SOCKET says to a program that is not
/// privileged.
Endpoint UnixEndpoint();

/// The one that this library was configured for.
Endpoint LauthdEndpoint();

}  // namespace byod::cfgmsg

#endif  // BYOD_CFGMSG_ENDPOINT_H
