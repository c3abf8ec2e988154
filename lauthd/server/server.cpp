// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/server.h"

#include <sys/resource.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "lauthd/log.h"
#include "lauthd/requests/wall_clock.h"
#include "lauthd/server/awaitable.h"
#include "lauthd/server/manager.h"
#include "lauthd/server/stop_limit.h"
#include "lauthd/state/file_rights.h"

namespace byod::lauthd {
namespace {

using Clock = Connections::Clock;

// Events that are handled before the deferred clients are looked at again.
constexpr int kEventsPerRound = 16;

constexpr size_t kManyClients = 64;

// For clients that wait for a place, files, and the loop.
constexpr rlim_t kFurtherDescriptors = 600;

// A client with much to do gets a turn after this time, even if there is something new all the
// time.
constexpr std::chrono::milliseconds kTurnPause{10};

/// Gives the memory of clients that have gone back to the system, once most of many have.
void TrimMemory(size_t clients, size_t& most) {
  most = std::max(most, clients);
  if (most < kManyClients || clients > most / 2) return;
  most = clients;
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

// Before something that failed without memory is tried again.
constexpr std::chrono::milliseconds kMemoryPause{1};

constexpr std::chrono::minutes kLogPause{1};

/// Runs a step of the daemon's own; one that fails for want of memory is left out.
template <typename Step>
void LogException(const char* what, Step step) {
  try {
    step();
  } catch (const std::exception& reason) {
    Log(Severity::kError, "%s: %s", what, reason.what());
  }
}

Awaitable<void> WaitFor(asio::steady_timer& timer, Clock::duration time) {
  timer.expires_after(time);
  co_await Operation([&](auto done) { timer.async_wait(std::move(done)); });
}

/// One timer for the timeouts of all clients: a resolution of a second is enough.
Awaitable<void> CheckTimeouts(Runtime& runtime, Listener& listener) {
  asio::steady_timer timer(runtime.io);
  const auto pause = std::min<Clock::duration>(std::chrono::seconds(1), runtime.idle_timeout / 2);
  size_t most_clients = 0;  // since the memory of others was given back
  for (;;) {
    co_await WaitFor(timer, pause);
    runtime.connections.EndOverdue(Clock::now());
    runtime.state.store.RetryInBackground();
    runtime.state.refused_watches.Flush();
    listener.TidyUp();
    TrimMemory(runtime.connections.size(), most_clients);
  }
}

/// Reports to the service manager that requests are still served. A loop that hangs in one stays
/// silent, and the manager starts the daemon again.
Awaitable<void> ReportAlive(Runtime& runtime, Clock::duration watchdog) {
  asio::steady_timer timer(runtime.io);
  for (;;) {
    NotifyManagerAlive();
    co_await WaitFor(timer, watchdog / 2);
  }
}

/// Waits until no bulk is open.
Awaitable<void> WaitForGate(Runtime& runtime) {
  ChangeGate& gate = runtime.state.gate;
  asio::steady_timer bulk_end(runtime.io);
  const ChangeGate::Waiter waiter(gate, [&bulk_end] { bulk_end.cancel(); });
  while (!waiter.MayPass())
    co_await WaitFor(bulk_end, std::chrono::hours(1));
}

/// Reloads the rule files on SIGHUP, when no bulk is open.
/// @param requested  whether the signal has come already
Awaitable<void> ReloadOnSignal(Runtime& runtime, asio::signal_set& signals, bool& requested) {
  for (;;) {
    if (!requested && co_await Operation([&](auto done) { signals.async_wait(std::move(done)); })) {
      co_return;
    }
    requested = true;
    co_await WaitForGate(runtime);
    requested = false;
    NotifyManagerReloading();
    LogException("a reload failed", [&] { runtime.state.Reload(); });
    NotifyManagerReady();
  }
}

/// Raises the limit of descriptors as far as that is allowed: at a lower one nobody could be
/// accepted, whoever it is.
void AllowDescriptors(rlim_t count) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= count) return;
  limit.rlim_cur = std::min(limit.rlim_max, count);
  setrlimit(RLIMIT_NOFILE, &limit);
}

/// Does what is due for the stations. @param soon  gets whether more waits for the disk
/// @return whether more is to be answered now
bool KeepSome(State& state, bool& soon) {
  constexpr std::chrono::milliseconds kSlice{2};
  try {
    state.stations->Tick(SecondsSince1970());
    if (state.stations->AnswerSome(SecondsSince1970(), kSlice)) return true;
    soon = state.station_keeper && state.station_keeper->Tick(Clock::now());
  } catch (const std::bad_alloc&) {
    Log(Severity::kWarning, "no memory to answer stations again");
  }
  return false;
}

/// Answers stations again when rules have changed, a little at a time, so that requests need not
/// wait; and forgets old ones.
Awaitable<void> KeepStations(Runtime& runtime) {
  constexpr std::chrono::milliseconds kPause{10};
  State& state = runtime.state;
  asio::steady_timer timer(runtime.io);
  state.on_unanswered = [&timer] { timer.cancel(); };
  bool soon = false;  // more waits for the disk
  for (;;) {
    co_await WaitFor(timer, soon ? Clock::duration(kPause) : std::chrono::seconds(1));
    while (KeepSome(state, soon))
      co_await Operation([&](auto done) { asio::post(runtime.io, std::move(done)); });
  }
}

/// Runs one of the daemon's own tasks to its end, which most do not have. One that fails for want
/// of memory begins again.
/// @param make  () -> Awaitable<void>
template <typename Make>
Awaitable<void> Insist(asio::io_context& io, Make make) {
  Clock::time_point next_log;
  for (;;) {
    try {
      co_await make();
      co_return;
    } catch (const std::exception& reason) {
      if (Clock::now() >= next_log) {
        Log(Severity::kError, "a task of the daemon is begun again: %s", reason.what());
        next_log = Clock::now() + kLogPause;
      }
    }
    if (io.stopped()) co_return;
    std::this_thread::sleep_for(kMemoryPause);
  }
}

template <typename Make>
void Keep(asio::io_context& io, Make make) {
  Spawn(Insist(io, std::move(make)), [](const std::exception_ptr&) {});
}

}  // namespace

