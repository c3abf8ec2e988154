// SPDX-License-Identifier: Apache-2.0
// byodctl import

#include <array>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/daemon/bulk.h"
#include "byodctl/preview/trial.h"
#include "byodctl/rules/desired_rules.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/rule_csv.h"
#include "byodctl/text/counted.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/listing.h"
#include "byodctl/text/progress_line.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string file;
  bool dry_run = false;
  bool replace = false;
  bool json = false;
};

enum Action { kAdded, kChanged, kUnchanged, kRefused, kBad, kRemoved, kWarning, kActionCount };
constexpr const char* kActionNames[kActionCount] = {"added", "changed", "unchanged", "refused",
                                                    "bad",   "removed", "warning"};

/// The result for a row.
struct Outcome {
  Action action = kBad;
  std::string reason;  ///< why it was refused, or is bad
};

/// Reports errors of rows at once, and the results of all rows at the end.
class Report {
 public:
  explicit Report(const Options& options) : options_(options) {}

  /// @param rule  null for a row that could not be read
  void Add(const rulefiles::Place& place, const Rule* rule, const Outcome& outcome) {
    ++counts_[outcome.action];
    const bool has_row = place.file != nullptr;
    if (!outcome.reason.empty()) {
      std::cerr << (has_row ? Printable(rulefiles::ToString(place))
                            : "byodctl: " + Printable(ToString(rule->key)))
                << ": " << Prefix(outcome.action) << Printable(outcome.reason) << '\n';
    }
    if (!options_.json && (rule == nullptr || outcome.action == kUnchanged)) return;
    rows_.Add({{"line", has_row ? Json(place.line) : Json()},
               {"kind", rule != nullptr ? Json(kRuleKindNames[rule->key.kind]) : Json()},
               {"key", rule != nullptr ? Json(ToString(rule->key)) : Json()},
               {"action", kActionNames[outcome.action]},
               {"reason", OrNull(outcome.reason)}},
              outcome.action == kRefused ? Emphasis::kAlarm : Emphasis::kNone);
  }

  size_t Count(Action action) const { return counts_[action]; }

  /// @param is_kept  else nothing was changed, in a dry run or because of an error
  int Finish(bool is_kept) {
    rows_.Finish();
    if (options_.json || options_.dry_run) std::cout << written_.str();
    if (!options_.json) WriteCounts(is_kept);
    if (counts_[kBad] > 0) return kExitBadInput;
    return counts_[kRefused] > 0 ? kExitRefused : kExitSuccess;
  }

 private:
  static const char* Prefix(Action action) {
    if (action == kRefused) return "refused: ";
    return action == kWarning ? "warning: " : "";
  }

  void WriteCounts(bool is_kept) const {
    std::cout << (is_kept ? "" : "would be ");
    for (size_t action = 0; action < kRemoved; ++action)
      std::cout << (action > 0 ? ", " : "") << counts_[action] << ' ' << kActionNames[action];
    if (options_.replace) std::cout << ", " << counts_[kRemoved] << " removed";
    if (counts_[kWarning] > 0) std::cout << ", " << Counted(counts_[kWarning], "warning");
    std::cout << '\n';
  }

  const Options& options_;
  std::array<size_t, kActionCount> counts_ = {};
  std::ostringstream written_;  // rows follow all messages
  Listing rows_{FormOf(options_.json),
                {{"LINE", "line"},
                 {"ACTION", "action"},
                 {"KIND", "kind"},
                 {"KEY", "key"},
                 {"REASON", "reason"}},
                written_};
};

rulefiles::File ReadInput(const std::string& name) {
  if (name == "-") {
    return {"-", {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()}};
  }
  std::string fault;
  rulefiles::Diagnostics diagnostics(
      [&](const rulefiles::Diagnostic& diagnostic) { fault = ToString(diagnostic); });
  auto file = rulefiles::ReadFile(name, diagnostics, rulefiles::Pipes::kRead);
  if (!file) throw Failure(kExitBadInput, fault);
  return std::move(*file);
}

