// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/station_requests.h"

#include <strings.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "byod_tlv.h"
#include "lauthd/requests/authorization_requests.h"
#include "lauthd/requests/session.h"
#include "lauthd/requests/state_requests.h"
#include "lauthd/requests/wall_clock.h"
#include "lauthd/state/state.h"
#include "lauthd/stations/answer.h"
#include "lauthd/stations/station_message.h"
#include "lauthd/stations/stations.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

Result NoStations() {
  return Refused(BYOD_REFUSAL_UNKNOWN_KIND, "the daemon does not remember stations");
}

Result NoSuchStation() {
  return Refused(BYOD_REFUSAL_NOT_FOUND, "no such station");
}

/// Reads a text. @return nothing where there is none, or it is longer than `size` - 1
template <size_t kSize>
std::optional<std::string> TextIn(uint32_t request, uint16_t type) {
  char text[kSize] = {};  // not "": clang 19 gives it the size of the first instantiation
  if (TLV_GetIteratorByType(request, type) == 0) return std::nullopt;
  if (BYOD_tlv_GetStrValueByType(request, type, sizeof text, text) != 0) return std::nullopt;
  return text;
}

std::optional<uint64_t> MacIn(uint32_t request) {
  uint8_t mac[BYOD_MAC_SIZE] = {};
  const uintptr_t element = TLV_GetIteratorByType(request, BYOD_TLV_MAC);
  if (element == 0 || TLV_GetLenByIterator(request, element) != sizeof mac) return std::nullopt;
  if (TLV_GetValueByIterator(request, element, sizeof mac, mac) != 0) return std::nullopt;
  return net::LoadMac(mac);
}

uint32_t NumberIn(uint32_t request, uint16_t type, uint32_t otherwise) {
  uint32_t number = 0;
  const bool is_there = BYOD_tlv_GetUINTValueByType(request, type, &number) == 0;
  return is_there ? number : otherwise;
}

/// The station that a request names by MAC or IP address; null in `station` if there is none.
Result FindStation(const Exchange& exchange, Stations& stations, Station*& station) {
  station = nullptr;
  const Seconds now = SecondsSince1970();
  if (const auto mac = MacIn(exchange.request)) {
    station = stations.Find(*mac, now);
    return {};
  }
  const auto text = TextIn<BYOD_EXT_IP_SIZE>(exchange.request, BYOD_EXT_IP);
  const auto address = text ? ParseIp(*text) : std::nullopt;
  if (!address) return Refused(BYOD_REFUSAL_MALFORMED, "a MAC or IP address is missing");
  station = stations.Find(*address, now);
  return {};
}

/// Answers what is known of a station, and the set of its group if one is named.
Result AnswerStation(Exchange& exchange, const Station& station) {
  std::string group;
  if (!ReadGroup(exchange.request, group)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a group has a name of at most 32 characters");
  }
  const State& state = exchange.state;
  const uint32_t detail =
      NumberIn(exchange.request, BYOD_TLV_QUERYARG2, static_cast<uint32_t>(StationDetail::kAll));
  tlv::Appender append = exchange.Answer();
  AppendStation(append, *state.stations, station, static_cast<StationDetail>(detail));
  if (!group.empty()) {
    const std::string category(Unpack(state.stations->texts().Text(station.answer)).category);
    const auto* const set = state.authorization.Applying(group, category);
    if (set != nullptr && !AppendSet(append, group, set->first, set->second)) {
      append.Combine(BYOD_ERR_FAILED);
    }
  }
  return exchange.Answered(append);
}

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

/// What a listing leaves out.
struct Filter {
  std::string category;  // empty: any
  std::string vendor;
  uint64_t changed_since = 0;  // microseconds since 1970
  uint32_t flags = 0;          // that must be set
  std::optional<uint64_t> after;

  bool Takes(const Stations& stations, const Station& station) const {
    if (after && station.mac <= *after) return false;
    if ((FlagsOf(station) & flags) != flags) return false;
    if (changed_since != 0 && !HasChanged(station)) return false;
    const AnswerView answer = Unpack(stations.texts().Text(station.answer));
    return (category.empty() || SameText(answer.category, category)) &&
           (vendor.empty() || SameText(answer.vendor, vendor));
  }

 private:
  bool HasChanged(const Station& station) const {
    return station.history.count > 0 &&
           uint64_t{station.history.all().back().time} * 1'000'000 >= changed_since;
  }
};

Filter FilterIn(uint32_t request) {
  Filter filter;
  filter.category = TextIn<BYOD_ATTR_SIZE>(request, BYOD_TLV_DEVTYPE).value_or("");
  filter.vendor = TextIn<BYOD_ATTR_SIZE>(request, BYOD_TLV_VENDOR).value_or("");
  protocol::GetCounter(request, BYOD_EXT_CHANGED_SINCE, filter.changed_since);
  filter.flags = NumberIn(request, BYOD_EXT_WANTED_FLAGS, 0);
  filter.after = MacIn(request);
  return filter;
}

/// The stations that were there when the question was asked, without those forgotten since.
class StationSeries : public Series {
 public:
  StationSeries(Stations& stations, std::vector<uint64_t> macs, StationDetail detail)
      : stations_(stations), macs_(std::move(macs)), detail_(detail) {}

