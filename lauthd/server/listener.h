// SPDX-License-Identifier: Apache-2.0
// Accepts clients.
#ifndef LAUTHD_SERVER_LISTENER_H
#define LAUTHD_SERVER_LISTENER_H

#include <asio/awaitable.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <optional>

#include "lauthd/server/socket_file.h"

namespace byod::lauthd {

struct Runtime;

class Listener {
 public:
  /// @throws std::runtime_error  as SocketFile does
  explicit Listener(Runtime& runtime);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// Accepts a few clients at a time, so that those that are connected are served in between. At
  /// the limit of connections it closes an idle one for each new one, or waits; it also waits while
  /// the system has no more descriptors.
  asio::awaitable<void> Accept();

  void Stop();

 private:
  /// @return the listening descriptor, inherited or made
  int TakeSocket();

  /// @return false when the system has no more descriptors, or no memory
  bool AcceptSome();
  bool Full() const;
  void MakeRoom();
  void WarnOnce(const char* reason);
  asio::awaitable<void> Pause();

  Runtime& runtime_;
  std::optional<SocketFile> file_;  // none while the socket is the service manager's
  asio::local::stream_protocol::acceptor acceptor_;
  asio::steady_timer room_;
  bool warned_ = false;  // that clients have to wait
  std::chrono::steady_clock::time_point next_warning_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_LISTENER_H
