// SPDX-License-Identifier: Apache-2.0
// What a User-Agent rule wins and loses.
#ifndef BYODCTL_RULES_RULE_GAIN_H
#define BYODCTL_RULES_RULE_GAIN_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"
#include "byodctl/text/json.h"

namespace byod::ctl {

/// How many User-Agents of some kind the rule matches, and on how many of them it wins.
struct Share {
  size_t matched = 0;
  size_t won = 0;
  std::map<std::string, size_t> lost_to;  ///< by the rule that wins instead
};

struct RuleGain {
  Share examples;                            ///< of the predefined rules
  Share unknown;                             ///< fingerprints that nothing matched
  std::map<std::string, size_t> taken_from;  ///< of these examples: by the rule they are for
  std::vector<std::string> over;             ///< predefined rules that match the example it wins
};

/**
 * Asks the daemon, which counts each question as an identification.
 *
 * @param rule     a User-Agent rule in effect
 * @param example  a User-Agent that the rule wins; empty = none
 * @return nothing if the order leaves User-Agents out
 */
std::optional<RuleGain> GainOf(Client& client, const Rule& rule, const std::string& example);

/// Lines for people, none where nothing is matched.
std::vector<std::string> LinesOf(const RuleGain& gain);

/// null without a gain.
Json JsonOf(const std::optional<RuleGain>& gain);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_RULE_GAIN_H
