// SPDX-License-Identifier: Apache-2.0
#include "feeds/sighting.h"

#include <algorithm>
#include <charconv>

namespace byod::feeds {
namespace {

/// How many bytes the character of UTF-8 at the front of a text has; 0 when it is none.
size_t CharacterSize(std::string_view text) {
  const auto at = [&](size_t place) { return static_cast<uint8_t>(text[place]); };
  const uint8_t first = at(0);
  if (first < 0x80) return 1;
  const size_t size = first >= 0xC2 && first <= 0xDF   ? 2
                      : first >= 0xE0 && first <= 0xEF ? 3
                      : first >= 0xF0 && first <= 0xF4 ? 4
                                                       : 0;
  if (size == 0 || size > text.size()) return 0;
  // Neither longer than needed, nor half of a pair, nor beyond the last character.
  const uint8_t min = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const uint8_t max = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (at(1) < min || at(1) > max) return 0;
  for (size_t place = 2; place < size; ++place) {
    if ((at(place) & 0xC0) != 0x80) return 0;
  }
  return size;
}

/// Writes the fields of an object, each whole or not at all.
class ObjectWriter {
 public:
  /// @param out  room for at least "{}"
  explicit ObjectWriter(std::span<char> out) : out_(out.first(out.size() - 1)) { Put('{'); }

  void Text(std::string_view name, std::string_view text) {
    if (text.empty()) return;
    Field(name, [&] { Quoted(text); });
  }

  void Number(std::string_view name, uint64_t number) {
    if (number == 0) return;
    Field(name, [&] { Digits(number); });
  }

  /// Seconds with six places.
  void Seconds(std::string_view name, uint64_t microseconds) {
    if (microseconds == 0) return;
    Field(name, [&] {
      Digits(microseconds / 1000000);
      Put('.');
      for (uint64_t unit = 100000; unit > 0; unit /= 10)
        Digits(microseconds / unit % 10);
    });
  }

  void Numbers(std::string_view name, std::span<const uint8_t> numbers) {
    if (numbers.empty()) return;
    Field(name, [&] {
      char before = '[';
      for (const uint8_t number : numbers) {
        Put(before);
        Digits(number);
        before = ',';
      }
      Put(']');
    });
  }

  /// @return the size of the object
  size_t End() {
    // The constructor has kept a place for it.
    out_.data()[size_++] = '}';
    return size_;
  }

 private:
  template <typename Write>
  void Field(std::string_view name, Write write_value) {
    const size_t start = size_;
    if (size_ > 1) Put(',');
    Put('"');
    Put(name);
    Put("\":");
    write_value();
    if (is_full_) size_ = start;
    is_full_ = false;
  }

  void Quoted(std::string_view text) {
    Put('"');
    while (!text.empty()) {
      const size_t size = CharacterSize(text);
      if (size == 0) {
        Escaped(text[0]);
      } else if (size > 1) {
        Put(text.substr(0, size));
      } else {
        Plain(text[0]);
      }
      text.remove_prefix(std::max<size_t>(size, 1));
    }
    Put('"');
  }

  void Plain(char character) {
    if (character == '"' || character == '\\') {
      Put('\\');
      Put(character);
    } else if (character < 0x20 || character == 0x7F) {
      Escaped(character);
    } else {
      Put(character);
    }
  }

  void Escaped(char character) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto byte = static_cast<uint8_t>(character);
    Put("\\u00");
    Put(kDigits[byte >> 4]);
    Put(kDigits[byte & 15]);
  }

  void Digits(uint64_t number) {
    char digits[20];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    Put({digits, static_cast<size_t>(end - digits)});
  }

  void Put(char character) { Put(std::string_view(&character, 1)); }

  void Put(std::string_view text) {
    is_full_ = is_full_ || text.size() > out_.size() - size_;
    if (is_full_) return;
    std::ranges::copy(text, out_.begin() + static_cast<ptrdiff_t>(size_));
    size_ += text.size();
  }

  std::span<char> out_;  // without the place of the last byte
  size_t size_ = 0;
  bool is_full_ = false;
};

/// The front of a text, without a part of a character at its end.
std::string_view Cut(std::string_view text) {
  if (text.size() <= kMaxText) return text;
  // The character that the limit falls into begins up to three bytes before.
  for (size_t start = kMaxText - 3; start < kMaxText; ++start) {
    const size_t size = CharacterSize(text.substr(start));
    if (size > 1 && start + size > kMaxText) return text.substr(0, start);
  }
  return text.substr(0, kMaxText);
}

/// Nothing for the name of a place that is too long: a part of one names nothing.
std::string_view Whole(std::string_view place) {
  return place.size() <= kMaxPlace ? place : std::string_view();
}

}  // namespace

Datagram::Datagram(const Sighting& sighting, uint64_t dropped) {
  ObjectWriter object(bytes_);
  object.Text("feed", sighting.feed);
  object.Text("mac", sighting.mac);
  object.Text("ip", sighting.ip);
  object.Text("event", sighting.event);
  object.Number("lease_end",
                sighting.lease_end > 0 ? static_cast<uint64_t>(sighting.lease_end) : 0);
  object.Seconds("time", sighting.time_us);
  object.Number("dropped", dropped);
  object.Numbers("options", sighting.options.first(std::min(sighting.options.size(), kMaxOptions)));
  object.Text("user_agent", Cut(sighting.user_agent));
  object.Text("vendor_class", Cut(sighting.vendor_class));
  object.Text("host_name", Cut(sighting.host_name));
  object.Text("access_device", Whole(sighting.access_device));
  object.Text("port", Whole(sighting.port));
  object.Text("session", Whole(sighting.session));
  size_ = object.End();
}

}  // namespace byod::feeds
