#include "byodctl/watch_interface.h"

#include <iostream>

#include "byodctl/answer_json.h"
#include "byodctl/event_text.h"
#include "byodctl/failure.h"
#include "byodctl/station_watch.h"
#include "byodctl/told_fingerprint.h"

namespace byod::ctl {
namespace {

void WriteReport(const StationReport& report, bool json) {
  const FingerprintText& text = report.fingerprint;
  const Answer& answer = report.answer;
  const std::string time = TimeText(report.time_us);
  if (json) {
    Json object = {{"time", time}, {"mac", text.mac}, {"address", report.address}};
    AddAnswer(object, text, answer, !answer.IsUnknown(), report.is_locally_administered);
    WriteJsonLine(object);
  } else {
    std::cout << ToString(Event{time, "station", text, report.address, !answer.IsUnknown(), answer})
              << '\n';
  }
  std::cout.flush();
}

}  // namespace

int WatchInterface(const InterfaceOptions& options, const Settings& settings) {
  auto source =
      OpenCapture([&] { return capture::PacketSource::OpenInterface(options.interface); });
  const auto identifier = MakePatientIdentifier(options.identifier, settings);
  uint64_t written = 0;
  StationWatch watch(*identifier, [&](const StationReport& report) {
    WriteReport(report, options.json);
    ++written;
  });
  if (!options.json) std::cerr << "byodctl: watching " << options.interface << '\n';
  const bool is_whole = SeeAll(source, watch, [&] {
    return std::cout.good() && (options.count == 0 || written < options.count);
  });
  StationSummary summary = watch.summary();
  summary.dropped = source.dropped();
  WriteSummary(summary, options.json);
  return is_whole ? kExitSuccess : kExitBadInput;
}

}  // namespace byod::ctl
