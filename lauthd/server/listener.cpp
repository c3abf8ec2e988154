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
#include "lauthd/server/daemon.h"

namespace byod::lauthd {
namespace {

// A connection that ends makes room at once; descriptors that others free are not told.
constexpr std::chrono::milliseconds kPause{250};

// Who is connected already is served in between, however many come.
constexpr int kAcceptsInARow = 16;

constexpr std::chrono::minutes kWarningPause{1};

}  // namespace

Listener::Listener(Daemon& daemon)
    : daemon_(daemon),
      file_(daemon.options.socket, FindGroup(daemon.options.socket_group)),
      acceptor_(daemon.io, asio::local::stream_protocol(), file_.Release()),
      room_(daemon.io) {
  daemon.connections.OnRoom([this] { room_.cancel(); });
}

Listener::~Listener() {
  daemon_.connections.OnRoom({});
}

void Listener::Stop() {
  asio::error_code ignored;
  acceptor_.close(ignored);
  room_.cancel();
}

void Listener::TellOnce(const char* reason) {
  if (!std::exchange(told_, true)) Log(Severity::kWarning, "clients wait: %s", reason);
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
  return daemon_.connections.size() >= daemon_.options.max_connections;
}

void Listener::MakeRoom() {
  if (!daemon_.connections.CloseLongestIdle()) return TellOnce("too many connections");
  const auto now = Daemon::Clock::now();
  if (now < next_warning_) return;
  Log(Severity::kWarning, "too many connections: those that are idle longest are closed");
  next_warning_ = now + kWarningPause;
}

bool Listener::AcceptSome() {
  for (int i = 0; i < kAcceptsInARow; ++i) {
    if (Full()) return true;
    const int client =
        accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (client < 0) {
      if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return true;
      TellOnce(std::strerror(errno));
      return false;
    }
    if (!Connection::Begin(daemon_, client)) {
      TellOnce("no memory");
      return false;
    }
    told_ = false;
  }
  return true;
}

}  // namespace byod::lauthd
