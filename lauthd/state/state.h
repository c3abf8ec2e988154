// SPDX-License-Identifier: Apache-2.0
// Everything that the daemon knows: rules, authorization, the database, what is being changed.
#ifndef LAUTHD_STATE_STATE_H
#define LAUTHD_STATE_STATE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "lauthd/options.h"
#include "lauthd/repeated_warning.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/bulk.h"
#include "lauthd/state/change_gate.h"
#include "lauthd/state/idle_rules.h"
#include "lauthd/state/result.h"
#include "lauthd/state/store.h"
#include "lauthd/state/unknowns.h"
#include "lauthd/state/watch_hub.h"
#include "lauthd/stations/station_keeper.h"
#include "lauthd/stations/stations.h"

namespace byod::lauthd {

struct Counters {
  uint64_t requests = 0;
  uint64_t refused = 0;
  uint64_t identifications = 0;
  uint64_t unknowns = 0;
  uint64_t changes = 0;
  uint64_t reloads = 0;
};

/// One in a process, as there is one rule store. It knows neither sockets nor the event loop; what
/// has to wait registers a callback with the gate or the watch hub.
class State {
 public:
  explicit State(const Options& options);
  ~State();
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  /// Loads the predefined rules, and what the database holds. Rows that cannot be used are logged
  /// and skipped. @throws std::runtime_error  without memory for the tables
  void Load();

  /// Reads the rule files again; all rules stay as they are when anything is wrong with them.
  Result Reload();

  /// Rolls an open bulk back, of which nothing is stored yet, and lets other clients change again.
  void AbortBulk();

  /// Counts a request that has been carried out.
  void Count(uint32_t operation, const Result& result);

  /// Says that stations may have other answers now. They are answered again bit by bit.
  void RulesChanged();

  uint64_t UptimeSeconds() const;

  const Options options;
  Counters counters;
  IdleRules idle_rules;
  Authorization authorization;
  Store store;
  Unknowns unknowns;
  WatchHub watch_hub;
  RepeatedWarning refused_watches;
  ChangeGate gate;
  Bulk bulk;
  WatchHub station_hub;                           // for the changes of stations
  std::unique_ptr<Stations> stations;             // null: they are not remembered
  std::unique_ptr<StationKeeper> station_keeper;  // null: only until the daemon stops
  std::function<void()> on_unanswered;            // stations are to be answered again; may be empty
  size_t sessions = 0;                            // clients that are connected
  std::string reload_failure;  // why the last reload was refused; empty after a successful one
  std::optional<std::chrono::system_clock::time_point> registry_time;  // of the one in effect

 private:
  using Clock = std::chrono::steady_clock;

  const Clock::time_point start_ = Clock::now();
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_STATE_H
