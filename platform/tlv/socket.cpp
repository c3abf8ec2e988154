// SPDX-License-Identifier: Apache-2.0
#include "platform/tlv/socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace lauth::tlv {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Waits after EAGAIN until the socket is ready. On a blocking socket EAGAIN says that its timeout
// is over; a non-blocking one is given the same timeout here.
bool Wait(int socket, short event, int timeout_option) {
  const int flags = fcntl(socket, F_GETFL);
  if (flags < 0 || (flags & O_NONBLOCK) == 0) return false;

  timeval timeout{};
  socklen_t size = sizeof timeout;
  if (getsockopt(socket, SOL_SOCKET, timeout_option, &timeout, &size) != 0) return false;
  const bool forever = timeout.tv_sec == 0 && timeout.tv_usec == 0;
  const auto end = Clock::now() + std::chrono::seconds(timeout.tv_sec) +
                   std::chrono::microseconds(timeout.tv_usec);
  for (;;) {
    int left = -1;
    if (!forever) {
      // Rounded up: a poll that returns early would only be repeated.
      const auto ms = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
      left = static_cast<int>(std::clamp<decltype(ms)>(ms, 0, 60'000));
    }
    pollfd ready{socket, event, 0};
    const int count = poll(&ready, 1, left);
    if (count > 0) return true;  // an error or a hang-up shows in the next call
    if (count < 0 && errno != EINTR) return false;
    if (!forever && Clock::now() >= end) return false;
  }
}

bool WouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

bool SendAll(int socket, const uint8_t* bytes, size_t count) {
  while (count > 0) {
    const ssize_t sent = send(socket, bytes, count, MSG_NOSIGNAL);
    if (sent > 0) {
      bytes += sent;
      count -= static_cast<size_t>(sent);
    } else if (sent == 0 ||
               (errno != EINTR && !(WouldBlock(errno) && Wait(socket, POLLOUT, SO_SNDTIMEO)))) {
      return false;
    }
  }
  return true;
}

size_t ReceiveSome(int socket, uint8_t* out, size_t count) {
  for (;;) {
    const ssize_t received = recv(socket, out, count, 0);
    if (received >= 0) return static_cast<size_t>(received);
    if (errno == EINTR) continue;
    if (!WouldBlock(errno) || !Wait(socket, POLLIN, SO_RCVTIMEO)) return 0;
  }
}

}  // namespace lauth::tlv
