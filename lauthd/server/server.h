// SPDX-License-Identifier: Apache-2.0
// The daemon's event loop, from start to stop.
#ifndef LAUTHD_SERVER_SERVER_H
#define LAUTHD_SERVER_SERVER_H

#include <asio/signal_set.hpp>
#include <memory>

#include "lauthd/options.h"
#include "lauthd/server/listener.h"
#include "lauthd/server/runtime.h"
#include "lauthd/server/sighting_socket.h"

namespace byod::lauthd {

class Server {
 public:
  /// @throws std::runtime_error  for a group that does not exist
  explicit Server(const Options& options) : runtime_(options) {}

  /// Makes the socket, so that a second daemon stops before it touches anything. Clients may
  /// connect from here on, and wait; so do signals. @throws std::runtime_error  when it cannot
  /// listen
  void Listen();

  /// Loads the rules. @throws std::runtime_error  without memory for them
  void Load() { runtime_.state.Load(); }

  /// Serves clients until a signal ends it. @throws std::bad_alloc  before it serves any
  void Run();

 private:
  bool RunOnce();
  void Stop();

  Runtime runtime_;
  std::unique_ptr<Listener> listener_;
  Connections::Clock::time_point next_turn_;
  std::unique_ptr<SightingSocket> sightings_;  // null: none is configured
  // The signals that end the daemon, and those that reload; caught from Listen on.
  asio::signal_set stop_{runtime_.io};
  asio::signal_set hangup_{runtime_.io};
  bool reload_requested_ = false;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_SERVER_H
