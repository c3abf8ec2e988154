// SPDX-License-Identifier: Apache-2.0
// byodctl try
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/command_line/abbreviations.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/command_line.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/daemon/client.h"
#include "byodctl/preview/comparison.h"
#include "byodctl/preview/terminals.h"
#include "byodctl/preview/trial.h"
#include "byodctl/text/counted.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/listing.h"
#include "byodctl/text/word_list.h"

namespace byod::ctl {
namespace {

constexpr char kCatalogue[] = "catalogue";

struct Options {
  std::vector<std::string> command;
  std::string terminals;
  bool json = false;
};

/// What is written to standard output meanwhile is lost.
class SilencedOutput {
 public:
  explicit SilencedOutput(bool is_silent) {
    if (is_silent) buffer_ = std::cout.rdbuf(nullptr);
  }
  ~SilencedOutput() {
    if (buffer_ == nullptr) return;
    std::cout.rdbuf(buffer_);
    std::cout.clear();
  }
  SilencedOutput(const SilencedOutput&) = delete;
  SilencedOutput& operator=(const SilencedOutput&) = delete;

 private:
  std::streambuf* buffer_ = nullptr;
};

/// The command's first word in full.
std::string VerbOf(const Options& options) {
  const Words known = {"set", "unset", "import", "restore", kCatalogue};
  const std::string verb = FullWord(options.command.front(), known);
  if (Contains(known, verb)) return verb;
  throw Failure(kExitBadInput,
                "try: \"" + verb + "\" changes no answers; try one of: " + Listed(known));
}

int RunCommand(const Options& options, const Trial& trial) {
  Settings settings = trial.settings();
  CommandLine command_line(settings);
  const Run run = command_line.Parse(options.command);
  const SilencedOutput silenced(options.json);
  return run ? run() : kExitSuccess;
}

Json JsonOf(const PlainAnswer& answer) {
  const auto& [vendor, category, os, name] = answer;
  return {{"vendor", vendor}, {"category", category}, {"os", os}, {"name", name}};
}

/// "Samsung, Mobile, Android, Galaxy S9", with "-" for what is unknown.
std::string TextOf(const PlainAnswer& answer) {
  const auto& [vendor, category, os, name] = answer;
  if (answer == PlainAnswer()) return "unknown";
  std::string text;
  for (const std::string* const field : {&vendor, &category, &os, &name})
    text += (text.empty() ? "" : ", ") + (field->empty() ? std::string{"-"} : *field);
  return text;
}

using Row = std::pair<std::pair<PlainAnswer, PlainAnswer>, Difference>;

/// The most frequent first.
std::vector<Row> RowsOf(const Comparison& comparison) {
  std::vector<Row> rows(comparison.differences.begin(), comparison.differences.end());
  const auto count = [](const Row& row) { return row.second.terminals + row.second.examples; };
  std::ranges::sort(rows, [&](const Row& a, const Row& b) {
    return count(a) != count(b) ? count(a) > count(b) : a.first < b.first;
  });
  return rows;
}

void WriteJson(const Comparison& comparison) {
  Json changes = Json::EmptyArray();
  for (const auto& [answers, difference] : RowsOf(comparison)) {
    changes.Append({{"from", JsonOf(answers.first)},
                    {"to", JsonOf(answers.second)},
                    {"terminals", difference.terminals},
                    {"examples", difference.examples},
                    {"other_authorization", difference.other_authorization}});
  }
  const Difference total = comparison.Total();
  WriteJsonLine({{"terminals", comparison.terminals},
                 {"terminals_otherwise", total.terminals},
                 {"other_authorization", total.other_authorization},
                 {"examples", comparison.examples},
                 {"examples_otherwise", total.examples},
                 {"changes", changes}});
}

void WriteText(const Comparison& comparison) {
  Listing listing(OutputForm::kTable, {{"TERMINALS", "terminals"},
                                       {"EXAMPLES", "examples"},
                                       {"FROM", "from"},
                                       {"TO", "to"},
                                       {"OTHER AUTHORIZATION", "other_authorization"}});
  for (const auto& [answers, difference] : RowsOf(comparison)) {
    listing.Add({{"terminals", difference.terminals},
                 {"examples", difference.examples},
                 {"from", TextOf(answers.first)},
                 {"to", TextOf(answers.second)},
                 {"other_authorization", difference.other_authorization}});
  }
  if (!comparison.differences.empty()) listing.Finish();
  const Difference total = comparison.Total();
  std::cout << "would be answered otherwise: " << total.terminals << " of "
            << Counted(comparison.terminals, "known terminal") << ", " << total.examples << " of "
            << Counted(comparison.examples, "example") << '\n';
  if (total.other_authorization > 0) {
    std::cout << "would get another authorization: "
              << Counted(total.other_authorization, "terminal") << '\n';
  }
}

int Try(const Options& options, const Settings& settings) {
  const bool is_catalogue = VerbOf(options) == kCatalogue;
  if (is_catalogue && options.command.size() != 2) {
    throw Failure(kExitBadInput, "try catalogue takes a directory of rule files");
  }
  DaemonSources sources;
  std::string backup;
  std::vector<ByodFingerPrint> terminals;
  {
    Client client(settings);
    sources = KnownSourcesOf(client);
    backup = BackupOf(client);
    terminals = KnownTerminals(client);
  }
  DaemonSources tried = sources;
  if (is_catalogue) tried.rules = options.command.back();
  // Both read their rule files at the same time.
  Trial before(sources);
  Trial after(tried);
  if (!options.terminals.empty()) {
    const std::vector<ByodFingerPrint> more = TerminalsIn(options.terminals);
    terminals.insert(terminals.end(), more.begin(), more.end());
  }
  const std::vector<ByodFingerPrint> examples = ExamplesIn(sources.rules);
  before.Restore(backup);
  after.Restore(backup);
  const int status = is_catalogue ? kExitSuccess : RunCommand(options, after);
  const Comparison comparison = Compare(before.settings(), after.settings(), terminals, examples);
  if (options.json) {
    WriteJson(comparison);
  } else {
    WriteText(comparison);
  }
  return status;
}

}  // namespace

Run DefineTry(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddParagraphToHelp(
      "COMMAND is set, unset, import or restore with what follows it, or \"catalogue DIR\" for "
      "another directory of rule files. It is run in a copy of the daemon, and the running daemon "
      "stays as it is. Then both are asked about the terminals that the daemon knows, and about "
      "the examples in its rule files. Options of try precede the command.");
  parser.AddParagraphToHelp("Exit status: that of the command.");
  parser.AddTexts("COMMAND", options->command, "The command to try").Required();
  parser
      .AddText("--terminals", options->terminals,
               "Ask about the fingerprints in this file too, in a form that identify reads")
      .ValueName("FILE");
  AddJsonOption(parser, options->json,
                "terminals (how many were asked about), terminals_otherwise, other_authorization, "
                "examples, examples_otherwise, changes {from {vendor, category, os, name}, to "
                "{vendor, category, os, name}, terminals, examples, other_authorization}");
  return [options, &settings] { return Try(*options, settings); };
}

}  // namespace byod::ctl
