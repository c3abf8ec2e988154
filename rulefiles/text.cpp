#include "rulefiles/text.h"

#include <utf8.h>

namespace byod::rulefiles {

bool IsUtf8(std::string_view text) {
  return utf8::is_valid(text.begin(), text.end());
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
