// SPDX-License-Identifier: Apache-2.0
// Warnings about a rule that was just set.
#ifndef BYODCTL_RULES_RULE_ADVICE_H
#define BYODCTL_RULES_RULE_ADVICE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"
#include "explain/explain.h"

namespace byod::ctl {

/// @throws Failure of kExitBadInput for a text that no rule of this kind could match
void CheckExample(uint32_t kind, const std::string& example);

/// Asks the daemon for the step of a kind's search for a User-Agent, a list or an address.
/// @return nothing if the order leaves the kind out
std::optional<explain::Step> StepFor(Client& client, uint32_t kind, const std::string& value);

/**
 * Asks the daemon which rule wins each text that a rule should win.
 *
 * @param example  a User-Agent, a list or an address that the rule should win; empty = none
 * @return warnings that name the rule, none if there is nothing to warn about
 */
std::vector<std::string> AdviceOn(Client& client, const Rule& rule, const std::string& example);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_RULE_ADVICE_H
