// Everything that the daemon holds, and its life from start to stop.
#ifndef LAUTHD_SERVER_DAEMON_H
#define LAUTHD_SERVER_DAEMON_H

#include <array>
#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lauthd/options.h"
#include "lauthd/requests/exchange.h"
#include "lauthd/server/connections.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/bulk.h"
#include "lauthd/state/change_gate.h"
#include "lauthd/state/idle_rules.h"
#include "lauthd/state/store.h"
#include "lauthd/state/unknowns.h"
#include "lauthd/state/watch_hub.h"

namespace byod::lauthd {

class Connection;
class Listener;

struct Counters {
  uint64_t requests = 0;
  uint64_t refused = 0;
  uint64_t identifications = 0;
  uint64_t unknowns = 0;
  uint64_t changes = 0;
  uint64_t reloads = 0;
};

/// One in a process, as there is one rule store. Everything happens on one thread.
class Daemon {
 public:
  using Clock = std::chrono::steady_clock;

  /// @throws std::runtime_error  for a group that does not exist
  explicit Daemon(const Options& options);
  ~Daemon();
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  /// Loads the predefined rules, and what the database holds. Rows that cannot be used are told and
  /// left out. @throws std::runtime_error  without memory for the tables
  void Load();

  /// Makes the socket, so that a second daemon stops before it touches anything. Clients may
  /// connect from here on, and wait; so do signals. @throws std::runtime_error  when it cannot
  /// listen
  void Listen();

  /// Serves clients until a signal ends it. @throws what ends one of the daemon's own tasks
  void Run();

  /// Does what there is to do, and waits for it. @return false when there will be nothing any more
  bool RunOnce();

  /// Serves a client on after others have had their turn; by then it has probably gone, and nothing
  /// needs to be set up to wait for it.
  void LookAgainAt(std::shared_ptr<Connection> connection);

  /// Serves those clients on.
  void LookAgain();

  /// Reads the rule files anew; all rules are as before when anything is wrong with them.
  Result Reload();

  /// Takes a bulk back, of which nothing is stored yet, and lets others change again.
  void AbortBulk();

  /// Counts an answered request.
  void Count(const Exchange& exchange, const Result& result);

  uint64_t UptimeSeconds() const;

  const Options options;
  const std::optional<gid_t> admin_group;
  const Clock::duration idle_timeout;
  Counters counters;
  IdleRules idle;
  Authorization authorization;
  Store store;
  Unknowns unknowns;
  WatchHub watch_hub;
  Connections connections;
  ChangeGate gate;
  Bulk bulk;
  std::string reload_failure;

  /// For bytes between the kernel and a message, never over a wait.
  std::array<uint8_t, 65536> scratch;

 private:
  const Clock::time_point start_ = Clock::now();
  std::unique_ptr<Listener> listener_;
  std::vector<std::shared_ptr<Connection>> seen_lately_;

 public:
  // Behind the rest: the clients' coroutines go before what they use.
  asio::io_context io{1};

 private:
  // The signals that end it, and those that reload; caught from Listen on.
  asio::signal_set stop_{io};
  asio::signal_set hangup_{io};
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_DAEMON_H
