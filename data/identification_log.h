// SPDX-License-Identifier: Apache-2.0
// The log lines of an identification: by the library, and by the programs where they derive the
// same answer from rules that they have found.
#ifndef BYOD_DATA_IDENTIFICATION_LOG_H
#define BYOD_DATA_IDENTIFICATION_LOG_H

#include "byod_data.h"
#include "lauth_debug.h"

namespace byod::data {

inline constexpr uint32_t kIdentified = 2;  // the log level of an identification

/// Logs that a rule of a method was found.
///
/// @param key         what was looked up: option text, User-Agent, or the 6 bytes of an address
/// @param attributes  all that is known by now, from earlier methods too
inline void LogAttributes(uint32_t method, const void* key, const ByodDeviceAttribute& attributes) {
  static constexpr const char* kFormats[BYOD_METHOD_COUNT] = {
      "Identified endpoint attributes through DHCP Option 55 fingerprint: Fingerprint=%s, device "
      "vendor=%s, device category=%s, device OS=%s.",
      "Identified endpoint attributes through HTTP user agent fingerprint: Fingerprint=%s, device "
      "vendor=%s, device category=%s, device OS=%s.",
      "Identified endpoint attributes through the endpoint MAC address: MAC address=%M, device "
      "vendor=%s, device category=%s, device OS=%s."};
  LAUTH_dbg_PrintDbgInfo(kIdentified, kFormats[method], key, attributes.vendor, attributes.category,
                         attributes.os);
}

/// Logs that the rule of a method named the terminal.
inline void LogName(uint32_t method, const char* name, const void* key) {
  static constexpr const char* kFormats[BYOD_METHOD_COUNT] = {
      "Identified the terminal type as %s by using DhcpOption55 information %s.",
      "Identified the terminal type as %s by using HttpUseragent information %s.",
      "Identified the terminal type as %s by using MAC address (%M)."};
  LAUTH_dbg_PrintDbgInfo(kIdentified, kFormats[method], name, key);
}

}  // namespace byod::data

#endif  // BYOD_DATA_IDENTIFICATION_LOG_H
