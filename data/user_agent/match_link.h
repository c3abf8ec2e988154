// SPDX-License-Identifier: Apache-2.0
// The match list's links and their rules.
#ifndef BYOD_DATA_USER_AGENT_MATCH_LINK_H
#define BYOD_DATA_USER_AGENT_MATCH_LINK_H

#include <cstddef>

#include "byod_data.h"

namespace byod::data {

/// The rule in which a link, which is not null, is the match link.
inline ByodUserAgentRule* RuleOfMatchLink(ByodLink* link) {
  return reinterpret_cast<ByodUserAgentRule*>(reinterpret_cast<char*>(link) -
                                              offsetof(ByodUserAgentRule, match_link));
}

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_MATCH_LINK_H
