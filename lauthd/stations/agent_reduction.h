// SPDX-License-Identifier: Apache-2.0
// What may be kept of a User-Agent where as little as possible is to be kept.
#ifndef LAUTHD_STATIONS_AGENT_REDUCTION_H
#define LAUTHD_STATIONS_AGENT_REDUCTION_H

#include <string>

namespace byod::lauthd {

/// The words of a User-Agent that its rule looked for, with blanks between them. They identify the
/// terminal as the whole text does; versions and whatever else the text says are not among them.
/// @return empty where no rule matches, or these words alone would match another rule
std::string MatchedPartOf(const std::string& user_agent);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_AGENT_REDUCTION_H
