// SPDX-License-Identifier: Apache-2.0
// Reads the predefined rules from their files.
#ifndef LAUTHD_STATE_RULE_SOURCE_H
#define LAUTHD_STATE_RULE_SOURCE_H

#include <string>
#include <vector>

#include "lauthd/options.h"
#include "rulefiles/rule_set.h"

namespace byod::lauthd {

/// All predefined rules, and what is wrong with the files.
struct PredefinedRules {
  rulefiles::RuleSet set;
  std::vector<rulefiles::Diagnostic> faults;  // in the order in which they were found
  std::string insecure;                       // why the files must not be used; empty when they may
};

inline bool IsError(const rulefiles::Diagnostic& fault) {
  return SeverityOf(fault.problem) == rulefiles::Severity::kError;
}

class RuleSource {
 public:
  explicit RuleSource(const Options& options) : options_(options) {}

  /// Reads all files. Without any there are no rules.
  PredefinedRules Read() const;

  /// Whether a person watches: standard error is a terminal.
  bool shows_progress() const;

 private:
  const Options& options_;
};

/// Puts predefined rules into the tables, which have been made, and logs the faults.
/// @return whether there was memory for all of them
bool LoadPredefined(const PredefinedRules& rules, bool show_progress);

/// Whether a User-Agent is one of a background program, by the files that were loaded last.
bool IsBackgroundAgent(const char* user_agent);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RULE_SOURCE_H
