// SPDX-License-Identifier: Apache-2.0
// Accepts clients.
#ifndef LAUTHD_SERVER_LISTENER_H
#define LAUTHD_SERVER_LISTENER_H

#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <list>
#include <memory>
#include <optional>

#include "lauthd/repeated_warning.h"
#include "lauthd/server/awaitable.h"
#include "lauthd/server/socket_file.h"
#include "lauthd/state/shared_places.h"
#include "net/descriptor.h"

namespace byod::lauthd {

struct Runtime;

class Listener {
 public:
  /// @throws std::runtime_error  as SocketFile does
  explicit Listener(Runtime& runtime);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// Accepts a few clients at a time, so that those that are connected are served in between. One
  /// for which there is no place closes an idle one, or waits until there is one. Nobody is
  /// accepted while the system has no more descriptors.
  Awaitable<void> Accept();

  /// Logs what has been held back, and forgets clients that wait no more. Called every second or
  /// so.
  void TidyUp();

  void Stop();

 private:
  /// A client for which there is no place yet. It is accepted all the same: one that comes after it
  /// may be of another user, who has a place.
  struct Waiting {
    net::Descriptor socket;
    Peer peer;
    std::unique_ptr<SharedPlaces::Place> place;
  };

  /// @return the listening descriptor, inherited or made
  int TakeSocket();

  /// @return false when the system has no more descriptors, or no memory
  bool AcceptSome();
  bool Welcome(net::Descriptor client);
  bool MayEnter(const Peer& peer) const;
  void MakeRoom(const Peer& newcomer);
  void Wait(net::Descriptor client, const Peer& peer);
  void AdmitWaiting();
  void WarnOnce(const char* reason);
  Awaitable<void> Pause();

  Runtime& runtime_;
  std::optional<SocketFile> file_;  // none while the socket is the service manager's
  asio::local::stream_protocol::acceptor acceptor_;
  asio::steady_timer room_;
  SharedPlaces waiting_places_;
  std::list<Waiting> waiting_;  // longest first
  bool admitting_ = false;      // soon
  bool warned_ = false;         // that clients have to wait for the system
  RepeatedWarning room_made_;
  RepeatedWarning no_room_;
  RepeatedWarning refused_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_LISTENER_H
