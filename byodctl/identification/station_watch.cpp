// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/station_watch.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "byodctl/failure.h"
#include "byodctl/text/authorization_text.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/json.h"
#include "net/mac_text.h"

namespace byod::ctl {
namespace {

constexpr size_t kMaxStations = 65536;
constexpr uint64_t kAskAgainUs = 10'000'000;

std::span<const uint8_t> OptionsOf(const ByodFingerPrint& fingerprint) {
  return {fingerprint.options, fingerprint.option_length};
}

bool SameFingerprint(const ByodFingerPrint& a, const ByodFingerPrint& b) {
  return std::ranges::equal(a.mac, b.mac) && std::ranges::equal(OptionsOf(a), OptionsOf(b)) &&
         std::string_view{a.user_agent} == b.user_agent;
}

/// Whether nothing new was seen of a station since a report.
bool IsUnchanged(const StationReport& last, const capture::Station& station,
                 const ByodFingerPrint& fingerprint) {
  return SameFingerprint(last.fingerprint, fingerprint) && last.host_name == station.host_name &&
         last.vendor_class == station.vendor_class;
}

bool SameAnswer(const Answer& a, const Answer& b) {
  return a.vendor == b.vendor && a.category == b.category && a.os == b.os && a.name == b.name &&
         AuthorizationText(a.authorization) == AuthorizationText(b.authorization);
}

// The source that signals stop while it is read.
capture::PacketSource* g_source = nullptr;

extern "C" void EndCapture(int) {
  if (g_source != nullptr) g_source->Stop();
}

/// During its lifetime SIGINT and SIGTERM stop a source instead of the process.
class EndBySignal {
 public:
  explicit EndBySignal(capture::PacketSource& source) {
    g_source = &source;
    struct sigaction end = {};
    end.sa_handler = &EndCapture;
    sigaction(SIGINT, &end, &interrupt_);
    sigaction(SIGTERM, &end, &terminate_);
  }
  ~EndBySignal() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
    g_source = nullptr;
  }
  EndBySignal(const EndBySignal&) = delete;
  EndBySignal& operator=(const EndBySignal&) = delete;

 private:
  struct sigaction interrupt_ = {};
  struct sigaction terminate_ = {};
};

}  // namespace

FingerprintText StationReport::Text() const {
  return {mac ? net::ToString(*mac) : "", OptionsText(OptionsOf(fingerprint)),
          fingerprint.user_agent, host_name, vendor_class};
}

bool StationReport::IsLocallyAdministered() const {
  return mac && net::IsLocallyAdministered(*mac);
}

StationWatch::StationWatch(Identifier& identifier, const EvidenceFiller& evidence, Take take)
    : identifier_(identifier),
      evidence_(evidence),
      take_(std::move(take)),
      stations_(kMaxStations),
      watched_(kMaxStations) {}

void StationWatch::See(const capture::Frame& frame) {
  for (const capture::Sighting& sighting : dissector_.Take(frame)) {
    cut_ += sighting.is_user_agent_cut;
    if (const capture::Station* const station = stations_.Take(sighting)) {
      Ask(*station, frame.time_us);
    }
  }
}

void StationWatch::Ask(const capture::Station& station, uint64_t time_us) {
  const ByodFingerPrint fingerprint = station.Fingerprint();
  Watched& watched = watched_.Touch(station.key);
  const bool is_due = time_us >= watched.last.time_us + kAskAgainUs;
  const bool is_same = watched.is_asked && IsUnchanged(watched.last, station, fingerprint);
  if (is_same && !is_due) return;

  Answer answer = identifier_.Identify(fingerprint);
  evidence_.Fill(fingerprint, station.host_name, station.vendor_class, answer);
  const bool is_news = !watched.is_asked || !SameAnswer(watched.last.answer, answer);
  watched.is_asked = true;
  watched.is_reported = is_news || (watched.is_reported && is_same);
  watched.last = {dissector_.counts().packets,
                  time_us,
                  capture::ToString(station.address),
                  station.key.mac,
                  fingerprint,
                  station.host_name,
                  station.vendor_class,
                  std::move(answer)};
  if (is_news) take_(watched.last);
}

void StationWatch::ReportRest(const std::function<bool()>& go_on) {
  std::vector<const StationReport*> rest;
  watched_.ForEach([&](const Watched& watched) {
    if (!watched.is_reported) rest.push_back(&watched.last);
  });
  std::ranges::sort(rest, {}, &StationReport::packet);
  for (const StationReport* const report : rest) {
    if (!go_on()) return;
    take_(*report);
  }
}

StationSummary StationWatch::summary() const {
  StationSummary summary;
  summary.packets = dissector_.counts();
  summary.cut = cut_;
  watched_.ForEach([&](const Watched& watched) {
    ++(watched.last.answer.IsUnknown() ? summary.unknown : summary.identified);
  });
  return summary;
}

void WriteSummary(const StationSummary& summary, bool json) {
  const capture::Counts& packets = summary.packets;
  if (json) {
    const Json object = {
        {"packets", packets.packets},         {"dropped", summary.dropped},
        {"malformed", packets.malformed},     {"option_lists", packets.option_lists},
        {"user_agents", packets.user_agents}, {"cut", summary.cut},
        {"identified", summary.identified},   {"unknown", summary.unknown}};
    std::cerr << object.ToString() << '\n';
    return;
  }
  std::cerr << "byodctl: packets: " << packets.packets << ", malformed " << packets.malformed
            << "; DHCP option lists: " << packets.option_lists
            << "; User-Agents: " << packets.user_agents << "; stations: " << summary.identified
            << " identified, " << summary.unknown << " unknown\n";
  if (summary.dropped > 0) {
    std::cerr << "byodctl: " << summary.dropped << " packets came too fast to be read\n";
  }
  if (summary.cut > 0) {
    std::cerr << "byodctl: " << summary.cut
              << (summary.cut == 1 ? " User-Agent was" : " User-Agents were")
              << " longer than 255 bytes and cut there\n";
  }
}

capture::PacketSource OpenCapture(const std::function<capture::PacketSource()>& open) {
  try {
    return open();
  } catch (const capture::SourceError& error) {
    throw Failure(error.is_permission() ? kExitPermission : kExitBadInput, error.what());
  }
}

bool SeeAll(capture::PacketSource& source, const std::function<void(const capture::Frame&)>& see,
            const std::function<bool()>& go_on) {
  const EndBySignal guard(source);
  capture::Frame frame;
  bool is_whole = true;
  try {
    while (go_on() && source.Next(frame))
      see(frame);
  } catch (const capture::SourceError& error) {
    std::cerr << "byodctl: " << Printable(error.what()) << '\n';
    is_whole = false;
  }
  return is_whole;
}

}  // namespace byod::ctl
