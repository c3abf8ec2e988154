// SPDX-License-Identifier: Apache-2.0
#include "net/mac_text.h"

#include <algorithm>
#include <charconv>

namespace byod::net {
namespace {

constexpr std::string_view kHexadecimal = "0123456789abcdefABCDEF";
constexpr size_t kAddressDigits = kDigits.Length();

}  // namespace

std::optional<std::string> MacDigits(std::string_view text) {
  const size_t group = std::min(text.find_first_not_of(kHexadecimal), text.size());
  std::string digits{text.substr(0, group)};
  if (group < text.size()) {
    const char separator = text[group];
    const bool known_form = (separator == ':' || separator == '-' || separator == '.') &&
                            (group == 2 || group == 4 || group == 6);
    if (!known_form) return std::nullopt;
    std::string_view rest = text.substr(group);
    while (!rest.empty()) {
      if (rest.front() != separator)
        return std::nullopt;  // also when the group before was too long
      rest.remove_prefix(1);
      const size_t length = std::min({rest.find_first_not_of(kHexadecimal), rest.size(), group});
      if (length == 0 || (length < group && length < rest.size())) return std::nullopt;
      digits += rest.substr(0, length);
      rest.remove_prefix(length);
    }
  }
  if (digits.empty() || digits.size() > kAddressDigits) return std::nullopt;
  return digits;
}

std::optional<MacAddress> ParseMac(std::string_view text) {
  const auto digits = MacDigits(text);
  if (!digits || digits->size() != kAddressDigits) return std::nullopt;
  MacAddress mac;
  for (size_t i = 0; i < mac.size(); ++i) {
    const char* const pair = digits->data() + 2 * i;
    std::from_chars(pair, pair + 2, mac[i], 16);
  }
  return mac;
}

std::string ToString(const MacAddress& mac) {
  char text[kColons.Length() + 1];
  WriteMac<kColons>(text, mac.data());
  return text;
}

}  // namespace byod::net
