// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/listener.h"

#include <sys/socket.h>

#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <cerrno>
#include <cstring>
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

constexpr std::chrono::minutes kWarningPause{1};

}  // namespace

Listener::Listener(Runtime& runtime)
    : runtime_(runtime),
      acceptor_(runtime.io, asio::local::stream_protocol(), TakeSocket()),
      room_(runtime.io) {
  runtime.connections.OnRoom([this] { room_.cancel(); });
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
}

void Listener::WarnOnce(const char* reason) {
  if (!std::exchange(warned_, true)) Log(Severity::kWarning, "clients wait: %s", reason);
}

asio::awaitable<void> Listener::Pause() {
  asio::error_code cancelled;
  room_.expires_after(kPause);
  co_await room_.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
}

asio::awaitable<void> Listener::Accept() {
  while (acceptor_.is_open()) {
    asio::error_code stopped;
    co_await acceptor_.async_wait(asio::local::stream_protocol::acceptor::wait_read,
                                  asio::redirect_error(asio::use_awaitable, stopped));
    if (stopped) co_return;
    if (Full()) {
      MakeRoom();
    } else if (AcceptSome()) {
      continue;
    }
    co_await Pause();
  }
}

bool Listener::Full() const {
  return runtime_.connections.size() >= runtime_.state.options.max_connections;
}

void Listener::MakeRoom() {
  if (!runtime_.connections.CloseLongestIdle()) return WarnOnce("too many connections");
  const auto now = Connections::Clock::now();
  if (now < next_warning_) return;
  Log(Severity::kWarning, "too many connections: those that are idle longest are closed");
  next_warning_ = now + kWarningPause;
}

bool Listener::AcceptSome() {
  for (int i = 0; i < kAcceptsPerRound; ++i) {
    if (Full()) return true;
    const int client =
        accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (client < 0) {
      if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return true;
      WarnOnce(std::strerror(errno));
      return false;
    }
    if (!Connection::Begin(runtime_, client)) {
      WarnOnce("no memory");
      return false;
    }
    warned_ = false;
  }
  return true;
}

}  // namespace byod::lauthd
