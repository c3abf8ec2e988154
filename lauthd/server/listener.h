// Taking clients in.
#ifndef LAUTHD_SERVER_LISTENER_H
#define LAUTHD_SERVER_LISTENER_H

#include <asio/awaitable.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>

#include "lauthd/server/socket_file.h"

namespace byod::lauthd {

class Daemon;

class Listener {
 public:
  /// @throws std::runtime_error  as SocketFile does
  explicit Listener(Daemon& daemon);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// Takes a few clients at a time, so that those that are connected are served in between. While
  /// there are too many, ends one that is idle for each one that comes, or waits. Waits too while
  /// the system has no more descriptors.
  asio::awaitable<void> Accept();

  void Stop();

 private:
  /// @return false when the system has no more descriptors, or no memory
  bool AcceptSome();
  bool Full() const;
  void MakeRoom();
  void TellOnce(const char* reason);
  asio::awaitable<void> Pause();

  Daemon& daemon_;
  SocketFile file_;
  asio::local::stream_protocol::acceptor acceptor_;
  asio::steady_timer room_;
  bool told_ = false;  // that clients have to wait
  std::chrono::steady_clock::time_point next_warning_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_LISTENER_H
