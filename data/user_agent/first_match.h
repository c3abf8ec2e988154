// The first rule, in the order of trying, whose expression matches a User-Agent.
#ifndef BYOD_DATA_USER_AGENT_FIRST_MATCH_H
#define BYOD_DATA_USER_AGENT_FIRST_MATCH_H

#include <cstddef>

#include "byod_data.h"

namespace byod::data {

/// The rule in which a link, which is not null, is the match link.
inline ByodUserAgentRule* RuleOfMatchLink(ByodLink* link) {
  return reinterpret_cast<ByodUserAgentRule*>(reinterpret_cast<char*>(link) -
                                              offsetof(ByodUserAgentRule, match_link));
}

/// @return the rule, or null
const ByodUserAgentRule* FirstMatch(const char* ua);

/// The same by trying every rule of the match list in turn: what FirstMatch is measured by, and
/// what it does while the index does not know the list.
const ByodUserAgentRule* FirstMatchByWalking(const char* ua);

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_FIRST_MATCH_H
