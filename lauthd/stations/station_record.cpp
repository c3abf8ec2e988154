// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_record.h"

#include <cstring>
#include <optional>
#include <vector>

#include "lauthd/stations/answer.h"
#include "net/byte_order.h"

namespace byod::lauthd {
namespace {

constexpr uint8_t kVersion = 1;
constexpr size_t kMaxText = 1024;  // no text of a station is longer

enum Flag : uint8_t { kContradicting = 1, kShared = 2 };

class Writer {
 public:
  Writer(const Stations& stations, std::string& out) : stations_(stations), out_(out) {}

  void Byte(uint8_t value) { out_ += static_cast<char>(value); }
  void Number(uint32_t value) { Big(value); }
  void Bytes(const void* bytes, size_t length) {
    out_.append(static_cast<const char*>(bytes), length);
  }
  void Text(std::string_view text) {
    Big(static_cast<uint16_t>(text.size()));
    out_ += text;
  }
  void Text(TextId id) { Text(stations_.texts().Text(id)); }
  void Feed(FeedId id) { Text(std::string_view(stations_.feeds().At(id).trust.name)); }

 private:
  template <typename Integer>
  void Big(Integer value) {
    char bytes[sizeof value];
    net::StoreBig(bytes, value);
    out_.append(bytes, sizeof bytes);
  }

  const Stations& stations_;
  std::string& out_;
};

/// Reads zeros and empty texts behind the end, which Whole reports.
class Reader {
 public:
  explicit Reader(std::string_view rest) : rest_(rest) {}

  uint8_t Byte() { return Big<uint8_t>(); }
  uint32_t Number() { return Big<uint32_t>(); }
  std::string_view Bytes(size_t length) {
    if (length > rest_.size()) {
      failed_ = true;
      rest_ = {};
      return {};
    }
    const std::string_view bytes = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return bytes;
  }
  std::string_view Text() {
    const uint16_t length = Big<uint16_t>();
    if (length > kMaxText) failed_ = true;
    return failed_ ? std::string_view() : Bytes(length);
  }
  /// A number of things, each of at most `most`.
  uint8_t Count(size_t most) {
    const uint8_t count = Byte();
    if (count > most) failed_ = true;
    return failed_ ? uint8_t{0} : count;
  }
  bool failed() const { return failed_; }
  bool Whole() const { return !failed_ && rest_.empty(); }

 private:
  template <typename Integer>
  Integer Big() {
    const std::string_view bytes = Bytes(sizeof(Integer));
    return bytes.empty() ? Integer{0} : net::LoadBig<Integer>(bytes.data());
  }

  std::string_view rest_;
  bool failed_ = false;
};

void WriteSaid(Writer& writer, const Said& said) {
  writer.Text(said.text);
  writer.Number(said.time);
  writer.Feed(said.feed);
}

void WriteSeen(Writer& writer, const Seen& seen) {
  writer.Text(seen.text);
  writer.Text(seen.answer);
  writer.Number(seen.times);
  writer.Number(seen.first);
  writer.Number(seen.last);
  writer.Byte(seen.rule_length);
  writer.Byte(seen.is_background);
  writer.Feed(seen.feed);
}

/// Fills in a station that has just been made.
class Restorer {
 public:
  Restorer(Stations& stations, Station& station, Reader& reader)
      : stations_(stations), station_(station), reader_(reader) {}

  void Restore() {
    station_.first = reader_.Number();
    station_.last = reader_.Number();
    station_.chosen_since = reader_.Number();
    const uint8_t flags = reader_.Byte();
    station_.is_contradicting = (flags & kContradicting) != 0;
    station_.is_shared = (flags & kShared) != 0;
    const auto chosen_list = static_cast<int8_t>(reader_.Byte());
    const auto chosen_agent = static_cast<int8_t>(reader_.Byte());
    Assign(station_.answer_before);
    Assign(station_.answer);
    for (TextId& answer : station_.by_method)
      Assign(answer);
    ReadSaid(station_.vendor_class);
    ReadSaid(station_.host_name);
    Assign(station_.place.access_device);
    Assign(station_.place.port);
    Assign(station_.place.session);
    station_.place.time = reader_.Number();
    station_.place.feed = Feed();
    ReadAddresses();
    ReadSeen(station_.lists);
    ReadSeen(station_.agents);
    ReadHistory();
    station_.chosen_list = Within(chosen_list, station_.lists.count);
    station_.chosen_agent = Within(chosen_agent, station_.agents.count);
  }

 private:
  static int8_t Within(int8_t chosen, uint8_t count) {
    return chosen >= 0 && chosen < count ? chosen : kNotChosen;
  }

  void Assign(TextId& id) { stations_.texts().Assign(id, reader_.Text()); }
  FeedId Feed() { return stations_.feeds().IdOf(reader_.Text()); }

