// SPDX-License-Identifier: Apache-2.0
// The first rule, in the order of trying, whose expression matches a User-Agent.
#ifndef BYOD_DATA_USER_AGENT_FIRST_MATCH_H
#define BYOD_DATA_USER_AGENT_FIRST_MATCH_H

#include "byod_data.h"
#include "data/internal.h"
#include "data/user_agent/match_link.h"
#include "data/user_agent/searchable_table.h"

namespace byod::data {

/// FirstMatch by trying every rule of the match list in turn: what FirstMatch is measured by, and
/// what it does while the index does not know the list.
inline const ByodUserAgentRule* FirstMatchByWalking(const char* ua) {
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const ByodUserAgentRule* const rule = RuleOfMatchLink(link);
    if (byod_data_UserAgentMatch(ua, rule->keyword) == 1) return rule;
  }
  return nullptr;
}

/// FirstMatch for the programs. A library without the search behind its record is walked.
inline const ByodUserAgentRule* FirstMatchInLibrary(const char* ua) {
  const auto* const table =
      reinterpret_cast<const SearchableUserAgentTable*>(BYOD_data_GetUserAgentRuleTbl());
  return table->self == table ? table->first_match(ua) : FirstMatchByWalking(ua);
}

/// Settle for the programs. @return false where the library cannot
inline bool SettleInLibrary(ByodUserAgentRule& rule, OrderOfRules before) {
  const auto* const table =
      reinterpret_cast<const SearchableUserAgentTable*>(BYOD_data_GetUserAgentRuleTbl());
  return table->self == table && table->self_too == table && table->settle(&rule, before);
}

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_FIRST_MATCH_H
