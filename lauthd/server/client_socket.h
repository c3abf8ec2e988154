// SPDX-License-Identifier: Apache-2.0
// The socket of one client.
#ifndef LAUTHD_SERVER_CLIENT_SOCKET_H
#define LAUTHD_SERVER_CLIENT_SOCKET_H

#include <sys/types.h>

#include <asio/basic_stream_socket.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <optional>

#include "lauthd/server/awaitable.h"

namespace byod::lauthd {

class ClientSocket {
 public:
  // The executor by its own type: behind a type-erased one every step of a coroutine costs more.
  using Executor = asio::io_context::executor_type;
  using Stream = asio::basic_stream_socket<asio::local::stream_protocol, Executor>;

  /// @param descriptor  of a connected, non-blocking socket; owned
  ClientSocket(asio::io_context& io, int descriptor) : io_(io), descriptor_(descriptor) {}
  ~ClientSocket() { Close(); }
  ClientSocket(const ClientSocket&) = delete;
  ClientSocket& operator=(const ClientSocket&) = delete;

  /// Ends all waits for the socket.
  void Close();
  bool closed() const { return closed_; }

  /// For direct calls; -1 when closed.
  int descriptor() const { return descriptor_; }

  /// The socket registered with the reactor, which a short visit can do without.
  Stream& stream();

  /// Waits until the socket can be read or written. @return false when it is closed or broken
  Awaitable<bool> Wait(Stream::wait_type what);

  /// Looks for bytes that have arrived. @return as recv does: 0 at the end, -1 with errno
  ssize_t Peek() const;

  /// Whether nobody can read a reply. A client that only closed its sending side still can.
  bool PeerHasGone() const;

 private:
  asio::io_context& io_;
  int descriptor_;
  std::optional<Stream> stream_;  // once something is waited for; owns the descriptor then
  bool closed_ = false;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_CLIENT_SOCKET_H
