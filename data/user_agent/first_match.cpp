#include "data/user_agent/first_match.h"

#include "data/internal.h"
#include "data/rule_store.h"

namespace byod::data {

const ByodUserAgentRule* FirstMatch(const char* ua) {
  if (store.match_list.Mirrored()) return store.user_agent_index.Find(ua);
  return FirstMatchByWalking(ua);
}

const ByodUserAgentRule* FirstMatchByWalking(const char* ua) {
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const ByodUserAgentRule* const rule = RuleOfMatchLink(link);
    if (byod_data_UserAgentMatch(ua, rule->keyword) == 1) return rule;
  }
  return nullptr;
}

}  // namespace byod::data
