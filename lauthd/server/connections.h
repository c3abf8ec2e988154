// SPDX-License-Identifier: Apache-2.0
// All clients that are connected.
#ifndef LAUTHD_SERVER_CONNECTIONS_H
#define LAUTHD_SERVER_CONNECTIONS_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "lauthd/state/peer.h"

namespace byod::lauthd {

/// A connection, as far as the set of all needs to know it.
class Client {
 public:
  using Clock = std::chrono::steady_clock;

  virtual ~Client() = default;
  /// Ends the connection. It leaves the set later, when nothing uses it any more.
  virtual void Close() = 0;
  /// When the client has been too slow, and what is done about it.
  virtual Clock::time_point deadline() const = 0;
  virtual void EndOverdue() = 0;
  /// Whether it may be closed to make room.
  virtual bool Idle() const = 0;
  virtual const Peer& peer() const = 0;
  /// Resumes a deferred client.
  virtual void Continue() = 0;
  /// Goes on with what a client has sent, or is to get, for as long as a turn lasts.
  virtual void TakeTurn() = 0;
};

class Connections {
 public:
  using Clock = Client::Clock;
  using Place = std::list<Client*>::iterator;

  Place Add(Client* client) { return clients_.insert(clients_.end(), client); }
  void Remove(Place place) {
    clients_.erase(place);
    if (on_room_) on_room_();
  }
  /// Puts a connection that was answered behind those that were answered before.
  void MoveToEnd(Place place) { clients_.splice(clients_.end(), clients_, place); }
  size_t size() const { return clients_.size(); }

  /// Ends what those do whose deadline is over.
  void EndOverdue(Clock::time_point now);
  void CloseAll();

  /// Closes the one that has been idle for the longest time, of those that may be closed.
  /// @param may_close  (peer) -> bool
  /// @return false when none of them is idle
  template <typename MayClose>
  bool CloseLongestIdle(MayClose may_close) {
    const auto idle = std::ranges::find_if(clients_, [&](const Client* client) {
      return may_close(client->peer()) && client->Idle();
    });
    if (idle == clients_.end()) return false;
    (*idle)->Close();
    return true;
  }

  /// Called whenever a connection has gone.
  void OnRoom(std::function<void()> callback) { on_room_ = std::move(callback); }

  /// Puts off setting up a wait for a client's next request until other clients have been served:
  /// a client with one question has probably gone by then, and needs no wait.
  void Defer(std::shared_ptr<Client> client) { deferred_.push_back(std::move(client)); }
  bool HasDeferred() const { return !deferred_.empty(); }
  void ContinueDeferred();

  /// Puts a client with much to do behind the others that have much to do. Those with little are
  /// served before them.
  void AwaitTurn(std::shared_ptr<Client> client) { turns_.push_back(std::move(client)); }
  bool HasTurns() const { return !turns_.empty(); }
  void GiveTurn();

 private:
  std::list<Client*> clients_;
  std::vector<std::shared_ptr<Client>> deferred_;
  std::deque<std::shared_ptr<Client>> turns_;
  std::function<void()> on_room_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_CONNECTIONS_H
