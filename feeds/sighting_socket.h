// SPDX-License-Identifier: Apache-2.0
// Sends sightings to the daemon, and never waits for it.
#ifndef BYOD_FEEDS_SIGHTING_SOCKET_H
#define BYOD_FEEDS_SIGHTING_SOCKET_H

#include <sys/un.h>
#include <cstdint>

#include "feeds/sighting.h"
#include "net/descriptor.h"

namespace byod::feeds {

/**
 * The daemon's socket for sightings.
 *
 * What cannot be sent at once is lost: when the daemon is away, when its queue is full. The next
 * sighting that is sent says how many were. A daemon that was restarted is found again, since each
 * sighting is sent to the path.
 *
 * One thread at a time.
 */
class SightingSocket {
 public:
  /// @param path  without a room of its own in an address, more than 107 bytes, nothing is ever
  /// sent
  explicit SightingSocket(const char* path);

  /// @return 0, or the errno that says why the sighting is lost
  int Send(const Sighting& sighting);

  uint64_t sent() const { return sent_; }
  uint64_t dropped() const { return dropped_; }

 private:
  int TrySend(std::string_view datagram);

  sockaddr_un address_ = {};
  net::Descriptor socket_;
  uint64_t sent_ = 0;
  uint64_t dropped_ = 0;
  uint64_t reported_ = 0;  // of the dropped ones
};

}  // namespace byod::feeds

#endif  // BYOD_FEEDS_SIGHTING_SOCKET_H
