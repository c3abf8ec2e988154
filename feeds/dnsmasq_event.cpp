// SPDX-License-Identifier: Apache-2.0
#include "feeds/dnsmasq_event.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace byod::feeds {
namespace {

std::string_view TextOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

/// @return nothing for what is not a number from its first to its last character
template <typename Number>
bool ReadNumber(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end;
}

/// Reads "1,3,6". @return how many numbers; 0 when anything else is among them
size_t ReadOptions(std::string_view text, std::span<uint8_t> options) {
  size_t count = 0;
  while (!text.empty()) {
    const std::string_view number = text.substr(0, text.find(','));
    if (count == options.size() || !ReadNumber(number, options[count])) return 0;
    ++count;
    text.remove_prefix(number.size());
    if (text.size() == 1) return 0;  // a comma at the end
    if (!text.empty()) text.remove_prefix(1);
  }
  return count;
}

/// "00:16:aa:00:00:01". Addresses of other networks have their type before them, as in "20-...".
bool IsMac(std::string_view text) {
  constexpr size_t kLength = 17;
  if (text.size() != kLength) return false;
  for (size_t place = 0; place < kLength; ++place) {
    constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
    const bool is_digit = kDigits.find(text[place]) != std::string_view::npos;
    if (place % 3 == 2 ? text[place] != ':' : !is_digit) return false;
  }
  return true;
}

}  // namespace

DnsmasqEvent::DnsmasqEvent(std::span<const char* const> arguments, Environment environment) {
  if (arguments.size() < 3) return;
  const std::string_view action = arguments[0];
  const bool is_deleted = action == "del";
  if (!is_deleted && action != "add" && action != "old") return;

  const bool is_dhcpv6 = environment("DNSMASQ_IAID") != nullptr;
  const std::string_view mac =
      is_dhcpv6 ? TextOf(environment("DNSMASQ_MAC")) : std::string_view(arguments[1]);
  if (!IsMac(mac)) return;
  sighting_.feed = "dnsmasq";
  sighting_.mac = mac;
  sighting_.ip = arguments[2];
  sighting_.event = is_deleted ? "lease-end" : "lease";
  if (is_deleted) return;
  // 0 is a lease without an end.
  int64_t end = 0;
  if (ReadNumber(TextOf(environment("DNSMASQ_LEASE_EXPIRES")), end)) sighting_.lease_end = end;
  if (!is_dhcpv6) ReadRequest(environment);
}

void DnsmasqEvent::ReadRequest(Environment environment) {
  const size_t count = ReadOptions(TextOf(environment("DNSMASQ_REQUESTED_OPTIONS")), options_);
  sighting_.options = std::span(options_).first(count);
  sighting_.vendor_class = TextOf(environment("DNSMASQ_VENDOR_CLASS"));
  // The host name among the arguments may be the administrator's.
  sighting_.host_name = TextOf(environment("DNSMASQ_SUPPLIED_HOSTNAME"));
}

}  // namespace byod::feeds
