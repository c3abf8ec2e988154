// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/sighting.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "net/mac_text.h"

namespace byod::lauthd {
namespace {

constexpr size_t kMaxText = 255;
constexpr size_t kMaxPlace = 64;
constexpr size_t kMaxOptions = 255;
constexpr double kMaxTime = UINT32_MAX;  // the year 2106

/// Texts that are kept as they are.
struct TextKey {
  std::string_view key;
  std::string Sighting::* member;
};
constexpr TextKey kTexts[] = {{"user_agent", &Sighting::user_agent},
                              {"vendor_class", &Sighting::vendor_class},
                              {"host_name", &Sighting::host_name}};
constexpr TextKey kPlaces[] = {{"access_device", &Sighting::access_device},
                               {"port", &Sighting::port},
                               {"session", &Sighting::session}};

struct EventName {
  std::string_view name;
  SightingEvent event;
};
constexpr EventName kEvents[] = {{"lease", SightingEvent::kLease},
                                 {"lease-end", SightingEvent::kLeaseEnd},
                                 {"start", SightingEvent::kStart},
                                 {"interim", SightingEvent::kInterim},
                                 {"stop", SightingEvent::kStop}};

constexpr std::string_view kNumbers[] = {"lease_end", "time", "dropped"};

template <typename Rows>
auto FindKey(const Rows& rows, std::string_view key) {
  return std::ranges::find(rows, key, [](const auto& row) { return row.key; });
}

bool IsText(std::string_view key) {
  return FindKey(kTexts, key) != std::end(kTexts) || FindKey(kPlaces, key) != std::end(kPlaces) ||
         key == "feed" || key == "mac" || key == "ip" || key == "event";
}

/// Takes the values of the outer object's keys as the parser comes across them.
class Reader : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit Reader(Sighting& sighting) : sighting_(sighting) {}

  const std::string& fault() const { return fault_; }

  bool key(string_t& name) override {
    if (depth_ == 1) key_ = name;
    return true;
  }

  bool null() override { return !in_options_ && depth_ > 0 ? true : TakeOther(); }
  bool boolean(bool) override { return TakeOther(); }
  bool binary(binary_t&) override { return false; }

  bool number_integer(number_integer_t value) override {
    return TakeNumber(static_cast<double>(value));
  }
  bool number_unsigned(number_unsigned_t value) override {
    return TakeNumber(static_cast<double>(value));
  }
  bool number_float(number_float_t value, const string_t&) override { return TakeNumber(value); }

  bool string(string_t& value) override {
    if (in_options_) return Refuse("options holds a value that is not a number");
    if (depth_ != 1) return depth_ > 0;
    // A text ends at a NUL, which DHCP clients send behind their names.
    const std::string_view text(value.c_str());
    if (key_ == "options") return TakeOptionsText(text);
    if (!IsText(key_)) return TakeOther();
    return TakeText(text);
  }

  bool start_object(size_t) override { return Enter(false); }
  bool start_array(size_t) override { return Enter(depth_ == 1 && key_ == "options"); }
  bool end_object() override { return Leave(); }
  bool end_array() override { return Leave(); }

  bool parse_error(size_t, const std::string&, const nlohmann::detail::exception&) override {
    return Refuse("not a JSON object");
  }

 private:
  bool Refuse(std::string fault) {
    if (fault_.empty()) fault_ = std::move(fault);
    return false;
  }

  bool Enter(bool options) {
    if (depth_ == 1 && !options && IsKnown()) return WrongType();
    if (in_options_) return Refuse("options holds a value that is not a number");
    if (options) sighting_.options.clear();
    in_options_ = options;
    ++depth_;
    return true;
  }

  bool Leave() {
    --depth_;
    in_options_ = false;
    return true;
  }

  bool IsKnown() const {
    return IsText(key_) || key_ == "options" || std::ranges::count(kNumbers, key_) > 0;
  }

  bool WrongType() {
    if (key_ == "options") return Refuse("options is neither a string nor an array");
    return Refuse(key_ + (IsText(key_) ? " is not a string" : " is not a number"));
  }

  /// A value that no key takes.
  bool TakeOther() {
    if (in_options_) return Refuse("options holds a value that is not a number");
    if (depth_ == 0) return Refuse("not a JSON object");
    return depth_ > 1 || !IsKnown() || WrongType();
  }

