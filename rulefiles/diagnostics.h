// SPDX-License-Identifier: Apache-2.0
// Reports about rows that could not be used, and where they stand.
#ifndef BYOD_RULEFILES_DIAGNOSTICS_H
#define BYOD_RULEFILES_DIAGNOSTICS_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace byod::rulefiles {

/// Where a row begins. Line 0 means the file as a whole.
struct Place {
  std::shared_ptr<const std::string> file;
  size_t line = 0;
};

/// "mac.csv:12", or "mac.csv" for line 0.
std::string ToString(const Place& place);

/// What may be wrong in rule files. SeverityOf says how serious each is.
enum class Problem {
  kFile,            ///< a file or directory cannot be read
  kHeader,          ///< the rows of a file have no names, or none of the key
  kRow,             ///< a row cannot be used
  kConflict,        ///< another rule is in the way of a rule
  kRepeatedColumn,  ///< one of two columns of a name is lost
  kUnknownColumn,   ///< a column that no reader asks for is ignored
  kLongExpression   ///< a predefined expression may win over an administrator's rule
};

/// Behind an error something that was written has no effect: a start goes on without it, a reload
/// is refused, checks and imports end with a failure. A warning changes nothing of that.
enum class Severity { kWarning, kError };

/// The same for every reader of rule files.
Severity SeverityOf(Problem problem);

/// "error" or "warning"
const char* NameOf(Severity severity);

/// The problem in one word of small letters and hyphens.
const char* NameOf(Problem problem);

struct Diagnostic {
  Problem problem = Problem::kRow;
  Place place;
  std::string reason;                         ///< names the other place too
  std::optional<Place> other = std::nullopt;  ///< of the rule that is in the row's way
};

/// "mac.csv:12: vendor is 70 bytes long, 63 fit", or "mac.csv:1: warning: ..."
std::string ToString(const Diagnostic& diagnostic);

/// Hands each report to a sink.
class Diagnostics {
 public:
  using Sink = std::function<void(const Diagnostic&)>;

  explicit Diagnostics(Sink sink) : sink_(std::move(sink)) {}

  void Report(Problem problem, const Place& place, std::string reason,
              std::optional<Place> other = std::nullopt);

 private:
  Sink sink_;
};

/// A value inside a report: in double quotes, what a terminal might obey replaced, cut when long.
std::string Quoted(std::string_view value);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_DIAGNOSTICS_H
