#include "lauthd/listener.h"

#include <sys/socket.h>
#include <unistd.h>

#include <asio/co_spawn.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "lauthd/access.h"
#include "lauthd/connection.h"
#include "lauthd/daemon.h"
#include "lauthd/log.h"

namespace byod::lauthd {
namespace {

// A connection that ends makes room at once; descriptors that others free are not told.
constexpr std::chrono::milliseconds kPause{250};

void Serve(Daemon& daemon, Connection::Socket socket) {
  auto connection = std::make_shared<Connection>(daemon, std::move(socket));
  auto running = connection->Run();
  asio::co_spawn(daemon.io, std::move(running), [connection](std::exception_ptr failure) {
    if (!failure) return;
    connection->Close();
    try {
      std::rethrow_exception(failure);
    } catch (const std::exception& reason) {
      Log(Severity::kWarning, "a client is dropped: %s", reason.what());
    }
  });
}

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

bool Listener::TakeIn(int client) {
  Connection::Socket socket(daemon_.io);
  asio::error_code error;
  socket.assign(asio::local::stream_protocol(), client, error);
  if (error) {
    close(client);
    TellOnce(error.message().c_str());
    return false;
  }
  try {
    Serve(daemon_, std::move(socket));
  } catch (const std::exception& reason) {
    TellOnce(reason.what());
    return false;
  }
  return true;
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
    if (daemon_.connections.size() >= daemon_.options.max_connections) {
      TellOnce("too many connections");
      co_await Pause();
      continue;
    }
    asio::error_code stopped;
    co_await acceptor_.async_wait(asio::local::stream_protocol::acceptor::wait_read,
                                  asio::redirect_error(asio::use_awaitable, stopped));
    if (stopped) co_return;
    const int client =
        accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (client < 0 && (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED)) continue;
    if (client < 0) TellOnce(std::strerror(errno));
    if (client >= 0 && TakeIn(client)) {
      told_ = false;
    } else {
      co_await Pause();
    }
  }
}

}  // namespace byod::lauthd
