// SPDX-License-Identifier: Apache-2.0
#include "feeds/sighting_socket.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace byod::feeds {

SightingSocket::SightingSocket(const char* path) {
  address_.sun_family = AF_UNIX;
  const size_t size = std::strlen(path);
  if (size < sizeof address_.sun_path) std::memcpy(address_.sun_path, path, size);
}

int SightingSocket::TrySend(std::string_view datagram) {
  if (address_.sun_path[0] == '\0') return ENAMETOOLONG;
  if (!socket_) {
    socket_ = net::Descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  }
  if (!socket_) return errno;
  const ssize_t sent =
      sendto(socket_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&address_), sizeof address_);
  return sent < 0 ? errno : 0;
}

int SightingSocket::Send(const Sighting& sighting) {
  const int error = TrySend(Datagram(sighting, dropped_ - reported_).text());
  if (error != 0) {
    ++dropped_;
    return error;
  }
  reported_ = dropped_;
  ++sent_;
  return 0;
}

}  // namespace byod::feeds
