// SPDX-License-Identifier: Apache-2.0
#include "mac.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "byod_data.h"
#include "lauth_text.h"
#include "net/mac_address.h"

void MAC_BroadcastAddr(uint8_t* mac) {
  std::memset(mac, 0xFF, BYOD_MAC_SIZE);
}

void MAC_ToStringForMode(const uint8_t* mac, uint32_t size, char* out) {
  if (mac == nullptr || out == nullptr) return;
  char digits[2 * BYOD_MAC_SIZE + 1];
  byod::net::WriteMac<byod::net::kDigits>(digits, mac);
  size_t length = std::strlen(digits);
  while (length > 1 && digits[length - 1] == '0')
    --length;
  digits[length] = '\0';
  scnprintf(out, size, "byod-mac-%s", digits);
}

int BYOD_GetMacAddrByMode(const char* text, uint32_t size, uint8_t* mac) {
  std::memset(mac, 0, size);
  char padded[2 * BYOD_MAC_SIZE + 1];
  if (std::strlen(text) % 2 != 0) {
    scnprintf(padded, sizeof padded, "%s0", text);
    text = padded;
  }
  uint8_t bytes[BYOD_MAC_SIZE] = {};
  const int count = std::sscanf(text, "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx", &bytes[0], &bytes[1],
                                &bytes[2], &bytes[3], &bytes[4], &bytes[5]);
  std::memcpy(mac, bytes, std::min<size_t>(size, sizeof bytes));
  return count;
}

int MacStringtoMacaddr(const char* text, uint8_t* mac) {
  std::memset(mac, 0, BYOD_MAC_SIZE);
  return std::sscanf(text, "%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx", &mac[0], &mac[1], &mac[2],
                     &mac[3], &mac[4], &mac[5]);
}
