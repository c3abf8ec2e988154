// SPDX-License-Identifier: Apache-2.0
// Places of which there are only so many, connections or watches: no user takes all of them, and
// some are left for those who have to mend something.
#ifndef LAUTHD_STATE_SHARED_PLACES_H
#define LAUTHD_STATE_SHARED_PLACES_H

#include <algorithm>
#include <cstddef>
#include <map>

#include "lauthd/state/peer.h"

namespace byod::lauthd {

class SharedPlaces {
 public:
  /// @param percent  of all places that one user may have, at least one; root and the daemon's own
  ///                 user may have all
  SharedPlaces(size_t count, unsigned percent)
      : count_(count), share_(std::max<size_t>(1, count * percent / 100)) {}

  size_t count() const { return count_; }
  size_t share() const { return share_; }
  size_t taken() const { return taken_; }

  /// The places that everybody may take: a sixteenth is left for those who may change the
  /// configuration.
  size_t open() const { return count_ - count_ / kReservedPart; }

  bool IsFreeFor(const Peer& peer) const { return taken_ < (peer.may_change ? count_ : open()); }

  bool IsWithinShare(const Peer& peer) const { return peer.trusted || TakenBy(peer.user) < share_; }

  size_t TakenBy(uid_t user) const {
    const auto found = by_user_.find(user);
    return found != by_user_.end() ? found->second : 0;
  }

  /// A place that is taken for as long as this object lives.
  class Place {
   public:
    /// @throws std::bad_alloc
    Place(SharedPlaces& places, uid_t user)
        : places_(places), user_(places.by_user_.try_emplace(user, 0).first) {
      ++user_->second;
      ++places_.taken_;
    }
    ~Place() {
      --places_.taken_;
      if (--user_->second == 0) places_.by_user_.erase(user_);
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    uid_t user() const { return user_->first; }

   private:
    SharedPlaces& places_;
    std::map<uid_t, size_t>::iterator user_;
  };

 private:
  static constexpr size_t kReservedPart = 16;

  const size_t count_;
  const size_t share_;
  size_t taken_ = 0;
  std::map<uid_t, size_t> by_user_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_SHARED_PLACES_H
