// SPDX-License-Identifier: Apache-2.0
// Lets one client's bulk of changes run alone.
#ifndef LAUTHD_STATE_CHANGE_GATE_H
#define LAUTHD_STATE_CHANGE_GATE_H

#include <functional>
#include <list>
#include <utility>

namespace byod::lauthd {

/// A bulk takes several requests; while it is open, changes of other clients wait. A single change
/// is one request and never blocks others.
class ChangeGate {
 public:
  /// @param client  any address that identifies the client
  bool OpenFor(const void* client) const { return owner_ == nullptr || owner_ == client; }
  bool OwnedBy(const void* client) const { return owner_ == client; }
  void Take(const void* client) { owner_ = client; }

  /// Opens the gate and calls every waiter. Waiters check again whether the gate is open for them:
  /// another client may have taken it before.
  void Release() {
    owner_ = nullptr;
    for (Waiter* waiter : waiters_)
      waiter->wake_();
  }

  /// Registers a callback for the end of a bulk, for as long as this object lives. The callback
  /// must not add or remove waiters.
  class Waiter {
   public:
    Waiter(ChangeGate& gate, std::function<void()> wake)
        : gate_(gate),
          wake_(std::move(wake)),
          place_(gate.waiters_.insert(gate.waiters_.end(), this)) {}
    ~Waiter() { gate_.waiters_.erase(place_); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

   private:
    friend class ChangeGate;

    ChangeGate& gate_;
    std::function<void()> wake_;
    std::list<Waiter*>::iterator place_;
  };

 private:
  const void* owner_ = nullptr;
  std::list<Waiter*> waiters_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_CHANGE_GATE_H
