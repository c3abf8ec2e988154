// What one rule says of itself: nothing of this depends on other rules.
#ifndef BYOD_LINT_REMARKS_H
#define BYOD_LINT_REMARKS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lint/expression.h"
#include "lint/finding.h"
#include "rulefiles/prefix.h"
#include "rulefiles/rule_file.h"

namespace byod::lint {

struct Remark {
  Severity severity = Severity::kError;
  const char* check = "";  ///< as Finding::check
  std::string reason;
};

/// That an alternative has no term.
std::optional<Remark> RemarkOnMatchingEverything(const std::vector<Terms>& alternatives);

/// That single or repeated separators are read otherwise than they look.
std::optional<Remark> RemarkOnSeparators(const std::string& expression,
                                         const std::vector<Terms>& alternatives);

/// That a term of an alternative stands in no header.
std::optional<Remark> RemarkOnTerms(const Terms& terms);

/// That no list of options is written so.
std::optional<Remark> RemarkOnOptions(const std::string& options);

/// That no terminal has an address of the block.
std::optional<Remark> RemarkOnBlock(const rulefiles::Prefix& prefix);

/// That a rule says nothing.
std::optional<Remark> RemarkOnDevice(const rulefiles::DeviceText& device);

/// Whether a text may be that of a header field, which holds blanks and tabs, but no other control
/// character.
bool MayStandInAHeader(std::string_view text);

/// Whether the library writes this text for a list of options.
bool IsOptionList(std::string_view text);

}  // namespace byod::lint

#endif  // BYOD_LINT_REMARKS_H
