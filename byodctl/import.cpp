// byodctl import
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/bulk.h"
#include "byodctl/command.h"
#include "byodctl/counted.h"
#include "byodctl/display_text.h"
#include "byodctl/json_line.h"
#include "byodctl/rule.h"
#include "byodctl/rule_csv.h"
#include "byodctl/table.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string file;
  bool dry_run = false;
  bool json = false;
};

enum Action { kAdded, kChanged, kUnchanged, kRefused, kBad, kWarning, kActionCount };
constexpr const char* kActionNames[kActionCount] = {"added",   "changed", "unchanged",
                                                    "refused", "bad",     "warning"};

/// What became of a row.
struct Outcome {
  Action action = kBad;
  std::string reason;  ///< why it was refused, or is bad
};

/// Shows how far it is, on a terminal and when there is much to do.
class ProgressLine {
 public:
  explicit ProgressLine(size_t total)
      : total_(total), is_shown_(total >= 1000 && isatty(STDERR_FILENO) == 1) {}
  ~ProgressLine() {
    if (is_shown_) std::cerr << "\r\033[K" << std::flush;
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Show(size_t done) const {
    if (is_shown_) std::cerr << '\r' << done << " of " << total_ << " rules" << std::flush;
  }

 private:
  size_t total_;
  bool is_shown_;
};

/// Tells what is wrong with a row as soon as it is known; what became of all rows, at the end.
class Report {
 public:
  explicit Report(const Options& options) : options_(options) {}

  void Add(const rulefiles::Place& place, const Rule* rule, const Outcome& outcome) {
    ++counts_[outcome.action];
    if (!outcome.reason.empty()) {
      std::cerr << Printable(rulefiles::ToString(place)) << ": "
                << (outcome.action == kRefused   ? "refused: "
                    : outcome.action == kWarning ? "warning: "
                                                 : "")
                << Printable(outcome.reason) << '\n';
    }
    if (options_.json) {
      lines_ += JsonLine({{"line", place.line},
                          {"kind", rule != nullptr ? Json(kRuleKindNames[rule->key.kind]) : Json()},
                          {"key", rule != nullptr ? Json(ToString(rule->key)) : Json()},
                          {"action", kActionNames[outcome.action]},
                          {"reason", outcome.reason.empty() ? Json() : Json(outcome.reason)}});
    } else if (options_.dry_run && rule != nullptr && outcome.action != kUnchanged) {
      table_.Add({std::to_string(place.line), kActionNames[outcome.action],
                  kRuleKindNames[rule->key.kind], Cell(ToString(rule->key)), Cell(outcome.reason)},
                 outcome.action == kRefused ? Emphasis::kAlarm : Emphasis::kNone);
    }
  }

  /// The rules are kept, or were not meant to be.
  int Finish() const {
    std::cout << lines_;
    if (!options_.json) {
      if (options_.dry_run) table_.Write(std::cout);
      std::cout << (options_.dry_run ? "would be " : "");
      for (size_t action = 0; action < kWarning; ++action)
        std::cout << (action > 0 ? ", " : "") << counts_[action] << ' ' << kActionNames[action];
      if (counts_[kWarning] > 0) std::cout << ", " << Counted(counts_[kWarning], "warning");
      std::cout << '\n';
    }
    if (counts_[kBad] > 0) return kExitBadInput;
    return counts_[kRefused] > 0 ? kExitRefused : kExitSuccess;
  }

 private:
  const Options& options_;
  std::array<size_t, kActionCount> counts_ = {};
  std::string lines_;
  Table table_{{"LINE", "ACTION", "KIND", "KEY", "REASON"}};
};

rulefiles::File ReadInput(const std::string& name) {
  if (name == "-") {
    return {"-", {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()}};
  }
  std::string fault;
  rulefiles::Diagnostics diagnostics(
      [&](const rulefiles::Diagnostic& diagnostic) { fault = ToString(diagnostic); });
  auto file = rulefiles::ReadFile(name, diagnostics);
  if (!file) throw Failure(kExitBadInput, fault);
  return std::move(*file);
}

/// The changes that make a rule say what its row says. What the row leaves empty stays as it is.
/// The first one tells whether the rule is new.
void AppendChanges(const Rule& rule, std::vector<Request>& changes) {
  changes.push_back(ChangeRule(BYOD_OP_SET, rule.key));
  for (const DeviceField& field : kDeviceFields) {
    const std::string& value = rule.device.*field.member;
    if (!value.empty()) changes.push_back(ChangeField(BYOD_OP_SET, rule.key, field, value));
  }
}

/// Asks once more for a change that was refused: by itself it is told why.
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

void Apply(Client& client, Bulk& bulk, const std::vector<PlacedRule>& rules, Report& report) {
  constexpr size_t kAtOnce = 100;
  const ProgressLine progress(rules.size());
  for (size_t first = 0; first < rules.size(); first += kAtOnce) {
    const size_t last = std::min(first + kAtOnce, rules.size());
    std::vector<Request> changes;
    std::vector<size_t> starts;
    for (size_t i = first; i < last; ++i) {
      starts.push_back(changes.size());
      AppendChanges(rules[i].rule, changes);
    }
    starts.push_back(changes.size());
    const std::vector<uint32_t> codes = bulk.Apply(changes);
    for (size_t i = first; i < last; ++i) {
      const size_t at = starts[i - first];
      report.Add(rules[i].place, &rules[i].rule,
                 OutcomeOf(client, &changes[at], &codes[at], starts[i - first + 1] - at));
    }
    progress.Show(last);
  }
}

int Import(const Options& options, const Settings& settings) {
  // A daemon that is not there is told before anything is read.
  {
    const Client probe(settings);
  }
  Report report(options);
  rulefiles::Diagnostics diagnostics([&](const rulefiles::Diagnostic& diagnostic) {
    const bool is_error = SeverityOf(diagnostic.problem) == rulefiles::Severity::kError;
    report.Add(diagnostic.place, nullptr, {is_error ? kBad : kWarning, diagnostic.reason});
  });
  const std::vector<PlacedRule> rules = ReadAnyRuleCsv(ReadInput(options.file), diagnostics);
  if (!rules.empty()) {
    // Reading may have taken longer than the daemon keeps a client that asks nothing.
    Client client(settings);
    Bulk bulk(client);
    Apply(client, bulk, rules, report);
    if (options.dry_run) {
      bulk.TakeBack();
    } else {
      bulk.Commit();
    }
  }
  return report.Finish();
}

}  // namespace

Run DefineImport(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "Reads rules in the form of the rule files; the header tells of what kind they are. What a "
      "row leaves\nempty stays as it is. A bad or refused row is reported with its line, the "
      "others are set, all together.\n--dry-run has the daemon make the changes and take them back "
      "at once.\n\n"
      "JSON: line, kind, key, action (added, changed, unchanged, refused, bad or warning), reason; "
      "a line\nfor each row.\n"
      "Exit status: 1 with bad rows, else 5 with refused ones.");
  app.add_option("FILE", options->file, "Rule file; - for standard input")->required();
  app.add_flag("--dry-run", options->dry_run, "Only tell what would become of each row");
  app.add_flag("--json", options->json, "Write JSON, a line for each row");
  return [options, &settings] { return Import(*options, settings); };
}

}  // namespace byod::ctl
