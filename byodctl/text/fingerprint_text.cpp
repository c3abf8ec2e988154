// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/fingerprint_text.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "net/mac_text.h"
#include "rulefiles/diagnostics.h"
#include "rulefiles/text.h"

namespace byod::ctl {
namespace {

using rulefiles::Quoted;

std::string ParseOptions(std::string_view text, ByodFingerPrint& out) {
  std::string malformed = "option list " + Quoted(text) + " is malformed";
  std::string_view rest = text;
  for (bool more = true; more;) {
    const size_t comma = rest.find(',');
    const std::string_view number = rulefiles::Trimmed(rest.substr(0, comma));
    if (number.empty() || number.find_first_not_of("0123456789") != std::string_view::npos) {
      return malformed;
    }
    unsigned value = 0;
    const auto [stop, error] = std::from_chars(number.begin(), number.end(), value);
    if (error != std::errc{} || value > 255) {
      return "option number " + std::string{number} + " is above 255";
    }
    if (out.option_length == BYOD_OPTION55_MAX) return "option list has more than 255 numbers";
    out.options[out.option_length++] = static_cast<uint8_t>(value);
    more = comma != std::string_view::npos;
    if (more) rest.remove_prefix(comma + 1);
  }
  return {};
}

}  // namespace

ParsedFingerprint ParseFingerprint(const FingerprintText& text) {
  ParsedFingerprint parsed;
  ByodFingerPrint& out = parsed.fingerprint;
  if (!text.mac.empty()) {
    const auto mac = net::ParseMac(text.mac);
    if (!mac) {
      parsed.error = "address " + Quoted(text.mac) + " is malformed";
      return parsed;
    }
    std::ranges::copy(*mac, out.mac);
    parsed.is_locally_administered = net::IsLocallyAdministered(*mac);
  }
  if (!text.options.empty()) {
    parsed.error = ParseOptions(text.options, out);
    if (!parsed.error.empty()) return parsed;
  }
  if (text.user_agent.find('\0') != std::string::npos) {
    parsed.error = "User-Agent holds a NUL byte";
    return parsed;
  }
  text.user_agent.copy(out.user_agent, sizeof out.user_agent - 1);
  parsed.is_user_agent_cut = text.user_agent.size() >= sizeof out.user_agent;
  return parsed;
}

std::string OptionsText(std::span<const uint8_t> options) {
  std::string text;
  for (const uint8_t option : options)
    text += (text.empty() ? "" : ",") + std::to_string(option);
  return text;
}

std::string AddressText(const std::string& mac) {
  const auto parsed = net::ParseMac(mac);
  return parsed ? net::ToString(*parsed) : mac;
}

bool IsLocallyAdministered(const std::string& mac) {
  const auto parsed = net::ParseMac(mac);
  return parsed && net::IsLocallyAdministered(*parsed);
}

}  // namespace byod::ctl
