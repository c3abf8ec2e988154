// Lets one client's bulk of changes be alone.
#ifndef LAUTHD_STATE_CHANGE_GATE_H
#define LAUTHD_STATE_CHANGE_GATE_H

#include <asio/steady_timer.hpp>
#include <list>

namespace byod::lauthd {

/// A single change needs no turn: it is over before anything else happens. A bulk takes several
/// requests, and changes of others wait for its end.
class ChangeGate {
 public:
  bool OpenFor(const void* client) const { return owner_ == nullptr || owner_ == client; }
  bool OwnedBy(const void* client) const { return owner_ == client; }
  void Take(const void* client) { owner_ = client; }

  void Release() {
    owner_ = nullptr;
    for (asio::steady_timer* waiter : waiters_)
      waiter->cancel();
  }

  /// Makes the end of a bulk cancel a timer, as long as this lives.
  class Waiter {
   public:
    Waiter(ChangeGate& gate, asio::steady_timer& timer)
        : gate_(gate), place_(gate.waiters_.insert(gate.waiters_.end(), &timer)) {}
    ~Waiter() { gate_.waiters_.erase(place_); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

   private:
    ChangeGate& gate_;
    std::list<asio::steady_timer*>::iterator place_;
  };

 private:
  const void* owner_ = nullptr;
  std::list<asio::steady_timer*> waiters_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_CHANGE_GATE_H
