// SPDX-License-Identifier: Apache-2.0
// Problems of single rules, which do not depend on other rules.
#ifndef BYOD_LINT_REMARKS_H
#define BYOD_LINT_REMARKS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lint/expression.h"
#include "lint/finding.h"
#include "net/prefix.h"
#include "rulefiles/rule_file.h"

namespace byod::lint {

struct Remark {
  Severity severity = Severity::kError;
  const char* check = "";  ///< as Finding::check
  std::string reason;
};

/// An alternative without terms.
std::optional<Remark> RemarkOnMatchingEverything(const std::vector<Terms>& alternatives);

/// Single or repeated separators, which are read differently from how they look.
std::optional<Remark> RemarkOnSeparators(const std::string& expression,
                                         const std::vector<Terms>& alternatives);

/// A term of an alternative that no header contains.
std::optional<Remark> RemarkOnTerms(const Terms& terms);

/// A text that no list of options has.
std::optional<Remark> RemarkOnOptions(const std::string& options);

/// A block without addresses of terminals.
std::optional<Remark> RemarkOnBlock(const net::Prefix& prefix);

/// A rule without fields.
std::optional<Remark> RemarkOnDevice(const rulefiles::DeviceText& device);

/// Whether a text can be a header field: without control characters except tabs.
bool MayStandInAHeader(std::string_view text);

/// Whether this is the text that the library makes of some list of options.
bool IsOptionList(std::string_view text);

}  // namespace byod::lint

#endif  // BYOD_LINT_REMARKS_H
