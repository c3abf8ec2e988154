// byodctl identify
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/command.h"
#include "byodctl/daemon_identifier.h"
#include "byodctl/display_text.h"
#include "byodctl/input.h"
#include "byodctl/offline_identifier.h"
#include "byodctl/order_text.h"
#include "byodctl/output.h"

namespace byod::ctl {
namespace {

struct Options {
  bool offline = false;
  FingerprintText fingerprint;
  bool has_fingerprint = false;
  std::string input = "auto";
  bool tsv = false;
  bool json = false;
  bool explains = false;
  std::string group;
  std::vector<std::string> order;
  rulefiles::Sources sources{BYOD_RULES_DIRECTORY, BYOD_REGISTRY_DIRECTORY};

  InputFormat input_format() const {
    if (input == "tsv") return InputFormat::kTsv;
    return input == "json" ? InputFormat::kJson : InputFormat::kAuto;
  }

  OutputFormat output_format() const {
    if (tsv) return OutputFormat::kTsv;
    return json ? OutputFormat::kJson : OutputFormat::kTable;
  }
};

/// The one line that stands on the command line.
class ArgumentReader : public LineReader {
 public:
  explicit ArgumentReader(FingerprintText text) : line_(InputLine{1, std::move(text), {}}) {}

  std::optional<InputLine> Next() override { return std::exchange(line_, std::nullopt); }

 private:
  std::optional<InputLine> line_;
};

/// What went through, and the exit status that follows from it.
struct Summary {
  size_t identified = 0;
  size_t unknown = 0;
  size_t bad = 0;
  size_t cut = 0;

  void Count(const Identification& identification) {
    if (!identification.line.error.empty()) {
      ++bad;
    } else if (identification.answer.IsUnknown()) {
      ++unknown;
    } else {
      ++identified;
    }
  }

