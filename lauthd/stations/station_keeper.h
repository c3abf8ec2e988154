// SPDX-License-Identifier: Apache-2.0
// Stores what changes of the stations, some time later.
#ifndef LAUTHD_STATIONS_STATION_KEEPER_H
#define LAUTHD_STATIONS_STATION_KEEPER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "lauthd/stations/station_database.h"
#include "lauthd/stations/stations.h"

namespace byod::lauthd {

/// Every 5 seconds, or when 256 stations have changed, what has changed is handed to the database.
/// After a failure all stations are stored again from scratch.
class StationKeeper {
 public:
  using Clock = std::chrono::steady_clock;

  StationKeeper(std::string file, Stations& stations)
      : stations_(stations), database_(std::move(file)) {}

  /// Puts back what is stored. Without memory for all of it the rest is left out.
  void Load();

  /// A station has changed, or is about to be forgotten.
  void Note(const Station& station);

  /// Writes what is due. @return whether more waits to be written soon
  bool Tick(Clock::time_point now);

  /// Writes everything, and waits for it.
  void Finish();

 private:
  StationBatch TakeBatch();
  void BeginAgain();

  Stations& stations_;
  StationDatabase database_;
  std::deque<uint64_t> changed_;  // addresses; those of forgotten stations too
  bool from_scratch_ = false;
  Clock::time_point last_write_;
  Clock::time_point retry_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATION_KEEPER_H
