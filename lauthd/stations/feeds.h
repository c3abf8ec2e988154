// SPDX-License-Identifier: Apache-2.0
// The programs that report sightings: how far each is trusted, and what it sent.
#ifndef LAUTHD_STATIONS_FEEDS_H
#define LAUTHD_STATIONS_FEEDS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lauthd/stations/station.h"

namespace byod::lauthd {

/// How far a feed is trusted, and for how long what it said stands against a less trusted one.
struct FeedTrust {
  std::string name;
  uint32_t trust = 0;
  Seconds lifetime = 86400;
};

/// The process that sent a sighting.
struct Sender {
  uid_t user = static_cast<uid_t>(-1);
  pid_t process = 0;
};

struct Feed {
  FeedTrust trust;
  uint64_t count = 0;      // sightings taken
  uint64_t malformed = 0;  // refused
  uint64_t unplaced = 0;   // of an IP address that no station has
  uint64_t dropped = 0;    // lost on the way, as the feed itself says
  Seconds first = 0;
  Seconds last = 0;
  Sender sender;  // of the last one
};

class Feeds {
 public:
  /// @param configured  over the usual ones
  explicit Feeds(const std::vector<FeedTrust>& configured);

  /// @return the feed of a name, a new one if need be. When there are too many, and for an empty
  ///         name, the one without a name, which stands for all others.
  /// @throws std::bad_alloc
  FeedId IdOf(std::string_view name);

  Feed& At(FeedId id) { return feeds_[id]; }
  const Feed& At(FeedId id) const { return feeds_[id]; }
  size_t size() const { return feeds_.size(); }

  /// How far what a feed said at a time is trusted now: not at all once its lifetime is over.
  uint32_t TrustIn(FeedId id, Seconds said, Seconds now) const;

  static constexpr size_t kMaxFeeds = 64;

 private:
  std::vector<Feed> feeds_;  // the first one has no name
};

/// Reads "NAME=TRUST" or "NAME=TRUST:SECONDS". @return what is wrong; empty = nothing
std::string ReadFeedTrust(std::string_view text, FeedTrust& trust);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_FEEDS_H
