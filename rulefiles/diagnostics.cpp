// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/diagnostics.h"

#include <algorithm>

#include "rulefiles/text.h"

namespace byod::rulefiles {
namespace {

struct ProblemRow {
  Problem problem;
  const char* name;
  Severity severity;
};

constexpr ProblemRow kProblems[] = {
    {Problem::kFile, "file", Severity::kError},
    {Problem::kHeader, "header", Severity::kError},
    {Problem::kRow, "unusable", Severity::kError},
    {Problem::kConflict, "conflict", Severity::kError},
    {Problem::kRepeatedColumn, "repeated-column", Severity::kError},
    {Problem::kUnknownColumn, "unknown-column", Severity::kWarning},
    {Problem::kLongExpression, "long-expression", Severity::kWarning},
};

const ProblemRow& RowOf(Problem problem) {
  return *std::ranges::find(kProblems, problem, &ProblemRow::problem);
}

}  // namespace

std::string ToString(const Place& place) {
  return place.line == 0 ? *place.file : *place.file + ":" + std::to_string(place.line);
}

Severity SeverityOf(Problem problem) {
  return RowOf(problem).severity;
}

const char* NameOf(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

const char* NameOf(Problem problem) {
  return RowOf(problem).name;
}

std::string ToString(const Diagnostic& diagnostic) {
  const bool is_warning = SeverityOf(diagnostic.problem) == Severity::kWarning;
  return ToString(diagnostic.place) + (is_warning ? ": warning: " : ": ") + diagnostic.reason;
}

void Diagnostics::Report(Problem problem, const Place& place, std::string reason,
                         std::optional<Place> other) {
  if (sink_) sink_({problem, place, std::move(reason), std::move(other)});
}

std::string Quoted(std::string_view value) {
  constexpr size_t kMaxLength = 60;
  std::string text{CutAtCharacter(value, kMaxLength)};
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return '"' + text + (text.size() < value.size() ? "...\"" : "\"");
}

}  // namespace byod::rulefiles
