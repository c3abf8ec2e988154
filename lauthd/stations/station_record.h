// SPDX-License-Identifier: Apache-2.0
// A station as bytes for the disk.
//
//   version 1 | address 6 | first 4 | last 4 | chosen since 4 | flags 1 | chosen list 1 | agent 1
//   answer before, answer, answer of each method               texts
//   vendor class, host name                                    text, time 4, feed text
//   place                                                      3 texts, time 4, feed text
//   count 1, then for each IP address       16, lease end 4, last 4, feed text
//   count 1, then for each option list      text, answer text, times 4, first 4, last 4,
//                                           length of the rule 1, background 1, feed text
//   count 1, then the same for each User-Agent
//   count 1, then for each change           to text, because text, time 4, cause 1, feed text
//
// A text is its length in 2 bytes and its bytes; integers are in network order.
#ifndef LAUTHD_STATIONS_STATION_RECORD_H
#define LAUTHD_STATIONS_STATION_RECORD_H

#include <string>
#include <string_view>

#include "lauthd/stations/stations.h"

namespace byod::lauthd {

std::string EncodeStation(const Stations& stations, const Station& station);

/// Adds the station of a record, unless its address is there already.
/// @return false when the bytes are not a record; nothing is added then
/// @throws std::bad_alloc
bool DecodeStation(Stations& stations, std::string_view record);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATION_RECORD_H
