// SPDX-License-Identifier: Apache-2.0
// A problem in a rule file.
#ifndef BYOD_LINT_FINDING_H
#define BYOD_LINT_FINDING_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rulefiles/diagnostics.h"

namespace byod::lint {

/// An error is a rule, or an alternative of one, that has no effect. A warning is one that works
/// differently from how it reads.
using rulefiles::Severity;

/// The other rule of a finding.
struct Other {
  rulefiles::Place place;
  std::string rule;  ///< its expression, option list or block; empty when only its place is known
};

struct Finding {
  Severity severity = Severity::kError;
  const char* check = "";  ///< the name of the check, in lower case with hyphens
  rulefiles::Place place;
  std::string rule;  ///< empty for a row that could not be read as one
  std::string reason;
  std::optional<Other> other = std::nullopt;
};

/// "mac.csv:12: error: ..."
std::string ToString(const Finding& finding);

size_t Count(const std::vector<Finding>& findings, Severity severity);

}  // namespace byod::lint

#endif  // BYOD_LINT_FINDING_H
