// The first rule, in the order of trying, whose expression matches a User-Agent.
#ifndef BYOD_DATA_USER_AGENT_LOOKUP_H
#define BYOD_DATA_USER_AGENT_LOOKUP_H

#include <cstddef>

#include "byod_data.h"

namespace byod::data {

/// The rule in which a link, which is not null, is the match link.
inline const ByodUserAgentRule* RuleOfMatchLink(const ByodLink* link) {
  return reinterpret_cast<const ByodUserAgentRule*>(reinterpret_cast<const char*>(link) -
                                                    offsetof(ByodUserAgentRule, match_link));
}

/// @return the rule, or null
const ByodUserAgentRule* FirstMatch(const char* ua);

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_LOOKUP_H
