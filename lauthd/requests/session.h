// SPDX-License-Identifier: Apache-2.0
// What the daemon knows of one connected client between its requests.
#ifndef LAUTHD_REQUESTS_SESSION_H
#define LAUTHD_REQUESTS_SESSION_H

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "lauthd/requests/restore_upload.h"
#include "lauthd/state/peer.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {

/// Its address identifies the client that owns a bulk; the bulk ends with it.
class Session {
 public:
  /// @param find_peer  called once, when a request first depends on who sent it
  Session(State& state, std::function<Peer()> find_peer)
      : state_(state), find_peer_(std::move(find_peer)) {
    ++state.sessions;
  }
  ~Session() {
    if (OwnsBulk()) state_.AbortBulk();
    --state_.sessions;
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  const Peer& peer() {
    if (!peer_) peer_ = find_peer_();
    return *peer_;
  }

  bool OwnsBulk() const { return state_.gate.OwnedBy(this); }

  /// Rolls the client's bulk back, which has been open for too long.
  void ExpireBulk() {
    bulk_expired = true;
    state_.AbortBulk();
  }

  bool bulk_expired = false;              // the client has not begun another one since
  std::unique_ptr<RestoreUpload> upload;  // a backup that the client is sending; or null

 private:
  State& state_;
  std::function<Peer()> find_peer_;
  std::optional<Peer> peer_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_SESSION_H
