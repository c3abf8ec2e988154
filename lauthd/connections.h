// All clients that are connected.
#ifndef LAUTHD_CONNECTIONS_H
#define LAUTHD_CONNECTIONS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>

namespace byod::lauthd {

class Connection;

class Connections {
 public:
  using Clock = std::chrono::steady_clock;
  using Place = std::list<Connection*>::iterator;

  Place Add(Connection* connection) { return connections_.insert(connections_.end(), connection); }
  void Remove(Place place) {
    connections_.erase(place);
    if (on_room_) on_room_();
  }
  size_t size() const { return connections_.size(); }

  /// Ends those that have kept the daemon waiting for too long.
  void CloseOverdue(Clock::time_point now);
  void CloseAll();

  /// Called whenever a connection has gone.
  void OnRoom(std::function<void()> callback) { on_room_ = std::move(callback); }

 private:
  std::list<Connection*> connections_;
  std::function<void()> on_room_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_CONNECTIONS_H
