#include "lauthd/server/daemon.h"

#include <asio/co_spawn.hpp>
#include <asio/error.hpp>
#include <asio/redirect_error.hpp>
#include <asio/system_error.hpp>
#include <asio/use_awaitable.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "byod_order.h"
#include "lauthd/server/connection.h"
#include "lauthd/server/listener.h"
#include "lauthd/server/manager.h"
#include "lauthd/server/stop_limit.h"
#include "lauthd/state/match_order.h"
#include "lauthd/state/reload.h"
#include "lauthd/state/rule_source.h"

namespace byod::lauthd {
namespace {

constexpr int kTurnsBetweenLooks = 16;

/// What is due now and then. One timer for all clients: to the second is enough.
asio::awaitable<void> LookAround(Daemon& daemon) {
  asio::steady_timer timer(daemon.io);
  const auto pause =
      std::min<Daemon::Clock::duration>(std::chrono::seconds(1), daemon.idle_timeout / 2);
  for (;;) {
    timer.expires_after(pause);
    co_await timer.async_wait(asio::use_awaitable);
    daemon.connections.CloseOverdue(Daemon::Clock::now());
    daemon.store.RetryInBackground();
  }
}

/// Reports to the manager that requests are still served: a loop that hangs in one stays silent,
/// and the manager starts the daemon again.
asio::awaitable<void> ReportAlive(Daemon& daemon, Daemon::Clock::duration patience) {
  asio::steady_timer timer(daemon.io);
  for (;;) {
    TellManagerAlive();
    timer.expires_after(patience / 2);
    co_await timer.async_wait(asio::use_awaitable);
  }
}

/// Reloads the rule files on SIGHUP, when no bulk is open.
asio::awaitable<void> ReloadOnSignal(Daemon& daemon, asio::signal_set& signals) {
  for (;;) {
    co_await signals.async_wait(asio::use_awaitable);
    asio::steady_timer turn(daemon.io);
    const ChangeGate::Waiter waiter(daemon.gate, turn);
    while (!daemon.gate.OpenFor(&signals)) {
      asio::error_code cancelled;
      turn.expires_at(Daemon::Clock::time_point::max());
      co_await turn.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
    }
    TellManagerReloading();
    daemon.Reload();
    TellManagerReady();
  }
}

/// Runs one of the daemon's own tasks. What it throws ends the daemon: without it there would be no
/// more than half of one. That it is cancelled does not.
void Spawn(asio::io_context& io, asio::awaitable<void> task) {
  asio::co_spawn(io, std::move(task), [](const std::exception_ptr& failure) {
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const asio::system_error& error) {
      if (error.code() != asio::error::operation_aborted) throw;
    }
  });
}

double Milliseconds(Daemon::Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

}  // namespace

Daemon::Daemon(const Options& chosen)
    : options(chosen),
      admin_group(FindGroup(chosen.admin_group)),
      idle_timeout(std::chrono::seconds(chosen.idle_timeout)),
      store(chosen.state_dir, chosen.no_database, idle, authorization) {
  InstallService(authorization);
}

Daemon::~Daemon() {
  listener_.reset();
  store.Close();
  RemoveService();
  BYOD_order_Fini();
  BYOD_data_GlobalInfoFini();
}

void Daemon::Load() {
  if (BYOD_data_GlobalInfoInit(options.rule_limit) != 0) {
    throw std::runtime_error("no memory for the tables of rules");
  }
  BYOD_order_Init();
  const RuleSource source(options);
  const auto start = Clock::now();
  const PredefinedRules rules = source.Read();
  const auto read = Clock::now();
  LoadPredefined(rules, source.shows_progress());
  ++counters.reloads;
  const auto loaded = Clock::now();
  if (!store.Open()) store.Claim();  // the directory may be new, and another daemon's
  if (options.timing) {
    std::fprintf(stderr, "lauthd: rules read in %.1f ms, loaded in %.1f ms, database in %.1f ms\n",
                 Milliseconds(read - start), Milliseconds(loaded - read),
                 Milliseconds(Clock::now() - loaded));
  }
}

void Daemon::Listen() {
  store.Claim();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is a full disk, not the end
  for (const int signal : {SIGTERM, SIGINT}) {
    stop_.add(signal);
    LimitStop(signal, options.stop_timeout);
  }
  hangup_.add(SIGHUP);
  listener_ = std::make_unique<Listener>(*this);
}

void Daemon::Run() {
  stop_.async_wait([this](asio::error_code error, int signal) {
    if (error) return;
    Log(Severity::kNotice, "stopping on signal %d", signal);
    io.stop();
  });
  Spawn(io, LookAround(*this));
  if (const auto patience = ManagerPatience()) Spawn(io, ReportAlive(*this, *patience));
  Spawn(io, ReloadOnSignal(*this, hangup_));
  Spawn(io, listener_->Accept());
  Log(Severity::kNotice, "listening on %s", options.socket.c_str());
  TellManagerReady();
  while (RunOnce()) {
  }
  TellManagerStopping();
  seen_lately_.clear();
  connections.CloseAll();
  // What waits is destroyed with what it waits for; let the clients' coroutines end by themselves.
  io.restart();
  listener_->Stop();
  stop_.cancel();
  hangup_.cancel();
  while (connections.size() > 0 && io.run_one_for(std::chrono::seconds(1)) > 0) {
  }
}

bool Daemon::RunOnce() {
  if (seen_lately_.empty()) return io.run_one() > 0;
  for (int turn = 0; turn < kTurnsBetweenLooks && io.poll_one() > 0; ++turn) {
  }
  LookAgain();
  return !io.stopped();
}

void Daemon::LookAgain() {
  for (const auto& connection : std::exchange(seen_lately_, {}))
    connection->Continue();
}

void Daemon::LookAgainAt(std::shared_ptr<Connection> connection) {
  seen_lately_.push_back(std::move(connection));
}

Result Daemon::Reload() {
  const RuleSource source(options);
  Result result = ReplacePredefined(source, options.rule_limit, idle);
  if (result.Ok() || result.refusal == BYOD_REFUSAL_NO_CHANGE) {
    store.Tidy();
#ifdef __GLIBC__
    malloc_trim(0);  // both sets of rules were in memory
#endif
    ++counters.reloads;
    reload_failure.clear();
    Log(Severity::kNotice, "the rule files were read again");
  } else {
    reload_failure = result.reason;
    Log(Severity::kError, "the rules stay as they were: %s", result.reason.c_str());
  }
  return result;
}

void Daemon::AbortBulk() {
  bulk.TakeBack(idle, authorization);
  if (!ArrangeMatchList()) {
    Log(Severity::kError, "no memory to order the User-Agent rules of one length");
  }
  gate.Release();
}

void Daemon::Count(const Exchange& exchange, const Result& result) {
  ++counters.requests;
  if (!result.Ok()) {
    ++counters.refused;
  } else if (exchange.operation != BYOD_OP_GET) {
    ++counters.changes;
  }
}

uint64_t Daemon::UptimeSeconds() const {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count());
}

}  // namespace byod::lauthd
