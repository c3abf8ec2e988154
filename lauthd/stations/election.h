// SPDX-License-Identifier: Apache-2.0
// Which option list and which User-Agent of a station say what it is.
#ifndef LAUTHD_STATIONS_ELECTION_H
#define LAUTHD_STATIONS_ELECTION_H

#include <cstdint>

#include "lauthd/stations/feeds.h"
#include "lauthd/stations/station.h"

namespace byod::lauthd {

/// For so long a chosen User-Agent is not replaced by one that is not better in kind.
inline constexpr Seconds kStickySeconds = 60;

/// What was said longer ago does not count any more for whether a station is shared.
inline constexpr Seconds kSharedSeconds = 86400;

struct Election {
  int8_t list = kNotChosen;
  int8_t agent = kNotChosen;
  bool is_shared = false;
  bool is_waiting = false;  // a better User-Agent waits for the end of the minute
};

/**
 * Elects by what is stored: the seen values and their answers.
 *
 * The option list: the one of the feed that is trusted most, of several the last. The User-Agent:
 * none of a background program, and none where so many operating systems are behind the address
 * that many terminals share it; of the others the one that agrees with the operating system of the
 * option list, then the one with the longest expression, the one of the more trusted feed, the one
 * seen more often, the one known longer. A chosen one stays for a minute, unless another one agrees
 * with the option list and it does not.
 */
Election Elect(const Station& station, const Feeds& feeds, Seconds now);

/// Which User-Agent, or option list, makes room for another one: never the chosen one.
size_t LeastNeeded(const Station& station, bool agents);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_ELECTION_H
