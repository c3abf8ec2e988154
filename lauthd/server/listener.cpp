// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/listener.h"

#include <poll.h>
#include <sys/socket.h>

#include <asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "lauthd/log.h"
#include "lauthd/server/access.h"
#include "lauthd/server/connection.h"
#include "lauthd/server/manager.h"
#include "lauthd/server/runtime.h"

namespace byod::lauthd {
namespace {

// A connection that ends makes room at once; nothing reports descriptors that other processes free.
constexpr std::chrono::milliseconds kPause{250};

// Clients that are connected are served in between, however many come.
constexpr int kAcceptsPerRound = 16;

// Clients for which there is no place, beside those that wait to be accepted.
constexpr size_t kWaiting = 512;

bool HasGone(int socket) {
  pollfd client = {socket, 0, 0};
  return poll(&client, 1, 0) > 0 && (client.revents & (POLLHUP | POLLERR)) != 0;
}

std::string Owner(const Peer& peer) {
  return "user " + std::to_string(peer.user);
}

}  // namespace

Listener::Listener(Runtime& runtime)
    : runtime_(runtime),
      acceptor_(runtime.io, asio::local::stream_protocol(), TakeSocket()),
      room_(runtime.io),
      waiting_places_(kWaiting, runtime.state.options.user_share) {
  runtime.connections.OnRoom([this] {
    room_.cancel();
    if (waiting_.empty() || std::exchange(admitting_, true)) return;
    // Not at once: the connection that makes room is in the middle of its end.
    // Called by destructors. Without memory those that wait are looked at again a second later.
    try {
      asio::post(runtime_.io, [this] { AdmitWaiting(); });
    } catch (const std::bad_alloc&) {
      WarnOnce("no memory");
    }
  });
}

Listener::~Listener() {
  runtime_.connections.OnRoom({});
}

int Listener::TakeSocket() {
  if (const auto inherited = SocketFromManager()) return *inherited;
  const Options& options = runtime_.state.options;
  file_.emplace(options.socket, FindGroup(options.socket_group));
  return file_->Release();
}

void Listener::Stop() {
  asio::error_code ignored;
  acceptor_.close(ignored);
  room_.cancel();
  waiting_.clear();
}

void Listener::TidyUp() {
  for (RepeatedWarning* warning : {&room_made_, &no_room_, &refused_})
    warning->Flush();
  waiting_.remove_if([](const Waiting& one) { return HasGone(one.socket.get()); });
  if (!waiting_.empty()) AdmitWaiting();
}

void Listener::WarnOnce(const char* reason) {
  if (!std::exchange(warned_, true)) Log(Severity::kWarning, "clients wait: %s", reason);
}

Awaitable<void> Listener::Pause() {
  room_.expires_after(kPause);
  co_await Operation([&](auto done) { room_.async_wait(std::move(done)); });
}

Awaitable<void> Listener::Accept() {
  while (acceptor_.is_open()) {
    const asio::error_code stopped = co_await Operation([&](auto done) {
      acceptor_.async_wait(asio::local::stream_protocol::acceptor::wait_read, std::move(done));
    });
    if (stopped) co_return;
    if (!AcceptSome()) co_await Pause();
  }
}

bool Listener::AcceptSome() {
  for (int i = 0; i < kAcceptsPerRound; ++i) {
    net::Descriptor client(
        accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!client) {
      if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return true;
      WarnOnce(std::strerror(errno));
      return false;
    }
    if (!Welcome(std::move(client))) {
      WarnOnce("no memory");
      return false;
    }
    warned_ = false;
  }
  return true;
}

/// Serves a client, or lets it wait for a place. @return false without memory
bool Listener::Welcome(net::Descriptor client) {
  const Peer peer = ReadPeer(client.get(), runtime_.admin_group, runtime_.feed_group);
  if (!MayEnter(peer)) runtime_.connections.ContinueDeferred();  // most of these have gone
  if (MayEnter(peer)) return Connection::Begin(runtime_, client.release(), peer);
  try {
    MakeRoom(peer);
    Wait(std::move(client), peer);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool Listener::MayEnter(const Peer& peer) const {
  return runtime_.places.IsFreeFor(peer) && runtime_.places.IsWithinShare(peer);
}

/// Closes the connection that has been idle longest: of the newcomer's user if that has its share,
/// else of anybody. Root's are not closed for somebody who may change nothing.
void Listener::MakeRoom(const Peer& newcomer) {
  const bool within_share = runtime_.places.IsWithinShare(newcomer);
  const bool made = runtime_.connections.CloseLongestIdle([&](const Peer& peer) {
    return within_share ? newcomer.may_change || !peer.trusted : peer.user == newcomer.user;
  });
  const std::string reason = within_share ? "too many connections"
                                          : "too many connections of " + Owner(newcomer) +
                                                ", whose share is " +
                                                std::to_string(runtime_.places.share());
  if (made) {
    room_made_.Note(reason + ": those that are idle longest are closed");
  } else {
    no_room_.Note("clients wait: " + reason);
  }
}

/// Lets a client wait, unless too many wait already, of all users or of its own.
void Listener::Wait(net::Descriptor client, const Peer& peer) {
  if (!waiting_places_.IsFreeFor(peer) || !waiting_places_.IsWithinShare(peer)) {
    return refused_.Note("a client of " + Owner(peer) + " is refused: too many wait already");
  }
  waiting_.push_back(
      {std::move(client), peer, std::make_unique<SharedPlaces::Place>(waiting_places_, peer.user)});
}

/// Serves those that have waited longest, as far as there are places.
void Listener::AdmitWaiting() {
  admitting_ = false;
  for (auto next = waiting_.begin(); next != waiting_.end();) {
    if (!MayEnter(next->peer)) {
      ++next;
      continue;
    }
    const Peer peer = next->peer;
    net::Descriptor client = std::move(next->socket);
    next = waiting_.erase(next);
    if (!Connection::Begin(runtime_, client.release(), peer)) WarnOnce("no memory");
  }
}

}  // namespace byod::lauthd
