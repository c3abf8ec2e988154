// What a rule that was just set will do, where that is not what it looks like.
#ifndef BYODCTL_RULES_RULE_ADVICE_H
#define BYODCTL_RULES_RULE_ADVICE_H

#include <string>
#include <vector>

#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"

namespace byod::ctl {

/// @throws Failure of kExitBadInput for a text that is not what rules of this kind are for
void CheckExample(uint32_t kind, const std::string& example);

/**
 * Asks the daemon for the rule as it is now, and which rule wins the texts that it is for.
 *
 * @param key      of a rule that is there
 * @param example  a User-Agent, a list or an address that the rule ought to win; empty = none
 * @return warnings that name the rule, none for a rule that does what it looks like
 */
std::vector<std::string> AdviceOn(Client& client, const RuleKey& key, const std::string& example);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_RULE_ADVICE_H
