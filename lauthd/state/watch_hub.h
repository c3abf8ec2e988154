// SPDX-License-Identifier: Apache-2.0
// Identifications as they happen, for the clients that watch.
#ifndef LAUTHD_STATE_WATCH_HUB_H
#define LAUTHD_STATE_WATCH_HUB_H

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "lauthd/state/shared_places.h"

namespace byod::lauthd {

/// An event as a message in memory form; shared by all watchers.
using Event = std::shared_ptr<const std::vector<uint8_t>>;

/// Queues the events that one client has not read yet.
class Watcher {
 public:
  explicit Watcher(std::function<void()> wake) : wake_(std::move(wake)) {}

  void Push(const Event& event) {
    // A client that does not read loses the newest events, and gets their number.
    if (events_.size() == kMaxEvents) return Lose();
    try {
      events_.push_back(event);
    } catch (const std::bad_alloc&) {
      return Lose();
    }
    if (events_.size() == 1) wake_();
  }

  /// Counts an event that it does not get.
  void Lose() { ++lost_; }

  bool Empty() const { return events_.empty(); }
  Event Pop() {
    Event event = std::move(events_.front());
    events_.pop_front();
    return event;
  }
  uint64_t TakeLost() { return std::exchange(lost_, 0); }

 private:
  static constexpr size_t kMaxEvents = 1024;

  std::function<void()> wake_;
  std::deque<Event> events_;
  uint64_t lost_ = 0;
};

class WatchHub {
 public:
  static constexpr size_t kMaxWatchers = 32;

  /// @param user_share  percent of the watches that one user may have
  explicit WatchHub(unsigned user_share = 100) : places_(kMaxWatchers, user_share) {}

  const SharedPlaces& places() const { return places_; }
  bool Empty() const { return watchers_.empty(); }
  size_t size() const { return watchers_.size(); }
  void Publish(const Event& event) {
    for (Watcher* watcher : watchers_)
      watcher->Push(event);
  }

  /// There was no memory for an event.
  void Lose() {
    for (Watcher* watcher : watchers_)
      watcher->Lose();
  }

  /// Keeps a watcher in the hub for as long as this object lives.
  class Registration {
   public:
    Registration(WatchHub& hub, Watcher& watcher, uid_t user)
        : hub_(hub),
          user_place_(hub.places_, user),
          place_(hub.watchers_.insert(hub.watchers_.end(), &watcher)) {}
    ~Registration() { hub_.watchers_.erase(place_); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

   private:
    WatchHub& hub_;
    const SharedPlaces::Place user_place_;
    std::list<Watcher*>::iterator place_;
  };

 private:
  std::list<Watcher*> watchers_;
  SharedPlaces places_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_WATCH_HUB_H
