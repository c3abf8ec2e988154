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

struct Diagnostic {
  Place place;
  std::string reason;                         ///< names the other place too
  std::optional<Place> other = std::nullopt;  ///< of the rule that is in the row's way
};

/// "mac.csv:12: vendor is 70 bytes long, 63 fit"
std::string ToString(const Diagnostic& diagnostic);

/// Hands each report to a sink and counts them.
class Diagnostics {
 public:
  using Sink = std::function<void(const Diagnostic&)>;

  explicit Diagnostics(Sink sink) : sink_(std::move(sink)) {}

  void Report(const Place& place, std::string reason, std::optional<Place> other = std::nullopt);

  size_t count() const { return count_; }

 private:
  Sink sink_;
  size_t count_ = 0;
};

/// A value inside a report: in double quotes, what a terminal might obey replaced, cut when long.
std::string Quoted(std::string_view value);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_DIAGNOSTICS_H
