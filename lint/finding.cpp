// SPDX-License-Identifier: Apache-2.0
#include "lint/finding.h"

#include <algorithm>

namespace byod::lint {

std::string ToString(const Finding& finding) {
  return ToString(finding.place) + ": " + NameOf(finding.severity) + ": " + finding.reason;
}

size_t Count(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<size_t>(std::ranges::count(findings, severity, &Finding::severity));
}

}  // namespace byod::lint
