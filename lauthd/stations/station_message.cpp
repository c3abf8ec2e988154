// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_message.h"

#include <string>

#include "byod_tlv.h"
#include "lauthd/stations/answer.h"
#include "protocol/counter.h"
#include "protocol/extensions.h"

namespace byod::lauthd {
namespace {

void PutCounter(tlv::Appender& append, uint16_t type, uint64_t value) {
  append.Combine(protocol::AppendCounter(append.message(), type, value));
}

void PutTime(tlv::Appender& append, uint16_t type, Seconds time) {
  PutCounter(append, type, uint64_t{time} * 1'000'000);
}

void PutText(tlv::Appender& append, uint16_t type, std::string_view text) {
  if (!text.empty()) append.Text(type, std::string(text).c_str());
}

/// Appends a nested message. @param fill  (appender)
template <typename Fill>
void Nest(tlv::Appender& append, uint16_t type, Fill fill) {
  const tlv::Message nested(TLV_Create());
  tlv::Appender inner(nested.get());
  fill(inner);
  append.Combine(inner.status());
  append.Combine(BYOD_tlv_PutSubTlv(append.message(), type, nested.get()));
}

/// Appends the parts of one station.
class StationWriter {
 public:
  StationWriter(tlv::Appender& append, const Stations& stations, const Station& station)
      : append_(append), stations_(stations), station_(station) {}

  void PutSummary() {
    append_.Number(BYOD_EXT_STATION_FLAGS, FlagsOf(station_));
    PutTime(append_, BYOD_EXT_FIRST_TIME, station_.first);
    PutTime(append_, BYOD_EXT_TIME, station_.last);
    if (station_.history.count > 0) {
      PutTime(append_, BYOD_EXT_CHANGED, station_.history.all().back().time);
    }
    PutText(append_, BYOD_EXT_HOST_NAME, Text(station_.host_name.text));
    PutText(append_, BYOD_EXT_ACCESS_DEVICE, Text(station_.place.access_device));
    PutText(append_, BYOD_EXT_PORT, Text(station_.place.port));
    PutText(append_, BYOD_EXT_SESSION, Text(station_.place.session));
    for (const Held& held : station_.addresses.all())
      PutAddress(held);
  }

  void PutRest() {
    PutText(append_, BYOD_EXT_VENDOR_CLASS, Text(station_.vendor_class.text));
    for (uint32_t method = 0; method < station_.by_method.size(); ++method)
      PutMethod(method, Text(station_.by_method[method]));
    for (size_t i = 0; i < station_.lists.count; ++i)
      PutSeen(BYOD_EXT_SEEN_LIST, station_.lists.values[i],
              static_cast<int8_t>(i) == station_.chosen_list);
    for (size_t i = 0; i < station_.agents.count; ++i)
      PutSeen(BYOD_EXT_SEEN_AGENT, station_.agents.values[i],
              static_cast<int8_t>(i) == station_.chosen_agent);
    TextId from = station_.answer_before;
    for (const AnswerChange& change : station_.history.all()) {
      Nest(append_, BYOD_EXT_CHANGE,
           [&](tlv::Appender& inner) { PutChange(inner, stations_, change, from); });
      from = change.to;
    }
  }

  static void PutChange(tlv::Appender& append, const Stations& stations, const AnswerChange& change,
                        TextId from) {
    const TextPool& texts = stations.texts();
    PutTime(append, BYOD_EXT_TIME, change.time);
    append.Number(BYOD_EXT_CAUSE, static_cast<uint32_t>(change.cause));
    PutBecause(append, change.cause, texts.Text(change.because));
    PutText(append, BYOD_EXT_FEED, stations.feeds().At(change.feed).trust.name);
    Nest(append, BYOD_EXT_FROM,
         [&](tlv::Appender& inner) { AppendAnswer(inner, texts.Text(from)); });
    Nest(append, BYOD_EXT_TO,
         [&](tlv::Appender& inner) { AppendAnswer(inner, texts.Text(change.to)); });
  }

 private:
  std::string_view Text(TextId id) const { return stations_.texts().Text(id); }
  const std::string& FeedName(FeedId id) const { return stations_.feeds().At(id).trust.name; }

  static void PutOptions(tlv::Appender& append, std::string_view options) {
    append.Bytes(BYOD_TLV_OPTION55, static_cast<uint32_t>(options.size()), options.data());
  }

  static void PutBecause(tlv::Appender& append, Cause cause, std::string_view text) {
    if (text.empty()) return;
    if (cause == Cause::kOptions) return PutOptions(append, text);
    PutText(append,
            cause == Cause::kUserAgent     ? uint16_t{BYOD_TLV_USERAGENT}
            : cause == Cause::kVendorClass ? uint16_t{BYOD_EXT_VENDOR_CLASS}
                                           : uint16_t{BYOD_EXT_HOST_NAME},
            text);
  }

