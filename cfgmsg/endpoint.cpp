// SPDX-License-Identifier: Apache-2.0
#include "cfgmsg/endpoint.h"

#include <sys/un.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "byod_cfgmsg.h"
#include "data/bounded_copy.h"

namespace byod::cfgmsg {
namespace {

constexpr int kDeviceFamily = 37;
constexpr int kDeviceProtocol = 1;

}  // namespace

Endpoint DeviceEndpoint() {
  constexpr ByodLauthdAddr kAddress = {
      sizeof(ByodLauthdAddr),
      kDeviceFamily,
      {BYOD_LAUTHD_SERVICE >> 8, BYOD_LAUTHD_SERVICE & 0xFF},
      {0x80, 0, 0, 0},
      {},
  };
  Endpoint endpoint = {kDeviceFamily, kDeviceProtocol, {}, sizeof kAddress};
  std::memcpy(&endpoint.address, &kAddress, sizeof kAddress);
  return endpoint;
}

Endpoint UnixEndpoint() {
  const char* path = secure_getenv("LAUTHD_SOCKET");
  if (path == nullptr || path[0] == '\0') path = BYOD_LAUTHD_SOCKET;
  Endpoint endpoint = {AF_UNIX, 0, {}, 0};
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (std::strlen(path) < sizeof address.sun_path) {
    CopyText(address.sun_path, path);
    std::memcpy(&endpoint.address, &address, sizeof address);
    endpoint.length = sizeof address;
  }
  return endpoint;
}

Endpoint LauthdEndpoint() {
#if defined(BYOD_TRANSPORT_DEVICE)
  return DeviceEndpoint();
#else
  return UnixEndpoint();
#endif
}

}  // namespace byod::cfgmsg
