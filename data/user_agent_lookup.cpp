#include "data/user_agent_lookup.h"

#include "data/internal.h"

namespace byod::data {

const ByodUserAgentRule* FirstMatch(const char* ua) {
  for (const ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const ByodUserAgentRule* const rule = RuleOfMatchLink(link);
    if (byod_data_UserAgentMatch(ua, rule->keyword) == 1) return rule;
  }
  return nullptr;
}

}  // namespace byod::data
