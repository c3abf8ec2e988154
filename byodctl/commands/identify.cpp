// SPDX-License-Identifier: Apache-2.0
// byodctl identify
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/command_line/option_checks.h"
#include "byodctl/identification/fingerprint_input.h"
#include "byodctl/identification/identification_writer.h"
#include "byodctl/identification/identifier_options.h"
#include "byodctl/text/display_text.h"
#ifdef BYOD_CAPTURE
#include "byodctl/identification/confinement.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/identification/station_watch.h"
#endif

namespace byod::ctl {
namespace {

struct Options {
  IdentifierOptions identifier;
  std::string capture;
  FingerprintText fingerprint;
  bool has_fingerprint = false;
  std::string input = "auto";
  bool tsv = false;
  bool json = false;
  bool no_station = false;

  InputFormat input_format() const {
    if (input == "tsv") return InputFormat::kTsv;
    return input == "json" ? InputFormat::kJson : InputFormat::kAuto;
  }

  OutputForm output_form() const { return tsv ? OutputForm::kTsv : FormOf(json); }
};

/// Without it the program would seem to hang.
constexpr char kInputPrompt[] =
    "byodctl: reading fingerprints from the terminal until Ctrl-D; see byodctl identify --help\n";

/// The fingerprint on the command line, as the only line.
class ArgumentReader : public LineReader {
 public:
  explicit ArgumentReader(FingerprintText text) : line_(InputLine{1, std::move(text), {}}) {}

  std::optional<InputLine> Next() override { return std::exchange(line_, std::nullopt); }

