// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/ip_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>

namespace byod::lauthd {
namespace {

constexpr std::array<uint8_t, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

bool IsIpv4(const IpAddress& address) {
  return std::equal(kMapped.begin(), kMapped.end(), address.bytes.begin());
}

/// Whether a terminal can have the address.
bool IsOfTerminal(const IpAddress& address) {
  const auto& bytes = address.bytes;
  if (IsIpv4(address)) return bytes[12] != 0 && bytes[12] != 127 && bytes[12] < 224;
  const bool unspecified_or_loopback =
      std::all_of(bytes.begin(), bytes.end() - 1, [](uint8_t byte) { return byte == 0; }) &&
      bytes[15] <= 1;
  return !unspecified_or_loopback && bytes[0] != 0xff;
}

}  // namespace

std::optional<IpAddress> ParseIp(std::string_view text) {
  char terminated[INET6_ADDRSTRLEN];
  if (text.size() >= sizeof terminated) return std::nullopt;
  terminated[text.copy(terminated, text.size())] = '\0';
  IpAddress address;
  if (inet_pton(AF_INET, terminated, address.bytes.data() + kMapped.size()) == 1) {
    std::copy(kMapped.begin(), kMapped.end(), address.bytes.begin());
  } else if (inet_pton(AF_INET6, terminated, address.bytes.data()) != 1) {
    return std::nullopt;
  }
  if (!IsOfTerminal(address)) return std::nullopt;
  return address;
}

std::string ToString(const IpAddress& address) {
  char text[INET6_ADDRSTRLEN] = "";
  const bool is_ipv4 = IsIpv4(address);
  const uint8_t* const bytes = address.bytes.data() + (is_ipv4 ? kMapped.size() : 0);
  inet_ntop(is_ipv4 ? AF_INET : AF_INET6, bytes, text, sizeof text);
  return text;
}

}  // namespace byod::lauthd
