// SPDX-License-Identifier: Apache-2.0
// Identifies stations by their packets.
#ifndef BYODCTL_IDENTIFICATION_STATION_WATCH_H
#define BYODCTL_IDENTIFICATION_STATION_WATCH_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "byodctl/identification/evidence_options.h"
#include "byodctl/identification/identifier.h"
#include "byodctl/text/fingerprint_text.h"
#include "capture/packet_source.h"
#include "capture/stations.h"

namespace byod::ctl {

/// A new answer about a station.
struct StationReport {
  uint64_t packet = 0;  ///< its number, from 1
  uint64_t time_us = 0;
  std::string address;  ///< IP address; empty when none was seen
  std::optional<capture::MacAddress> mac;
  ByodFingerPrint fingerprint = {};
  std::string host_name;
  std::string vendor_class;
  Answer answer;

  FingerprintText Text() const;
  bool IsLocallyAdministered() const;
};

/// Totals of a capture.
struct StationSummary {
  capture::Counts packets;
  uint64_t cut = 0;  ///< User-Agents that were longer than 255 bytes and cut there
  uint64_t dropped = 0;
  size_t identified = 0;  ///< stations, by their last answer
  size_t unknown = 0;
};

/**
 * A station is identified when something new is seen of it, and from time to time when it is seen
 * again, since rules may have changed. It is reported when it is new, when its answer differs from
 * the one before, and at the end if more was seen of it since.
 */
class StationWatch {
 public:
  using Take = std::function<void(const StationReport&)>;

  /// @param identifier, evidence  borrowed
  StationWatch(Identifier& identifier, const EvidenceFiller& evidence, Take take);

  /// @throws what the identifier throws
  void See(const capture::Frame& frame);

  /// Reports the stations of which more was seen since their last report, in the order in which it
  /// was seen, while go_on returns true. To be called once, at the end.
  void ReportRest(const std::function<bool()>& go_on);

  StationSummary summary() const;

 private:
  struct Watched {
    bool is_asked = false;
    bool is_reported = true;  // the last report shows everything seen so far
    StationReport last;       // of the last identification
  };

  void Ask(const capture::Station& station, uint64_t time_us);

  Identifier& identifier_;
  const EvidenceFiller& evidence_;
  Take take_;
  capture::Dissector dissector_;
  capture::Stations stations_;
  capture::RecentMap<capture::StationKey, Watched> watched_;
  uint64_t cut_ = 0;
};

/// Writes a summary to standard error, for people or as a line of JSON.
void WriteSummary(const StationSummary& summary, bool json);

/// Opens a source. @param open  () -> PacketSource
/// @throws Failure instead of a capture::SourceError
capture::PacketSource OpenCapture(const std::function<capture::PacketSource()>& open);

/**
 * Calls see for every packet until the source ends, SIGINT or SIGTERM ends it, or go_on returns
 * false.
 *
 * @return false when the capture is damaged or the interface is gone, which is reported on standard
 *         error
 */
bool SeeAll(capture::PacketSource& source, const std::function<void(const capture::Frame&)>& see,
            const std::function<bool()>& go_on);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_STATION_WATCH_H
