// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/since.h"

#include <charconv>
#include <ctime>
#include <string>

namespace byod::ctl {
namespace {

constexpr uint64_t kSecond = 1'000'000;

uint64_t SecondsIn(char unit) {
  switch (unit) {
    case 's':
      return 1;
    case 'm':
      return 60;
    case 'h':
      return 3600;
    case 'd':
      return 86400;
    default:
      return 0;
  }
}

}  // namespace

std::optional<uint64_t> ParseSince(std::string_view text, uint64_t now) {
  uint32_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc{} && stop + 1 == end && SecondsIn(*stop) != 0) {
    const uint64_t ago = count * SecondsIn(*stop) * kSecond;
    return ago < now ? now - ago : 0;
  }
  tm parts = {};
  const std::string terminated(text);
  const char* rest = strptime(terminated.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (rest == nullptr) return std::nullopt;
  uint64_t fraction = 0;
  if (*rest == '.') {
    for (uint64_t unit = kSecond / 10; *++rest >= '0' && *rest <= '9'; unit /= 10)
      fraction += static_cast<uint64_t>(*rest - '0') * unit;
  }
  if (std::string_view(rest) != "Z") return std::nullopt;
  const time_t seconds = timegm(&parts);
  if (seconds < 0) return std::nullopt;
  return static_cast<uint64_t>(seconds) * kSecond + fraction;
}

}  // namespace byod::ctl
