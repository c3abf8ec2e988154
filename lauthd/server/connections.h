// All clients that are connected.
#ifndef LAUTHD_SERVER_CONNECTIONS_H
#define LAUTHD_SERVER_CONNECTIONS_H

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
  /// Puts a connection that becomes idle behind those that have been longer.
  void MoveToEnd(Place place) { connections_.splice(connections_.end(), connections_, place); }
  size_t size() const { return connections_.size(); }

  /// Ends those that have kept the daemon waiting for too long.
  void CloseOverdue(Clock::time_point now);
  void CloseAll();

  /// Ends the one that has been idle for the longest time. @return false when none is idle
  bool CloseLongestIdle();

  /// Called whenever a connection has gone.
  void OnRoom(std::function<void()> callback) { on_room_ = std::move(callback); }

 private:
  std::list<Connection*> connections_;
  std::function<void()> on_room_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_CONNECTIONS_H
