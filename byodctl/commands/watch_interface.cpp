// SPDX-License-Identifier: Apache-2.0
#include "byodctl/commands/watch_interface.h"

#include <functional>
#include <iostream>

#include "byodctl/failure.h"
#include "byodctl/identification/confinement.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/identification/station_watch.h"
#include "byodctl/text/answer_item.h"
#include "byodctl/text/event_text.h"
#include "byodctl/text/evidence_text.h"

namespace byod::ctl {
namespace {

void WriteReport(const StationReport& report, OutputForm form) {
  const FingerprintText text = report.Text();
  Item item = {{"time", TimeText(report.time_us)}, {"mac", text.mac}, {"address", report.address}};
  AddAnswer(item, text, report.answer, !report.answer.IsUnknown(), report.IsLocallyAdministered());
  AddEvidence(item, text, report.answer);
  WriteEvent(form, "station", item);
  std::cout.flush();
}

/// Reports when the daemon is gone and when it is back.
class ReportingIdentifier : public Identifier {
 public:
  explicit ReportingIdentifier(Identifier& inner) : inner_(inner) {}

  Answer Identify(const ByodFingerPrint& fingerprint) override {
    Answer answer = inner_.Identify(fingerprint);
    if (is_away_) std::cerr << "byodctl: the daemon is back\n";
    is_away_ = false;
    return answer;
  }

  /// Calls see, which may request an identification. A station whose request failed is identified
  /// when it is seen again.
  void Outlast(const std::function<void()>& see) {
    try {
      see();
    } catch (const Failure& failure) {
      if (failure.status() != kExitNoDaemon) throw;
      if (!is_away_) std::cerr << "byodctl: " << failure.what() << "; waiting for it\n";
      is_away_ = true;
    }
  }

 private:
  Identifier& inner_;
  bool is_away_ = false;
};

}  // namespace

int WatchInterface(const InterfaceOptions& options, const Settings& settings) {
  auto source =
      OpenCapture([&] { return capture::PacketSource::OpenInterface(options.interface); });
  // Files are read first: a confined process opens none.
  const EvidenceFiller evidence = MakeEvidenceFiller(options.identifier);
  const auto identifier = MakeConfinedIdentifier(options.identifier, settings);
  uint64_t written = 0;
  ReportingIdentifier reporting(*identifier);
  StationWatch watch(reporting, evidence, [&](const StationReport& report) {
    WriteReport(report, FormOf(options.json));
    ++written;
  });
  if (!options.json) std::cerr << "byodctl: watching " << options.interface << '\n';
  const auto go_on = [&] {
    return std::cout.good() && (!options.count || written < *options.count);
  };
  const bool is_whole = SeeAll(
      source, [&](const capture::Frame& frame) { reporting.Outlast([&] { watch.See(frame); }); },
      go_on);
  reporting.Outlast([&] { watch.ReportRest(go_on); });
  StationSummary summary = watch.summary();
  summary.dropped = source.dropped();
  WriteSummary(summary, options.json);
  return is_whole ? kExitSuccess : kExitBadInput;
}

}  // namespace byod::ctl
