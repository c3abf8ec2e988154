// SPDX-License-Identifier: Apache-2.0
// The one rule store of the process, as the rule tables see it.
#ifndef BYOD_DATA_RULE_STORE_H
#define BYOD_DATA_RULE_STORE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "byod_data.h"
#include "data/containers/list_marks.h"
#include "data/containers/ranked_list.h"
#include "data/containers/text_index.h"
#include "data/spare_mac_rules.h"
#include "data/user_agent/index.h"
#include "data/user_agent/searchable_table.h"
#include "lauth_hash.h"

namespace byod::data {

/// The text of a rule that stands so many bytes behind a link of it.
inline const char* Behind(const ByodLink& link, size_t bytes) {
  return reinterpret_cast<const char*>(&link) + bytes;
}

struct RuleStore {
  ByodDhcpOptionTable dhcp = {};
  SearchableUserAgentTable user_agent = {{}, &user_agent, FirstMatch, &user_agent, Settle};
  ByodMacTable mac = {};
  uint32_t custom_limit = BYOD_NO_RULE_LIMIT;

  // Over the lists of the tables above.
  RankedList<TextMark> dhcp_list{
      &dhcp.list, [](const ByodLink& link) {
        using Rule = ByodDhcpOptionRule;
        return TextMark(Behind(link, offsetof(Rule, text) - offsetof(Rule, list_link)));
      }};
  RankedList<TextMark> user_agent_list{
      &user_agent.table.list, [](const ByodLink& link) {
        using Rule = ByodUserAgentRule;
        return TextMark(Behind(link, offsetof(Rule, keyword) - offsetof(Rule, list_link)));
      }};
  RankedList<LengthMark> match_list{
      &user_agent.table.match_list, [](const ByodLink& link) {
        using Rule = ByodUserAgentRule;
        return LengthMark{
            std::strlen(Behind(link, offsetof(Rule, keyword) - offsetof(Rule, match_link)))};
      }};
  TextIndex dhcp_texts;
  TextIndex user_agent_texts;
  UserAgentIndex user_agent_index{&match_list};

  SpareMacRules spare_mac_rules;
};

extern RuleStore store;

/// Whether one more rule of this origin would be a custom rule too many.
bool LimitReached(uint32_t origin);

/// Counts a rule of this origin in or out; every table record begins with the same two counts.
template <typename Table>
void Count(Table& table, uint32_t origin, int change) {
  table.rule_count += static_cast<uint32_t>(change);
  if (origin == BYOD_RULE_CUSTOM) table.custom_count += static_cast<uint32_t>(change);
}

inline HASH_Table* HashOf(void* handle) {
  return static_cast<HASH_Table*>(handle);
}

}  // namespace byod::data

#endif  // BYOD_DATA_RULE_STORE_H
