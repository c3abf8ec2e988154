// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/client_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace byod::lauthd {

void ClientSocket::Close() {
  if (std::exchange(closed_, true)) return;
  asio::error_code ignored;
  if (stream_) {
    stream_->close(ignored);
  } else {
    close(descriptor_);
  }
  descriptor_ = -1;
}

ClientSocket::Stream& ClientSocket::stream() {
  if (!stream_) stream_.emplace(io_, asio::local::stream_protocol(), descriptor_);
  return *stream_;
}

Awaitable<bool> ClientSocket::Wait(Stream::wait_type what) {
  if (closed_) co_return false;
  const asio::error_code error =
      co_await Operation([&](auto done) { stream().async_wait(what, std::move(done)); });
  co_return !error && !closed_;
}

ssize_t ClientSocket::Peek() const {
  char byte;
  return recv(descriptor_, &byte, 1, MSG_DONTWAIT | MSG_PEEK);
}

bool ClientSocket::PeerHasGone() const {
  pollfd socket = {descriptor_, 0, 0};
  return poll(&socket, 1, 0) > 0 && (socket.revents & (POLLHUP | POLLERR)) != 0;
}

}  // namespace byod::lauthd
