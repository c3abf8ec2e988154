// SPDX-License-Identifier: Apache-2.0
// A terminal's fingerprint as text.
#ifndef BYODCTL_TEXT_FINGERPRINT_TEXT_H
#define BYODCTL_TEXT_FINGERPRINT_TEXT_H

#include <cstdint>
#include <span>
#include <string>

#include "byod_data.h"

namespace byod::ctl {

/// Empty = not known.
struct FingerprintText {
  std::string mac;      ///< any usual spelling
  std::string options;  ///< "1,3,6,15", perhaps with blanks around the numbers
  std::string user_agent;
  // Not of the fingerprint, but evidence besides.
  std::string host_name = {};     ///< DHCP option 12
  std::string vendor_class = {};  ///< DHCP option 60
};

/// A fingerprint, or why the text could not be read as one.
struct ParsedFingerprint {
  ByodFingerPrint fingerprint = {};
  /// The User-Agent had more than 255 bytes. A fingerprint keeps the first 255 of them, which is
  /// what an access device stores, so these are what is identified.
  bool is_user_agent_cut = false;
  bool is_locally_administered = false;
  std::string error;  ///< empty = none
};

ParsedFingerprint ParseFingerprint(const FingerprintText& text);

/// "1,3,6,15"
std::string OptionsText(std::span<const uint8_t> options);

/// An address in the usual form, "00:11:22:33:44:55"; any other text unchanged.
std::string AddressText(const std::string& mac);

/// Whether a text is a locally administered address, whose prefix names no vendor.
bool IsLocallyAdministered(const std::string& mac);

/// An address in a table, with a mark when it is locally administered.
inline std::string Flagged(const std::string& mac, bool is_locally_administered) {
  return is_locally_administered ? mac + '*' : mac;
}

/// Printed below a table with such a mark.
inline constexpr char kFlagNote[] = "* locally administered address: its prefix names no vendor\n";

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_FINGERPRINT_TEXT_H