void Server::Listen() {
  const Options& options = runtime_.state.options;
  AllowDescriptors(options.max_connections + kFurtherDescriptors);
  if (!options.insecure && !options.no_database) {
    const std::string reason = WhyInsecure(options.state_dir);
    if (!reason.empty()) throw std::runtime_error(reason);
  }
  runtime_.state.store.Claim();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is a full disk, not the end
  for (const int signal : {SIGTERM, SIGINT}) {
    stop_.add(signal);
    LimitStop(signal, options.stop_timeout);
  }
  hangup_.add(SIGHUP);
  listener_ = std::make_unique<Listener>(runtime_);
  if (runtime_.state.stations != nullptr && !options.sightings.empty()) {
    sightings_ = std::make_unique<SightingSocket>(runtime_);
  }
}

void Server::Run() {
  asio::io_context& io = runtime_.io;
  stop_.async_wait([&io](asio::error_code error, int signal) {
    if (error) return;
    Log(Severity::kNotice, "stopping on signal %d", signal);
    io.stop();
  });
  Keep(io, [this] { return CheckTimeouts(runtime_, *listener_); });
  Log(Severity::kNotice, "listening on %s", runtime_.state.options.socket.c_str());
  NotifyManagerReady();
  if (const auto watchdog = ManagerWatchdog()) {
    Keep(io, [this, watchdog] { return ReportAlive(runtime_, *watchdog); });
  }
  Keep(io, [this] { return ReloadOnSignal(runtime_, hangup_, reload_requested_); });
  Keep(io, [this] { return listener_->Accept(); });
  if (runtime_.state.stations != nullptr) Keep(io, [this] { return KeepStations(runtime_); });
  if (sightings_ != nullptr) Keep(io, [this] { return sightings_->Receive(); });
  for (bool more = true; more;)
    LogException("an event is left out", [&] { more = RunOnce(); });
  NotifyManagerStopping();
  Stop();
}

/// Handles some events, waiting for one if need be, and gives a client with much to do a turn when
/// there are no more. @return false when the loop has been stopped
bool Server::RunOnce() {
  Connections& connections = runtime_.connections;
  if (!connections.HasDeferred() && !connections.HasTurns()) return runtime_.io.run_one() > 0;
  int events = 0;
  while (events < kEventsPerRound && runtime_.io.poll_one() > 0)
    ++events;
  connections.ContinueDeferred();
  if (connections.HasTurns() && (events < kEventsPerRound || Clock::now() >= next_turn_)) {
    connections.GiveTurn();
    next_turn_ = Clock::now() + kTurnPause;
  }
  return !runtime_.io.stopped();
}

/// Closes all connections, and lets their coroutines end by themselves: destroyed while suspended,
/// they would outlive what they wait for.
void Server::Stop() {
  runtime_.connections.CloseAll();
  runtime_.io.restart();
  listener_->Stop();
  if (sightings_ != nullptr) sightings_->Stop();
  runtime_.state.on_unanswered = {};  // its timer goes with its coroutine
  stop_.cancel();
  hangup_.cancel();
  while (runtime_.connections.size() > 0 && runtime_.io.run_one_for(std::chrono::seconds(1)) > 0) {
  }
}

}  // namespace byod::lauthd
