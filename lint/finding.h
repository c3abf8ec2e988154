// What the lint finds.
#ifndef BYOD_LINT_FINDING_H
#define BYOD_LINT_FINDING_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rulefiles/diagnostics.h"

namespace byod::lint {

/// An error is a rule, or an alternative of one, that does not do what it is written for. A warning
/// is one that works, but not as it looks.
using rulefiles::Severity;

/// The other rule of a finding.
struct Other {
  rulefiles::Place place;
  std::string rule;  ///< its expression, option list or block; empty when only its place is known
};

struct Finding {
  Severity severity = Severity::kError;
  const char* check = "";  ///< which of the checks, in one word of small letters and hyphens
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
