// SPDX-License-Identifier: Apache-2.0
#include "capture/frame.h"

#include <arpa/inet.h>

#include <algorithm>

namespace byod::capture {
namespace {

constexpr size_t kMappedAt = 12;  // of an IPv4 address

bool IsMapped(const IpAddress& address) {
  return std::all_of(address.begin(), address.begin() + 10, [](uint8_t b) { return b == 0; }) &&
         address[10] == 0xFF && address[11] == 0xFF;
}

}  // namespace

IpAddress MakeIpAddress(Bytes bytes) {
  IpAddress address = {};
  if (bytes.size() == address.size()) {
    std::ranges::copy(bytes, address.begin());
  } else if (std::ranges::any_of(bytes, [](uint8_t b) { return b != 0; })) {
    address[10] = address[11] = 0xFF;
    std::ranges::copy(bytes, address.begin() + kMappedAt);
  }
  return address;
}

std::string ToString(const IpAddress& address) {
  if (address == kNoAddress) return {};
  char text[INET6_ADDRSTRLEN] = "";
  if (IsMapped(address)) {
    inet_ntop(AF_INET, address.data() + kMappedAt, text, sizeof text);
  } else {
    inet_ntop(AF_INET6, address.data(), text, sizeof text);
  }
  return text;
}

}  // namespace byod::capture