  void PutAddress(const Held& held) {
    Nest(append_, BYOD_EXT_ADDRESS, [&](tlv::Appender& inner) {
      PutText(inner, BYOD_EXT_IP, ToString(held.address));
      if (held.lease_end != 0) PutTime(inner, BYOD_EXT_LEASE_END, held.lease_end);
      PutTime(inner, BYOD_EXT_TIME, held.last);
      PutText(inner, BYOD_EXT_FEED, FeedName(held.feed));
    });
  }

  void PutMethod(uint32_t method, std::string_view packed) {
    if (packed.empty()) return;
    Nest(append_, BYOD_EXT_METHOD_ANSWER, [&](tlv::Appender& inner) {
      inner.Number(BYOD_EXT_METHOD, method);
      AppendAnswer(inner, packed);
    });
  }

  void PutSeen(uint16_t type, const Seen& seen, bool is_chosen) {
    Nest(append_, type, [&](tlv::Appender& inner) {
      if (type == BYOD_EXT_SEEN_LIST) {
        PutOptions(inner, Text(seen.text));
      } else {
        PutText(inner, BYOD_TLV_USERAGENT, Text(seen.text));
      }
      AppendAnswer(inner, Text(seen.answer));
      PutCounter(inner, BYOD_EXT_SEEN, seen.times);
      PutTime(inner, BYOD_EXT_FIRST_TIME, seen.first);
      PutTime(inner, BYOD_EXT_TIME, seen.last);
      PutText(inner, BYOD_EXT_FEED, FeedName(seen.feed));
      if (is_chosen) inner.Number(BYOD_EXT_CHOSEN, 1);
      if (seen.is_background) inner.Number(BYOD_EXT_BACKGROUND, 1);
    });
  }

  tlv::Appender& append_;
  const Stations& stations_;
  const Station& station_;
};

}  // namespace

void AppendAnswer(tlv::Appender& append, std::string_view packed) {
  const AnswerView answer = Unpack(packed);
  PutText(append, BYOD_TLV_DEVNAME, answer.name);
  PutText(append, BYOD_TLV_VENDOR, answer.vendor);
  PutText(append, BYOD_TLV_DEVTYPE, answer.category);
  PutText(append, BYOD_TLV_OS, answer.os);
  PutText(append, BYOD_EXT_DERIVED_VENDOR, answer.derived_vendor);
}

uint32_t FlagsOf(const Station& station) {
  return (station.is_contradicting ? uint32_t{BYOD_STATION_CONTRADICTING} : 0) |
         (station.is_shared ? uint32_t{BYOD_STATION_SHARED} : 0) |
         (station.answer == 0 ? uint32_t{BYOD_STATION_UNKNOWN} : 0);
}

void AppendStation(tlv::Appender& append, const Stations& stations, const Station& station,
                   StationDetail detail) {
  append.Address(BYOD_TLV_MAC, station.address().data());
  AppendAnswer(append, stations.texts().Text(station.answer));
  if (detail == StationDetail::kAnswer) return;
  StationWriter writer(append, stations, station);
  writer.PutSummary();
  if (detail == StationDetail::kAll) writer.PutRest();
}

tlv::Message EncodeChange(const Stations& stations, const Station& station, TextId from) {
  tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  append.Address(BYOD_TLV_MAC, station.address().data());
  append.Number(BYOD_EXT_STATION_FLAGS, FlagsOf(station));
  StationWriter::PutChange(append, stations, station.history.all().back(), from);
  PutText(append, BYOD_EXT_ACCESS_DEVICE, stations.texts().Text(station.place.access_device));
  PutText(append, BYOD_EXT_PORT, stations.texts().Text(station.place.port));
  PutText(append, BYOD_EXT_SESSION, stations.texts().Text(station.place.session));
  if (append.status() != 0) return tlv::Message();
  return message;
}

tlv::Message EncodeFeed(const Feed& feed) {
  tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  append.Text(BYOD_EXT_FEED, feed.trust.name.c_str())
      .Number(BYOD_EXT_TRUST, feed.trust.trust)
      .Number(BYOD_EXT_LIFETIME, feed.trust.lifetime);
  PutCounter(append, BYOD_EXT_SEEN, feed.count);
  PutCounter(append, BYOD_EXT_MALFORMED, feed.malformed);
  PutCounter(append, BYOD_EXT_UNPLACED, feed.unplaced);
  PutCounter(append, BYOD_EXT_DROPPED, feed.dropped);
  if (feed.last != 0) {
    PutTime(append, BYOD_EXT_FIRST_TIME, feed.first);
    PutTime(append, BYOD_EXT_TIME, feed.last);
    append.Number(BYOD_EXT_CLIENT, feed.sender.user)
        .Number(BYOD_EXT_PROCESS, static_cast<uint32_t>(feed.sender.process));
  }
  if (append.status() != 0) return tlv::Message();
  return message;
}

}  // namespace byod::lauthd