  bool TakeNumber(double value) {
    if (in_options_) return AddOption(value);
    if (depth_ != 1 || std::ranges::count(kNumbers, key_) == 0) return TakeOther();
    if (!(value >= 0 && value <= kMaxTime)) return Refuse(key_ + " is out of range");
    const auto whole = static_cast<uint64_t>(value);
    if (key_ == "time") {
      sighting_.time = whole;
    } else {
      (key_ == "dropped" ? sighting_.dropped : sighting_.lease_end) = whole;
    }
    return true;
  }

  bool AddOption(double value) {
    if (!(value >= 0 && value <= 255) || value != std::floor(value)) {
      return Refuse("an option is a number from 0 to 255");
    }
    if (sighting_.options.size() == kMaxOptions)
      return Refuse("options holds more than 255 numbers");
    sighting_.options += static_cast<char>(static_cast<uint8_t>(value));
    return true;
  }

  bool TakeOptionsText(std::string_view text) {
    sighting_.options.clear();
    while (!text.empty()) {
      const size_t comma = text.find(',');
      std::string_view number = text.substr(0, comma);
      while (number.starts_with(' '))
        number.remove_prefix(1);
      while (number.ends_with(' '))
        number.remove_suffix(1);
      unsigned value = 256;
      const auto [end, error] =
          std::from_chars(number.data(), number.data() + number.size(), value);
      if (error != std::errc() || end != number.data() + number.size()) value = 256;
      if (!AddOption(value)) return false;
      text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return true;
  }

  bool TakeText(std::string_view text) {
    if (const auto row = FindKey(kTexts, key_); row != std::end(kTexts)) {
      sighting_.*row->member = text.substr(0, kMaxText);
      return true;
    }
    if (const auto row = FindKey(kPlaces, key_); row != std::end(kPlaces)) {
      if (text.size() > kMaxPlace) return Refuse(key_ + " is longer than 64 bytes");
      sighting_.*row->member = text;
      return true;
    }
    if (key_ == "feed") {
      if (!IsFeedName(text)) return Refuse("feed is not a name of 1 to 32 characters a-z, 0-9, -");
      sighting_.feed = text;
      return true;
    }
    if (key_ == "event") return TakeEvent(text);
    return TakeAddress(text);
  }

  bool TakeEvent(std::string_view text) {
    const auto row = std::ranges::find(kEvents, text, &EventName::name);
    if (row == std::end(kEvents)) return Refuse("unknown event");
    sighting_.event = row->event;
    return true;
  }

  bool TakeAddress(std::string_view text) {
    if (key_ == "ip") {
      sighting_.ip = ParseIp(text);
      return sighting_.ip || Refuse("ip is not the address of a terminal");
    }
    sighting_.mac = net::ParseMac(text);
    const bool is_terminal =
        sighting_.mac && (sighting_.mac->front() & 1) == 0 && net::LoadMac(sighting_.mac->data());
    return is_terminal || Refuse("mac is not the address of a terminal");
  }

  Sighting& sighting_;
  std::string fault_;
  std::string key_;
  int depth_ = 0;
  bool in_options_ = false;
};

}  // namespace

bool IsFeedName(std::string_view text) {
  return !text.empty() && text.size() <= 32 && std::ranges::all_of(text, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
  });
}

std::string ParseSighting(std::string_view datagram, Sighting& sighting) {
  sighting = {};
  if (datagram.size() > kMaxSightingBytes) return "longer than 4096 bytes";
  const size_t start = datagram.find('{');
  if (start == std::string_view::npos) return "not a JSON object";
  datagram.remove_prefix(start);
  while (datagram.ends_with('\n') || datagram.ends_with('\0') || datagram.ends_with('\r'))
    datagram.remove_suffix(1);
  Reader reader(sighting);
  if (!nlohmann::json::sax_parse(datagram.begin(), datagram.end(), &reader)) {
    return reader.fault().empty() ? "not a JSON object" : reader.fault();
  }
  if (sighting.feed.empty()) return "the feed is missing";
  if (!sighting.mac && !sighting.ip) return "mac and ip are missing";
  if (sighting.event == SightingEvent::kNone && sighting.ip && sighting.mac) {
    sighting.event = SightingEvent::kLease;
  }
  return {};
}

}  // namespace byod::lauthd