/// Repeats a refused change by itself, since the reply to a single change has the reason.
std::string ReasonOf(Client& client, const Request& change) {
  try {
    client.Change(change);
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
  return "refused at first";
}

/// @param changes, codes  of this rule
Outcome OutcomeOf(Client& client, const Request* changes, const uint32_t* codes, size_t count) {
  bool changed = false;
  for (size_t i = 0; i < count; ++i) {
    if (codes[i] != 0 && codes[i] != BYOD_ERR_NOCHANGE) {
      return {kRefused, ReasonOf(client, changes[i])};
    }
    changed = changed || codes[i] == 0;
  }
  if (codes[0] == 0) return {kAdded, {}};
  return {changed ? kChanged : kUnchanged, {}};
}

Outcome OutcomeOf(Client& client, const DesiredRule& desired, const Request* changes,
                  const uint32_t* codes, size_t count) {
  const Outcome outcome = OutcomeOf(client, changes, codes, count);
  if (desired.is_moved && outcome.action != kRefused) return {kChanged, {}};
  return desired.IsRemoval() && outcome.action != kRefused ? Outcome{kRemoved, {}} : outcome;
}

/// User-Agent rules whose keys change, so that others find their place.
void Apply(Client& client, Bulk& bulk, const std::vector<Request>& moves) {
  const std::vector<uint32_t> codes = bulk.Apply(moves);
  for (size_t i = 0; i < moves.size(); ++i) {
    if (codes[i] == 0 || codes[i] == BYOD_ERR_NOCHANGE) continue;
    throw Failure(kExitRefused, "a rule cannot change its place: " + ReasonOf(client, moves[i]));
  }
}

void Apply(Client& client, Bulk& bulk, const std::vector<DesiredRule>& rules, Report& report) {
  constexpr size_t kAtOnce = 100;
  ProgressLine progress("of " + Counted(rules.size(), "rule"));
  for (size_t first = 0; first < rules.size(); first += kAtOnce) {
    const size_t last = std::min(first + kAtOnce, rules.size());
    std::vector<Request> changes;
    std::vector<size_t> starts;
    for (size_t i = first; i < last; ++i) {
      starts.push_back(changes.size());
      AppendChanges(rules[i], changes);
    }
    starts.push_back(changes.size());
    const std::vector<uint32_t> codes = bulk.Apply(changes);
    for (size_t i = first; i < last; ++i) {
      const size_t at = starts[i - first];
      report.Add(rules[i].place, &rules[i].rule,
                 OutcomeOf(client, rules[i], &changes[at], &codes[at], starts[i - first + 1] - at));
    }
    progress.Show(last);
  }
}

/// --replace makes all changes or none: part of a file would be another configuration.
bool MayBeKept(const Options& options, const Report& report) {
  return !options.replace || report.Count(kBad) + report.Count(kRefused) == 0;
}

/// @return whether the changes are kept
bool Change(const Options& options, const Settings& settings, RuleCsv file, Report& report) {
  if (!MayBeKept(options, report)) return false;
  if (file.rules.empty() && !options.replace) return !options.dry_run;
  const std::unique_ptr<Trial> trial = options.dry_run ? CopyOfDaemon(settings) : nullptr;
  // Reading may have taken longer than the daemon keeps an idle connection.
  Client client(trial ? trial->settings() : settings);
  Bulk bulk(client);
  // Listed inside the bulk, so that nothing changes in between: other clients wait for its end.
  const DesiredRules desired = options.replace ? ReplacedRules(client, std::move(file))
                                               : AddedRules(client, std::move(file));
  Apply(client, bulk, desired.moves);
  Apply(client, bulk, desired.rules, report);
  if (options.dry_run || !MayBeKept(options, report)) {
    bulk.RollBack();
    return false;
  }
  bulk.Commit();
  return true;
}

int Import(const Options& options, const Settings& settings) {
  // A missing daemon is reported before anything is read.
  {
    const Client probe(settings);
  }
  Report report(options);
  rulefiles::Diagnostics diagnostics([&](const rulefiles::Diagnostic& diagnostic) {
    const bool is_error = SeverityOf(diagnostic.problem) == rulefiles::Severity::kError;
    report.Add(diagnostic.place, nullptr, {is_error ? kBad : kWarning, diagnostic.reason});
  });
  RuleCsv file = ReadAnyRuleCsv(ReadInput(options.file), diagnostics);
  const bool is_kept = Change(options, settings, std::move(file), report);
  if (!is_kept && !options.dry_run) {
    std::cerr << "byodctl: nothing changed: the rules cannot be exactly those of the file\n";
  }
  return report.Finish(is_kept);
}

}  // namespace

Run DefineImport(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Reads rules in the form of the rule files; the header says of which kind they are. A field "
      "that a row\nleaves empty stays as it is. Bad and refused rows are reported with their "
      "lines; all others take\neffect together. --dry-run applies the changes to a copy of the "
      "daemon.\n\n"
      "Exit status: 1 with bad rows, else 5 with refused rows.");
  parser.AddText("FILE", options->file, "Rule file; - for standard input").Required();
  parser.AddFlag("--replace", options->replace,
                 "Make the rules of the file's kinds exactly those of the file, or change nothing");
  parser.AddFlag("--dry-run", options->dry_run, "Only report what would happen to each row");
  AddJsonOption(parser, options->json,
                "line, kind (or null), key (or null), action (added, changed, unchanged, refused, "
                "bad, removed or warning), reason (or null)",
                "row");
  return [options, &settings] { return Import(*options, settings); };
}

}  // namespace byod::ctl
