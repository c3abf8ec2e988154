// The first rule, in the order of trying, whose expression matches a User-Agent.
#ifndef BYOD_DATA_USER_AGENT_FIRST_MATCH_H
#define BYOD_DATA_USER_AGENT_FIRST_MATCH_H

#include "byod_data.h"
#include "data/internal.h"

namespace byod::data {

/// @return the rule, or null
const ByodUserAgentRule* FirstMatch(const char* ua);

/// The same by trying every rule of the match list in turn: what FirstMatch is measured by, and
/// what it does while the index does not know the list.
inline const ByodUserAgentRule* FirstMatchByWalking(const char* ua) {
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const ByodUserAgentRule* const rule = RuleOfMatchLink(link);
    if (byod_data_UserAgentMatch(ua, rule->keyword) == 1) return rule;
  }
  return nullptr;
}

/// The User-Agent table in the store. Behind the exported record stands the search, for the
/// programs: the exported functions return what the matching rule says, but not which rule it is.
struct SearchableUserAgentTable {
  ByodUserAgentTable table;
  const void* self;  // the address of this record, if the search is there
  const ByodUserAgentRule* (*first_match)(const char* ua);
};

/// FirstMatch for the programs. A library without the search behind its record is walked.
inline const ByodUserAgentRule* FirstMatchInLibrary(const char* ua) {
  const auto* const table =
      reinterpret_cast<const SearchableUserAgentTable*>(BYOD_data_GetUserAgentRuleTbl());
  return table->self == table ? table->first_match(ua) : FirstMatchByWalking(ua);
}

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_FIRST_MATCH_H
