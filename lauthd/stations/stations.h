// SPDX-License-Identifier: Apache-2.0
// The terminals that were seen: what was seen of each, what it is, and why that changed.
#ifndef LAUTHD_STATIONS_STATIONS_H
#define LAUTHD_STATIONS_STATIONS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lauthd/stations/feeds.h"
#include "lauthd/stations/sighting.h"
#include "lauthd/stations/station.h"
#include "lauthd/stations/station_table.h"

namespace byod::lauthd {

struct StationLimits {
  size_t stations = 65536;
  Seconds retention = 30 * 86400;
  Seconds local_retention = 86400;   // of locally administered addresses
  bool only_matched_agents = false;  // of a User-Agent only what a rule matched is kept
};

/**
 * Knows neither sockets nor the loop nor the disk. The caller says what time it is, in seconds
 * since 1970; the clock may be set at any time.
 */
class Stations {
 public:
  /// @param is_background  whether a User-Agent, a C string, says nothing of the terminal
  Stations(const StationLimits& limits, const std::vector<FeedTrust>& feeds,
           std::function<bool(const char*)> is_background);

  /// What becomes known of stations. The functions must not change anything.
  struct Listener {
    /// A new answer: the last entry of the station's history. @param from  packed
    std::function<void(const Station&, TextId from)> on_change;
    /// A station is about to be forgotten, whatever the reason.
    std::function<void(const Station&)> on_gone;
    /// Something that is to be stored has changed; called once until TakeUnsaved.
    std::function<void(const Station&)> on_unsaved;
  };
  void Listen(Listener listener) { listener_ = std::move(listener); }

  /// Takes a sighting. @return its station; null when there is none with its IP address
  /// @throws std::bad_alloc; what was taken until then stays
  Station* Take(const Sighting& sighting, const Sender& sender, Seconds now);

  /// Counts what could not be read as a sighting. @param feed  empty where it is not known
  void CountMalformed(const std::string& feed, const Sender& sender, Seconds now);

  /// The station of an address, with its answer of now.
  Station* Find(uint64_t mac, Seconds now);
  Station* Find(const IpAddress& address, Seconds now);

  void Forget(Station& station);

  /// All stations have to be answered again.
  void RulesChanged();

  /// Answers stations again until the time is over. @return whether some are left
  bool AnswerSome(Seconds now, std::chrono::steady_clock::duration time);
  bool HasUnanswered() const { return unanswered_ > 0; }

  /// Called every second or so: answers those whose minute is over, forgets those seen too long
  /// ago.
  void Tick(Seconds now);

  /// Puts back a station that was stored. @return the empty station to fill in; null for an address
  /// that is there already. Finish it with Restored.
  Station* BeginRestore(uint64_t mac);
  void Restored(Station& station);

  StationTable& table() { return table_; }
  TextPool& texts() { return table_.texts(); }
  const TextPool& texts() const { return table_.texts(); }
  Feeds& feeds() { return feeds_; }
  const Feeds& feeds() const { return feeds_; }
  const StationLimits& limits() const { return limits_; }
  size_t size() const { return table_.size(); }

 private:
  struct Reason {
    Cause cause = Cause::kAddress;
    std::string_view text;
    FeedId feed = 0;
  };
  struct Waiting {
    uint64_t mac;
    Seconds until;
  };

  FeedId Count(const Sighting& sighting, const Sender& sender, Seconds now);
  Station* StationOf(const Sighting& sighting, FeedId feed, Seconds time);
  void TakeAddress(Station& station, const Sighting& sighting, FeedId feed, Seconds time);
  void TakePlace(Station& station, const Sighting& sighting, FeedId feed, Seconds time);
  bool Say(Said& said, std::string_view text, FeedId feed, Seconds time);
  bool SeeList(Station& station, const std::string& options, FeedId feed, Seconds time);
  bool SeeAgent(Station& station, const std::string& user_agent, FeedId feed, Seconds time);
  template <size_t N>
  Seen& SeeAgain(Station& station, FewOf<Seen, N>& all, std::string_view text, FeedId feed,
                 Seconds time, bool& is_new);
  void Replace(Seen& seen, std::string_view packed, uint8_t rule_length);
  void AnswerParts(Station& station);
  void Answer(Station& station, const Reason& reason, Seconds now);
  void AddToHistory(Station& station, std::string_view packed, const Reason& reason, Seconds now);
  void BringUpToDate(Station& station, Seconds now);
  void MarkUnsaved(Station& station);
  bool IsHeld(const Held& held, Seconds now) const;
  void ForgetOld(bool locally_administered, Seconds now);
  std::string Kept(const std::string& user_agent) const;

  StationLimits limits_;
  Feeds feeds_;
  std::function<bool(const char*)> is_background_;
  Listener listener_;
  StationTable table_;
  std::deque<Waiting> waiting_;
  uint32_t rules_ = 1;     // counts the states of the rules
  size_t unanswered_ = 0;  // places that AnswerSome has still to look at
  size_t next_place_ = 0;
  Seconds last_tick_ = 0;
  Seconds forget_from_ = 0;  // nothing is forgotten before, as the clock has jumped
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATIONS_H