  bool Next(Pieces& pieces, bool& more) override {
    const Seconds now = SecondsSince1970();
    for (; next_ < macs_.size() && !pieces.Full(); ++next_) {
      const Station* const station = stations_.Find(macs_[next_], now);
      if (station == nullptr) continue;
      const tlv::Message message(TLV_Create());
      tlv::Appender append(message.get());
      AppendStation(append, stations_, *station, detail_);
      if (append.status() != 0 || !pieces.AddNested(BYOD_EXT_STATION, message.get())) return false;
    }
    more = next_ < macs_.size();
    return true;
  }

 private:
  Stations& stations_;
  std::vector<uint64_t> macs_;
  StationDetail detail_;
  size_t next_ = 0;
};

class FeedSeries : public Series {
 public:
  explicit FeedSeries(std::vector<Feed> feeds) : feeds_(std::move(feeds)) {}

  bool Next(Pieces& pieces, bool& more) override {
    for (; next_ < feeds_.size() && !pieces.Full(); ++next_) {
      const tlv::Message message = EncodeFeed(feeds_[next_]);
      if (!message || !pieces.AddNested(BYOD_EXT_FEED_ENTRY, message.get())) return false;
    }
    more = next_ < feeds_.size();
    return true;
  }

 private:
  std::vector<Feed> feeds_;
  size_t next_ = 0;
};

}  // namespace

Result TakeSighting(Exchange& exchange) {
  const Peer& peer = exchange.session.peer();
  if (!peer.may_change && !peer.may_report) {
    return Refused(BYOD_REFUSAL_PERMISSION, "you may not report sightings");
  }
  Stations* const stations = exchange.state.stations.get();
  if (stations == nullptr) return NoStations();
  const auto text = TextIn<BYOD_EXT_SIGHTING_SIZE>(exchange.request, BYOD_EXT_SIGHTING);
  if (!text) return Refused(BYOD_REFUSAL_MALFORMED, "a sighting has 1 to 4096 bytes");
  const Sender sender = {peer.user, peer.process};
  const Seconds now = SecondsSince1970();
  Sighting sighting;
  if (const std::string fault = ParseSighting(*text, sighting); !fault.empty()) {
    stations->CountMalformed(sighting.feed, sender, now);
    return Refused(BYOD_REFUSAL_MALFORMED, fault);
  }
  const Station* const station = stations->Take(sighting, sender, now);
  return station != nullptr ? AnswerStation(exchange, *station) : NoSuchStation();
}

Result ShowStation(Exchange& exchange) {
  Stations* const stations = exchange.state.stations.get();
  if (stations == nullptr) return NoStations();
  Station* station = nullptr;
  if (Result found = FindStation(exchange, *stations, station); !found.Ok()) return found;
  return station != nullptr ? AnswerStation(exchange, *station) : NoSuchStation();
}

Result ListStations(Exchange& exchange) {
  Stations* const stations = exchange.state.stations.get();
  if (stations == nullptr) return NoStations();
  const Filter filter = FilterIn(exchange.request);
  std::vector<uint64_t> macs;
  for (size_t place = 0; place < stations->table().places(); ++place) {
    const Station* const station = stations->table().AtPlace(place);
    if (station != nullptr && filter.Takes(*stations, *station)) macs.push_back(station->mac);
  }
  std::ranges::sort(macs);
  const uint32_t limit = NumberIn(exchange.request, BYOD_EXT_LIMIT, UINT32_MAX);
  if (macs.size() > limit) macs.resize(limit);
  const uint32_t detail = NumberIn(exchange.request, BYOD_TLV_QUERYARG2,
                                   static_cast<uint32_t>(StationDetail::kSummary));
  exchange.series = std::make_unique<StationSeries>(*stations, std::move(macs),
                                                    static_cast<StationDetail>(detail));
  return {};
}

Result WatchStations(Exchange& exchange) {
  State& state = exchange.state;
  if (state.stations == nullptr) return NoStations();
  return BeginWatch(exchange, state.station_hub);
}

Result ForgetStation(Exchange& exchange) {
  if (exchange.operation != BYOD_OP_UNDO) {
    return Refused(BYOD_REFUSAL_UNKNOWN_KIND, "a station cannot be set");
  }
  Stations* const stations = exchange.state.stations.get();
  if (stations == nullptr) return NoStations();
  Station* station = nullptr;
  if (Result found = FindStation(exchange, *stations, station); !found.Ok()) return found;
  if (station == nullptr) return NoSuchStation();
  stations->Forget(*station);
  return {};
}

Result ListFeeds(Exchange& exchange) {
  const Stations* const stations = exchange.state.stations.get();
  if (stations == nullptr) return NoStations();
  std::vector<Feed> feeds;
  for (size_t id = 0; id < stations->feeds().size(); ++id) {
    const Feed& feed = stations->feeds().At(static_cast<FeedId>(id));
    // The one without a name is shown when something came that could not be attributed.
    if (id != 0 || feed.last != 0) feeds.push_back(feed);
  }
  exchange.series = std::make_unique<FeedSeries>(std::move(feeds));
  return {};
}

}  // namespace byod::lauthd