 private:
  std::optional<InputLine> line_;
};

/// The number of lines of each kind, and the exit status that follows from them.
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

/// Whether nothing of a line is for the rules, but something for the evidence.
bool IsEvidenceOnly(const FingerprintText& text) {
  const bool has_fingerprint =
      !text.mac.empty() || !text.options.empty() || !text.user_agent.empty();
  return !has_fingerprint && !(text.host_name.empty() && text.vendor_class.empty());
}

Identification IdentifyLine(InputLine line, Identifier& identifier, const EvidenceFiller& evidence,
                            bool& is_cut) {
  Identification result;
  result.line = std::move(line);
  const ParsedFingerprint parsed = ParseFingerprint(result.line.text);
  result.is_locally_administered = parsed.is_locally_administered;
  if (result.line.error.empty()) result.line.error = parsed.error;
  if (!result.line.error.empty()) return result;
  result.line.text.mac = AddressText(result.line.text.mac);
  is_cut = parsed.is_user_agent_cut;
  const FingerprintText& text = result.line.text;
  if (!IsEvidenceOnly(text)) result.answer = identifier.Identify(parsed.fingerprint);
  evidence.Fill(parsed.fingerprint, text.host_name, text.vendor_class, result.answer);
  return result;
}

void Report(const Summary& summary, const Options& options) {
  if (summary.cut > 0) {
    std::cerr << "byodctl: " << summary.cut
              << (summary.cut == 1 ? " User-Agent was" : " User-Agents were")
              << " longer than 255 bytes and cut there\n";
  }
  if (options.output_form() == OutputForm::kTable && !options.has_fingerprint) {
    std::cerr << "byodctl: " << summary.identified << " identified, " << summary.unknown
              << " unknown, " << summary.bad << " bad\n";
  }
}

void CheckOutput() {
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write the output");
}

#ifdef BYOD_CAPTURE
/// The stations in a file of packets.
int IdentifyCapture(const Options& options, const Settings& settings) {
  auto source = OpenCapture([&] { return capture::PacketSource::OpenFile(options.capture); });
  // Files are read first: a confined process opens none.
  const EvidenceFiller evidence = MakeEvidenceFiller(options.identifier);
  const auto identifier = MakeConfinedIdentifier(options.identifier, settings);
  const auto writer =
      MakeWriter(options.output_form(),
                 {options.identifier.explains, !options.identifier.group.empty(), true}, std::cout);
  StationWatch watch(*identifier, evidence, [&](const StationReport& report) {
    Identification result;
    result.line = {static_cast<size_t>(report.packet), report.Text(), {}};
    result.is_locally_administered = report.IsLocallyAdministered();
    result.answer = report.answer;
    result.time = TimeText(report.time_us);
    result.address = report.address;
    writer->Write(result);
  });
  const bool is_whole =
      SeeAll(source, [&](const capture::Frame& frame) { watch.See(frame); }, [] { return true; });
  watch.ReportRest([] { return true; });
  writer->Finish();
  CheckOutput();
  const StationSummary summary = watch.summary();
  WriteSummary(summary, options.json);
  if (!is_whole) return kExitBadInput;
  return summary.unknown > 0 ? kExitUnknown : kExitSuccess;
}
#endif

int Identify(const Options& options, const Settings& settings) {
#ifdef BYOD_CAPTURE
  if (!options.capture.empty()) return IdentifyCapture(options, settings);
#endif
  const std::unique_ptr<Identifier> identifier = MakeIdentifier(options.identifier, settings);
  const EvidenceFiller evidence = MakeEvidenceFiller(options.identifier);
  std::unique_ptr<LineReader> reader;
  if (options.has_fingerprint) {
    reader = std::make_unique<ArgumentReader>(options.fingerprint);
  } else {
    if (isatty(STDIN_FILENO) == 1) std::cerr << kInputPrompt;
    reader = OpenInput(std::cin, options.input_format());
  }
  const auto writer = MakeWriter(
      options.output_form(),
      {options.identifier.explains, !options.identifier.group.empty(), false}, std::cout);
  Summary summary;
  while (auto line = reader->Next()) {
    bool is_cut = false;
    const Identification result = IdentifyLine(std::move(*line), *identifier, evidence, is_cut);
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
  CheckOutput();
  Report(summary, options);
  return summary.ExitStatus();
}

std::string IdentifyKeys() {
  const std::string steps =
      " {method, lookup, rule, origin, fields (by name) {value, source, used}, next}";
  return "line (of the input, or packet), mac, options, user_agent, vendor, category, os, name, "
         "identified, locally_administered, error (or null), explanation (with --explain, or null) "
         "{attributes" +
         steps + ", name" + steps +
         "}, authorization (with --group, or null) {group, type, attributes (by name)}, time (with "
         "--pcap, or null), address, host_name, vendor_class, filled (what evidence filled) "
         "{field, "
         "value, evidence, confidence, rule}";
}

}  // namespace

Run DefineIdentify(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Without a fingerprint on the command line, reads them from standard input: tab-separated "
      "lines under a\nheader that names any of the columns mac, options, user_agent, host_name and "
      "vendor_class, or JSON Lines\nwith these keys. A line that cannot be read is reported and "
      "gets an empty answer.\n\n"
      "Exit status: 0 all identified, 1 bad usage or input, 2 no daemon, 3 at least one unknown.");
  const Option offline = options->identifier.Declare(parser);
  const std::vector<Option> parts = {
      parser.AddText("--mac", options->fingerprint.mac, "Address of a terminal").ValueName("MAC"),
      parser.AddText("--user-agent", options->fingerprint.user_agent, "HTTP User-Agent")
          .ValueName("TEXT"),
      parser.AddText("--dhcp", options->fingerprint.options, "DHCP option 55, as 1,3,6,15")
          .ValueName("LIST"),
      parser.AddText("--host-name", options->fingerprint.host_name, "DHCP option 12")
          .ValueName("TEXT"),
      parser.AddText("--vendor-class", options->fingerprint.vendor_class, "DHCP option 60")
          .ValueName("TEXT")};
  const Option input =
      parser.AddText("--input", options->input, "Format of standard input: auto, tsv or json")
          .ValueName("FORM")
          .Check(OneOf({"auto", "tsv", "json"}))
          .ShowDefault();
  const Option tsv = parser.AddFlag("--tsv", options->tsv, "Write tab-separated lines");
  AddJsonOption(parser, options->json, IdentifyKeys(), "terminal").Excludes(tsv);
  parser.AddFlag("--explain", options->identifier.explains, "Show the rules behind each answer")
      .Excludes(tsv);
  parser
      .AddText("--group", options->identifier.group,
               "Show what terminals of this user group may do, too")
      .ValueName("GROUP")
      .Excludes(offline);
  parser.AddFlag("--no-station", options->no_station,
                 "Identify --mac by its rules alone, not by what the daemon remembers");
#ifdef BYOD_CAPTURE
  const Option pcap =
      parser.AddText("--pcap", options->capture, "Identify the stations in this packet capture")
          .ValueName("FILE")
          .Excludes(input);
  for (const Option& part : parts)
    pcap.Excludes(part);
#endif

  return [options, parts, &settings] {
    options->has_fingerprint = std::ranges::any_of(parts, &Option::IsGiven);
    options->identifier.remembers = options->has_fingerprint && !options->no_station;
    return Identify(*options, settings);
  };
}

}  // namespace byod::ctl
