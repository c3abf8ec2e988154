// SPDX-License-Identifier: Apache-2.0
// The entry points for a caller that holds a terminal's fingerprint and a connection to the daemon.
#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "byod_cfgmsg.h"
#include "data/bounded_copy.h"
#include "lauth_debug.h"
#include "lauth_text.h"

namespace {

constexpr uint32_t kObtained = 2;  // the log level of a fingerprint's parts

/// The first word that decides, decides.
uint32_t TerminalType(const char* lowered) {
  const auto has = [lowered](const char* word) { return std::strstr(lowered, word) != nullptr; };
  if (has("android") && !has("mobile")) return BYOD_TERMINAL_TABLET;
  if (has("ipad")) return BYOD_TERMINAL_TABLET;
  // Kept in this order, though "phone" leaves nothing to "windows phone".
  for (const char* word : {"mobile", "phone", "symbianos", "windows phone", "ipod"}) {
    if (has(word)) return BYOD_TERMINAL_MOBILE;
  }
  return BYOD_TERMINAL_PC;
}

/// An option list or an address counts as present when its first byte is not 0.
void LogParts(const ByodFingerPrint& fp) {
  char options[BYOD_RULETEXT_SIZE] = "";
  if (fp.options[0] != 0 &&
      BYOD_data_GetDhcpOption55String(fp.option_length, fp.options, sizeof options, options) == 0) {
    LAUTH_dbg_PrintDbgInfo(kObtained, "Obtained DHCP Option 55 fingerprint of the terminal: %s",
                           options);
  }
  if (fp.user_agent[0] != '\0') {
    LAUTH_dbg_PrintDbgInfo(kObtained, "Obtained HTTP user agent fingerprint of the terminal: %s",
                           fp.user_agent);
  }
  if (fp.mac[0] != 0) {
    LAUTH_dbg_PrintDbgInfo(kObtained, "Obtained MAC address fingerprint of the terminal: %M",
                           fp.mac);
  }
}

uint32_t RefuseArguments() {
  errno = EINVAL;
  return BYOD_ERR_FAILED;
}

using TextQuery = uint32_t (*)(int connection, const ByodFingerPrint* fp, uint32_t size, char* out);

uint32_t LogAndAsk(TextQuery query, int connection, const ByodFingerPrint* fp, uint32_t size,
                   char* out) {
  if (connection < 0 || fp == nullptr || out == nullptr) return RefuseArguments();
  if (size > 0) out[0] = '\0';
  LogParts(*fp);
  return query(connection, fp, size, out);
}

}  // namespace

uint32_t BYOD_GetDeviceTypeByFingerPrint(int connection, const ByodFingerPrint* fp,
                                         uint32_t* type) {
  if (connection < 0 || fp == nullptr || type == nullptr) return RefuseArguments();
  char ua[BYOD_USERAGENT_SIZE];
  byod::CopyText(ua, fp->user_agent);
  *type = TerminalType(lowercase(ua));
  return 0;
}

uint32_t BYOD_GetVendorByFingerPrint(int connection, const ByodFingerPrint* fp, uint32_t size,
                                     char* out) {
  return LogAndAsk(BYOD_cfgmsg_GetDeviceVendor, connection, fp, size, out);
}

uint32_t BYOD_GetDeviceNameByFingerPrint(int connection, const ByodFingerPrint* fp, uint32_t size,
                                         char* out) {
  return LogAndAsk(BYOD_cfgmsg_GetDeviceType, connection, fp, size, out);
}

uint32_t BYOD_GetDeviceAttributeByFingerPrint(int connection, const ByodFingerPrint* fp,
                                              ByodDeviceAttribute* attr) {
  if (connection < 0 || fp == nullptr || attr == nullptr) return RefuseArguments();
  *attr = {};
  return BYOD_cfgmsg_GetDeviceAttribute(connection, fp, attr);
}
