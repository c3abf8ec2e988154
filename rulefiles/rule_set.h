// SPDX-License-Identifier: Apache-2.0
// All predefined rules of a program, fit to be handed in.
#ifndef BYOD_RULEFILES_RULE_SET_H
#define BYOD_RULEFILES_RULE_SET_H

#include <string>
#include <vector>

#include "rulefiles/background_agents.h"
#include "rulefiles/rule_file.h"
#include "rulefiles/successors.h"

namespace byod::rulefiles {

/// Rules that the tables take: no two MAC rules overlap, no two other rules have the same text.
struct RuleSet {
  std::vector<MacRule> mac;
  std::vector<TextRule> user_agent;
  std::vector<TextRule> dhcp_option;
  std::vector<Successor> successors;             ///< of rules that are no longer among these
  std::vector<BackgroundAgent> background = {};  ///< not rules: what says nothing of a terminal
};

/// Where rules are read from; an empty name = from nowhere.
struct Sources {
  /// Holds mac.csv, user-agent.csv, dhcp-option.csv, vendor-alias.csv, successors.csv and
  /// background-user-agent.csv, any of which may be absent, but not all, unless there are files for
  /// evidence.
  std::string rules_directory;
  /// Holds the registry's files.
  std::string registry_directory;
  ModuleMakers module_makers = ModuleMakers::kMarked;
};

/**
 * Reads every rule of the sources.
 *
 * Two rules of our own that overlap, or have the same text, are reported with both places, and the
 * first one counts. A rule of our own for the very block of a registry rule takes its place without
 * a word; one that overlaps a registry rule in any other way is reported with both places and left
 * out.
 */
RuleSet ReadRuleSet(const Sources& sources, Diagnostics& diagnostics);

/// The MAC rules of ReadRuleSet: rules of our own, in the order in which they were read, and the
/// registry's, which do not overlap.
std::vector<MacRule> MergeMacRules(std::vector<MacRule> own, std::vector<MacRule> registry,
                                   Diagnostics& diagnostics);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_RULE_SET_H