  int ExitStatus() const {
    if (bad > 0) return kExitBadInput;
    return unknown > 0 ? kExitUnknown : kExitSuccess;
  }
};

/// Of the default places those that are there: a machine may do without either.
rulefiles::Sources SourcesThatAreThere(rulefiles::Sources sources) {
  for (std::string* directory : {&sources.rules_directory, &sources.registry_directory}) {
    if (directory->empty() || std::filesystem::is_directory(*directory)) continue;
    std::cerr << "byodctl: no directory " << *directory << ", going on without it\n";
    directory->clear();
  }
  return sources;
}

Identification IdentifyLine(InputLine line, Identifier& identifier, bool& is_cut) {
  Identification result;
  result.line = std::move(line);
  const ParsedFingerprint parsed = ParseFingerprint(result.line.text);
  result.is_locally_administered = parsed.is_locally_administered;
  if (result.line.error.empty()) result.line.error = parsed.error;
  if (!result.line.error.empty()) return result;
  is_cut = parsed.is_user_agent_cut;
  result.answer = identifier.Identify(parsed.fingerprint);
  return result;
}

void Report(const Summary& summary, const Options& options) {
  if (summary.cut > 0) {
    std::cerr << "byodctl: " << summary.cut
              << (summary.cut == 1 ? " User-Agent was" : " User-Agents were")
              << " longer than 255 bytes and cut there\n";
  }
  if (options.output_format() == OutputFormat::kTable && !options.has_fingerprint) {
    std::cerr << "byodctl: " << summary.identified << " identified, " << summary.unknown
              << " unknown, " << summary.bad << " bad\n";
  }
}

std::unique_ptr<Identifier> MakeOfflineIdentifier(const Options& options) {
  rulefiles::Diagnostics diagnostics([](const rulefiles::Diagnostic& diagnostic) {
    std::cerr << Printable(ToString(diagnostic)) << '\n';
  });
  OfflineIdentifier::Settings settings;
  settings.sources = SourcesThatAreThere(options.sources);
  if (!options.order.empty()) settings.order = OrderOf(options.order);
  settings.explains = options.explains;
  return std::make_unique<OfflineIdentifier>(settings, diagnostics);
}

int Identify(const Options& options, const Settings& settings) {
  std::unique_ptr<Identifier> identifier;
  if (options.offline) {
    identifier = MakeOfflineIdentifier(options);
  } else {
    identifier = std::make_unique<DaemonIdentifier>(settings, options.group, options.explains);
  }
  std::unique_ptr<LineReader> reader;
  if (options.has_fingerprint) {
    reader = std::make_unique<ArgumentReader>(options.fingerprint);
  } else {
    reader = OpenInput(std::cin, options.input_format());
  }
  const auto writer =
      MakeWriter(options.output_format(), {options.explains, !options.group.empty()}, std::cout);
  Summary summary;
  while (auto line = reader->Next()) {
    bool is_cut = false;
    const Identification result = IdentifyLine(std::move(*line), *identifier, is_cut);
    if (!result.line.error.empty()) {
      std::cerr << "byodctl: ";
      if (!options.has_fingerprint) std::cerr << "line " << result.line.number << ": ";
      std::cerr << Printable(result.line.error) << '\n';
    }
    summary.cut += is_cut;
    summary.Count(result);
    writer->Write(result);
  }
  writer->Finish();
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write the output");
  Report(summary, options);
  return summary.ExitStatus();
}

}  // namespace

Run DefineIdentify(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "Without --mac, --user-agent and --dhcp fingerprints are read from standard input: "
      "tab-separated\nlines under a header that names the columns mac, options and user_agent, or "
      "JSON Lines with these keys.\nA line that cannot be read is reported and gets an empty "
      "answer.\n\n"
      "Exit status: 0 all identified, 1 bad usage or input, 2 no daemon, 3 something stayed "
      "unknown.");
  auto* const offline = app.add_flag("--offline", options->offline,
                                     "Identify in this process, with the rules of files");
  const std::vector<const CLI::Option*> parts = {
      app.add_option("--mac", options->fingerprint.mac, "Address of a terminal")->type_name("MAC"),
      app.add_option("--user-agent", options->fingerprint.user_agent, "HTTP User-Agent")
          ->type_name("TEXT"),
      app.add_option("--dhcp", options->fingerprint.options, "DHCP option 55, as 1,3,6,15")
          ->type_name("LIST")};
  app.add_option("--input", options->input, "Form of standard input")
      ->type_name("FORM")
      ->check(CLI::IsMember({"auto", "tsv", "json"}))
      ->capture_default_str();
  auto* const tsv = app.add_flag("--tsv", options->tsv, "Write tab-separated lines");
  app.add_flag("--json", options->json, "Write JSON Lines")->excludes(tsv);
  app.add_flag("--explain", options->explains, "Tell the rules behind each answer")->excludes(tsv);
  app.add_option("--rules", options->sources.rules_directory,
                 "Directory of rule files; empty for none")
      ->type_name("DIR")
      ->needs(offline)
      ->capture_default_str();
  app.add_option("--ieee", options->sources.registry_directory,
                 "Directory of the registry of MAC prefixes; empty for none")
      ->type_name("DIR")
      ->needs(offline)
      ->capture_default_str();
  app.add_option("--order", options->order, "Methods in the order of trying: dhcp,user-agent,mac")
      ->type_name("METHODS")
      ->needs(offline)
      ->delimiter(',');
  app.add_option("--group", options->group, "Tell too what terminals of this user group may do")
      ->type_name("GROUP")
      ->excludes(offline);
  const auto* const rules = app.get_option("--rules");
  const auto* const ieee = app.get_option("--ieee");

  app.final_callback([options, parts, rules, ieee] {
    options->has_fingerprint =
        std::ranges::any_of(parts, [](const CLI::Option* part) { return part->count() > 0; });
    const std::string fault = FaultOfOrder(options->order);
    if (!fault.empty()) throw CLI::ValidationError("--order: " + fault);
    for (const auto* given : {rules, ieee}) {
      const std::string directory = given->as<std::string>();
      if (given->count() == 0 || directory.empty()) continue;
      if (!std::filesystem::is_directory(directory)) {
        throw CLI::ValidationError(given->get_name() + ": no directory " + directory);
      }
    }
  });
  return [options, &settings] { return Identify(*options, settings); };
}

}  // namespace byod::ctl
