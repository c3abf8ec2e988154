// SPDX-License-Identifier: Apache-2.0
#include "lint/remarks.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "byod_data.h"

namespace byod::lint {

using rulefiles::Quoted;

std::optional<Remark> RemarkOnMatchingEverything(const std::vector<Terms>& alternatives) {
  if (std::ranges::none_of(alternatives, &Terms::empty)) return std::nullopt;
  return Remark{Severity::kError, "matches-everything",
                "matches every User-Agent: an alternative has no term"};
}

std::optional<Remark> RemarkOnSeparators(const std::string& expression,
                                         const std::vector<Terms>& alternatives) {
  const std::string plain = ToString(alternatives);
  // At the end they only make the rule longer, or distinguish it from one of another case.
  const size_t end = expression.find_last_not_of('&');
  if (end != std::string::npos && plain == expression.substr(0, end + 1)) return std::nullopt;
  return Remark{Severity::kWarning, "separators",
                "is read as " + Quoted(plain) + ": single and repeated separators separate too"};
}

std::optional<Remark> RemarkOnTerms(const Terms& terms) {
  for (const std::string_view term : terms) {
    if (MayStandInAHeader(term)) continue;
    return Remark{Severity::kError, "impossible",
                  "term " + Quoted(term) + " holds a control character, which no header has"};
  }
  return std::nullopt;
}

std::optional<Remark> RemarkOnOptions(const std::string& options) {
  if (IsOptionList(options)) return std::nullopt;
  return Remark{Severity::kError, "impossible",
                "no list is written so: with the comma that follows each number while it is "
                "written, it has more than 255 bytes"};
}

std::optional<Remark> RemarkOnBlock(const net::Prefix& prefix) {
  constexpr unsigned kGroupBit = 8;  // the last of the first byte
  if (prefix.bits < kGroupBit || (prefix.Mac()[0] & 0x01) == 0) return std::nullopt;
  return Remark{Severity::kError, "impossible",
                "block " + ToString(prefix) + " is of group addresses, which no terminal has"};
}

std::optional<Remark> RemarkOnDevice(const rulefiles::DeviceText& device) {
  const bool says_nothing =
      device.name.empty() && device.vendor.empty() && device.category.empty() && device.os.empty();
  if (!says_nothing) return std::nullopt;
  return Remark{Severity::kWarning, "says-nothing",
                "says nothing of a device, and keeps other rules from it"};
}

bool MayStandInAHeader(std::string_view text) {
  return std::ranges::none_of(text, [](char c) {
    const auto byte = static_cast<uint8_t>(c);
    return (byte < 0x20 && byte != '\t') || byte == 0x7F;
  });
}

bool IsOptionList(std::string_view text) {
  if (text.find_first_not_of("0123456789,") != std::string_view::npos) return false;
  std::vector<uint8_t> numbers;
  for (std::string_view rest = text; !rest.empty();) {
    unsigned number = 0;
    const auto [stop, error] = std::from_chars(rest.begin(), rest.end(), number);
    if (error != std::errc{}) return false;
    numbers.push_back(static_cast<uint8_t>(number));
    rest.remove_prefix(static_cast<size_t>(stop - rest.begin()));
    if (!rest.empty()) rest.remove_prefix(1);
  }
  char written[BYOD_RULETEXT_SIZE] = "";
  return BYOD_data_GetDhcpOption55String(static_cast<uint32_t>(numbers.size()), numbers.data(),
                                         sizeof written, written) == 0 &&
         text == written;
}

}  // namespace byod::lint
