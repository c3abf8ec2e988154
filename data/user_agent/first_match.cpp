// SPDX-License-Identifier: Apache-2.0
#include "data/user_agent/first_match.h"

#include "data/rule_store.h"

namespace byod::data {

const ByodUserAgentRule* FirstMatch(const char* ua) {
  if (store.match_list.Mirrored()) return store.user_agent_index.Find(ua);
  return FirstMatchByWalking(ua);
}

}  // namespace byod::data