  void ReadSaid(Said& said) {
    Assign(said.text);
    said.time = reader_.Number();
    said.feed = Feed();
  }

  void ReadAddresses() {
    for (uint8_t left = reader_.Count(kMaxAddresses); left > 0 && !reader_.failed(); --left) {
      IpAddress address;
      const std::string_view bytes = reader_.Bytes(address.bytes.size());
      if (bytes.empty()) return;
      std::memcpy(address.bytes.data(), bytes.data(), bytes.size());
      Held& held = stations_.table().Give(station_, address);
      held.lease_end = reader_.Number();
      held.last = reader_.Number();
      held.feed = Feed();
    }
  }

  template <size_t N>
  void ReadSeen(FewOf<Seen, N>& all) {
    for (uint8_t left = reader_.Count(N); left > 0 && !reader_.failed(); --left) {
      Seen& seen = all.values[all.count++];
      Assign(seen.text);
      Assign(seen.answer);
      const auto answer = stations_.texts().Text(seen.answer);
      stations_.texts().Assign(seen.rule_os, std::string(Unpack(answer).os));
      seen.times = reader_.Number();
      seen.first = reader_.Number();
      seen.last = reader_.Number();
      seen.rule_length = reader_.Byte();
      seen.is_background = reader_.Byte() != 0;
      seen.feed = Feed();
    }
  }

  void ReadHistory() {
    auto& history = station_.history;
    for (uint8_t left = reader_.Count(kMaxHistory); left > 0 && !reader_.failed(); --left) {
      AnswerChange& change = history.values[history.count++];
      Assign(change.to);
      Assign(change.because);
      change.time = reader_.Number();
      const uint8_t cause = reader_.Byte();
      change.cause =
          cause <= static_cast<uint8_t>(Cause::kTime) ? static_cast<Cause>(cause) : Cause::kTime;
      change.feed = Feed();
    }
  }

  Stations& stations_;
  Station& station_;
  Reader& reader_;
};

}  // namespace

std::string EncodeStation(const Stations& stations, const Station& station) {
  std::string record;
  record.reserve(512);
  Writer writer(stations, record);
  writer.Byte(kVersion);
  writer.Bytes(station.address().data(), net::kMacSize);
  writer.Number(station.first);
  writer.Number(station.last);
  writer.Number(station.chosen_since);
  writer.Byte(static_cast<uint8_t>((station.is_contradicting ? kContradicting : 0) |
                                   (station.is_shared ? kShared : 0)));
  writer.Byte(static_cast<uint8_t>(station.chosen_list));
  writer.Byte(static_cast<uint8_t>(station.chosen_agent));
  writer.Text(station.answer_before);
  writer.Text(station.answer);
  for (const TextId answer : station.by_method)
    writer.Text(answer);
  WriteSaid(writer, station.vendor_class);
  WriteSaid(writer, station.host_name);
  writer.Text(station.place.access_device);
  writer.Text(station.place.port);
  writer.Text(station.place.session);
  writer.Number(station.place.time);
  writer.Feed(station.place.feed);
  writer.Byte(station.addresses.count);
  for (const Held& held : station.addresses.all()) {
    writer.Bytes(held.address.bytes.data(), held.address.bytes.size());
    writer.Number(held.lease_end);
    writer.Number(held.last);
    writer.Feed(held.feed);
  }
  writer.Byte(station.lists.count);
  for (const Seen& list : station.lists.all())
    WriteSeen(writer, list);
  writer.Byte(station.agents.count);
  for (const Seen& agent : station.agents.all())
    WriteSeen(writer, agent);
  writer.Byte(station.history.count);
  for (const AnswerChange& change : station.history.all()) {
    writer.Text(change.to);
    writer.Text(change.because);
    writer.Number(change.time);
    writer.Byte(static_cast<uint8_t>(change.cause));
    writer.Feed(change.feed);
  }
  return record;
}

bool DecodeStation(Stations& stations, std::string_view record) {
  Reader reader(record);
  if (reader.Byte() != kVersion) return false;
  const std::string_view mac = reader.Bytes(net::kMacSize);
  if (mac.empty()) return false;
  const uint64_t address = net::LoadMac(reinterpret_cast<const uint8_t*>(mac.data()));
  if (address == 0) return false;
  Station* const station = stations.BeginRestore(address);
  if (station == nullptr) return true;
  try {
    Restorer(stations, *station, reader).Restore();
  } catch (...) {
    stations.table().Erase(*station);
    throw;
  }
  if (!reader.Whole()) {
    stations.table().Erase(*station);
    return false;
  }
  stations.Restored(*station);
  return true;
}

}  // namespace byod::lauthd
