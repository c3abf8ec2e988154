// SPDX-License-Identifier: Apache-2.0
// Stations, their changes and feeds in messages. docs/messages.md says what each holds.
#ifndef LAUTHD_STATIONS_STATION_MESSAGE_H
#define LAUTHD_STATIONS_STATION_MESSAGE_H

#include <cstdint>

#include "lauthd/stations/feeds.h"
#include "lauthd/stations/stations.h"
#include "tlv/append.h"
#include "tlv/message.h"

namespace byod::lauthd {

/// How much of a station is sent: BYOD_TLV_QUERYARG2 of a request.
enum class StationDetail : uint32_t { kAnswer = 0, kSummary = 1, kAll = 2 };

/// Appends an answer's fields, as far as there are any.
void AppendAnswer(tlv::Appender& append, std::string_view packed);

/// Appends a station. Without memory the appender fails.
void AppendStation(tlv::Appender& append, const Stations& stations, const Station& station,
                   StationDetail detail);

/// BYOD_STATION_*
uint32_t FlagsOf(const Station& station);

/// The last change of a station as a message. @param from  the answer before
/// @return an empty handle without memory
tlv::Message EncodeChange(const Stations& stations, const Station& station, TextId from);

/// @return an empty handle without memory
tlv::Message EncodeFeed(const Feed& feed);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATION_MESSAGE_H
