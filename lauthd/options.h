// SPDX-License-Identifier: Apache-2.0
// What the administrator may choose, on the command line or in the configuration file.
#ifndef LAUTHD_OPTIONS_H
#define LAUTHD_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "byod_data.h"
#include "lauthd/log.h"
#include "lauthd/stations/feeds.h"
#include "lauthd/stations/stations.h"
#include "rulefiles/rule_file.h"

namespace byod::lauthd {

/// Where terminals are remembered.
enum class StationMemory { kNone, kMemory, kDisk };

struct Options {
  std::string socket;
  std::string socket_group;  // empty: the daemon's own
  std::string admin_group;   // empty: nobody but root and the daemon's own user
  std::string rules;         // a directory; empty: no predefined rules
  std::string ieee;          // the directory of the registry; empty: none
  rulefiles::ModuleMakers module_makers = rulefiles::ModuleMakers::kMarked;
  std::string state_dir;
  bool no_database = false;
  uint32_t rule_limit = BYOD_NO_RULE_LIMIT;
  uint32_t carved_limit = 4096;  // MAC rules within others
  uint32_t max_connections = 1024;
  uint32_t user_share = 25;    // percent of the connections and watches that one user may have
  uint32_t idle_timeout = 60;  // seconds, for what a client owes
  uint32_t bulk_timeout = 30;  // seconds, for a bulk as a whole
  uint32_t stop_timeout = 10;  // seconds
  StationMemory stations = StationMemory::kDisk;
  StationLimits station_limits;
  std::string sightings;         // a datagram socket; empty: none
  std::string feed_group;        // whose members may report; empty: the daemon's own
  std::vector<FeedTrust> feeds;  // over the usual ones
  Severity log_level = Severity::kNotice;
  bool insecure = false;  // files that others may write are used
  bool check = false;
  bool timing = false;
};

/**
 * Reads the command line and the configuration file that it names, or the usual one if it is there.
 *
 * @param options    filled in
 * @return the status to exit with, when there is nothing more to do: help was asked for, or
 *         something is wrong, which is reported on standard error
 */
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

}  // namespace byod::lauthd

#endif  // LAUTHD_OPTIONS_H
