// SPDX-License-Identifier: Apache-2.0
// The socket on which programs report terminals, one sighting in each datagram.
#ifndef LAUTHD_SERVER_SIGHTING_SOCKET_H
#define LAUTHD_SERVER_SIGHTING_SOCKET_H

#include <sys/socket.h>

#include <array>
#include <asio/posix/stream_descriptor.hpp>
#include <cstddef>

#include "lauthd/server/awaitable.h"
#include "lauthd/server/socket_file.h"
#include "lauthd/stations/sighting.h"

namespace byod::lauthd {

struct Runtime;

class SightingSocket {
 public:
  /// Makes the socket that the options name. The kernel says with each datagram who sent it.
  /// @throws std::runtime_error  as SocketFile does
  explicit SightingSocket(Runtime& runtime);
  SightingSocket(const SightingSocket&) = delete;
  SightingSocket& operator=(const SightingSocket&) = delete;

  /// Takes sightings, some at a time, so that clients are served in between.
  Awaitable<void> Receive();

  void Stop();

 private:
  static constexpr size_t kBatch = 32;

  /// @return whether there may be more
  bool ReceiveSome();
  void Take(const mmsghdr& received, const char* bytes);

  Runtime& runtime_;
  SocketFile file_;
  asio::posix::stream_descriptor socket_;
  // One byte more than a sighting may have: a longer one is seen to be too long.
  std::array<std::array<char, kMaxSightingBytes + 1>, kBatch> buffers_;
  std::array<std::array<char, CMSG_SPACE(sizeof(ucred))>, kBatch> controls_;
  Sighting sighting_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_SIGHTING_SOCKET_H
