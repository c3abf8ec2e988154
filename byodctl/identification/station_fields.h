// SPDX-License-Identifier: Apache-2.0
// Stations in messages.
#ifndef BYODCTL_IDENTIFICATION_STATION_FIELDS_H
#define BYODCTL_IDENTIFICATION_STATION_FIELDS_H

#include <cstdint>
#include <string>

#include "byodctl/daemon/client.h"
#include "byodctl/text/listing.h"

namespace byod::ctl {

/// Adds the key of a station to a request: a MAC address in any usual spelling, or an IP address.
void AddStationKey(Request& request, const std::string& key);

/// What is wrong with the key of a station; empty = nothing.
std::string FaultOfStationKey(const std::string& key);

/// A station as an item of a listing.
Item StationItem(const Fields& station);

/// The keys of StationItem in JSON.
inline constexpr char kStationKeys[] =
    "mac, vendor, category, os, name, contradicting, shared, identified, locally_administered, "
    "host_name, access_device, port, session, addresses {address, lease_end (or null), last, "
    "feed}, first, last, changed (or null)";

/// All that is known of a station, as JSON.
Json StationJson(const Fields& station);

/// "Samsung Mobile, Android (Galaxy)"; "-" where nothing is known.
std::string AnswerText(const Fields& answer);

/// A change of a station as JSON.
Json ChangeJson(const Fields& change);

/// Why an answer changed: "user-agent", "rules", ...
const char* CauseName(uint32_t cause);

/// What caused a change: an option list or a text.
std::string CauseText(const Fields& change);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_STATION_FIELDS_H
