// SPDX-License-Identifier: Apache-2.0
// The lock that keeps a database file in its place: shared by all processes that have it open,
// held alone by one that creates, replaces or removes it.
#ifndef LAUTH_PLATFORM_DBM_LOCK_H
#define LAUTH_PLATFORM_DBM_LOCK_H

#include "platform/dbm/place.h"

namespace lauth::dbm {

class Lock {
 public:
  enum class Kind { kShared, kAlone };

  /** Waits, for a few seconds at most, until the lock of a place is ours. Gives back any it holds.
   */
  Result Acquire(const Place& place, Kind kind);

  void Release() { file_ = Descriptor(); }

 private:
  Descriptor file_;
};

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_LOCK_H
