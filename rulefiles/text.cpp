// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/text.h"

#include <utf8proc.h>

namespace byod::rulefiles {

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto* const bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    utf8proc_int32_t code = 0;
    const utf8proc_ssize_t size =
        utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &code);
    if (size <= 0) return false;
    text.remove_prefix(static_cast<size_t>(size));
  }
  return true;
}

std::string_view CutAtCharacter(std::string_view text, size_t most) {
  if (text.size() <= most) return text;
  // A byte 10xxxxxx continues a character, so the cut may not stand in front of it.
  while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80)
    --most;
  return text.substr(0, most);
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

}  // namespace byod::rulefiles
