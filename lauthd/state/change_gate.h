// SPDX-License-Identifier: Apache-2.0
// Lets one client's bulk of changes run alone.
#ifndef LAUTHD_STATE_CHANGE_GATE_H
#define LAUTHD_STATE_CHANGE_GATE_H

#include <sys/types.h>

#include <functional>
#include <list>
#include <string>
#include <utility>

namespace byod::lauthd {

/// A bulk takes several requests; while it is open, changes of other clients wait, one behind the
/// other. A single change is one request and never blocks others.
class ChangeGate {
 public:
  /// @param client  any address that identifies the client
  bool OwnedBy(const void* client) const { return owner_ == client; }

  /// Whether a change may be made at once: by the owner, or when the gate is open and nobody waits.
  bool MayPass(const void* client) const {
    return owner_ != nullptr ? owner_ == client : waiters_.empty();
  }

  /// @param user  whose client it is
  /// @param time  of day, for people
  void Take(const void* client, uid_t user, std::string time) {
    owner_ = client;
    user_ = user;
    since_ = std::move(time);
  }

  /// Opens the gate for the client that waits longest.
  void Release() {
    owner_ = nullptr;
    WakeFirst();
  }

  /// The reply to a client whose wait was too long.
  std::string WhyClosed() const {
    if (owner_ == nullptr) return "busy: too many other changes wait";
    return "busy: a change by uid " + std::to_string(user_) + " is open since " + since_;
  }

  /// A place in the queue, for as long as this object lives. The callback is called when it may
  /// pass; it must not add or remove waiters.
  class Waiter {
   public:
    Waiter(ChangeGate& gate, std::function<void()> wake)
        : gate_(gate),
          wake_(std::move(wake)),
          place_(gate.waiters_.insert(gate.waiters_.end(), this)) {}
    ~Waiter() {
      gate_.waiters_.erase(place_);
      if (gate_.owner_ == nullptr) gate_.WakeFirst();
    }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    bool MayPass() const { return gate_.owner_ == nullptr && gate_.waiters_.front() == this; }

   private:
    friend class ChangeGate;

    ChangeGate& gate_;
    std::function<void()> wake_;
    std::list<Waiter*>::iterator place_;
  };

 private:
  void WakeFirst() {
    if (!waiters_.empty()) waiters_.front()->wake_();
  }

  const void* owner_ = nullptr;
  uid_t user_ = 0;     // of the owner
  std::string since_;  // when it has taken the gate
  std::list<Waiter*> waiters_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_CHANGE_GATE_H
