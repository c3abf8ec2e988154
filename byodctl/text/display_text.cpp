// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/display_text.h"

#include <utf8proc.h>

#include <cstdio>

namespace byod::ctl {
namespace {

struct Character {
  utf8proc_int32_t code = -1;  // -1 = one byte that is not UTF-8
  size_t bytes = 1;
};

Character First(std::string_view text) {
  Character character;
  const auto* const bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const utf8proc_ssize_t length =
      utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &character.code);
  if (length > 0) {
    character.bytes = static_cast<size_t>(length);
  } else {
    character.code = -1;
  }
  return character;
}

size_t WidthOf(const Character& character) {
  if (character.code < 0) return 1;
  const int width = utf8proc_charwidth(character.code);
  return width < 0 ? 0 : static_cast<size_t>(width);
}

/// Control characters, line and paragraph separators, and marks that change the writing direction.
bool IsObeyed(utf8proc_int32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x200E && code <= 0x200F) ||
         (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

/// @param otherwise  replaces a byte that is not UTF-8; empty = the byte is kept
std::string Neutralised(std::string_view text, std::string_view otherwise) {
  std::string out;
  while (!text.empty()) {
    const Character character = First(text);
    if (character.code < 0 && !otherwise.empty()) {
      out += otherwise;
    } else if (character.code >= 0 && IsObeyed(character.code)) {
      out += '?';
    } else {
      out += text.substr(0, character.bytes);
    }
    text.remove_prefix(character.bytes);
  }
  return out;
}

}  // namespace

std::string Printable(std::string_view text) {
  return Neutralised(text, "\xEF\xBF\xBD");
}

std::string WithoutControls(std::string_view text) {
  return Neutralised(text, {});
}

std::string WithEscapedControls(std::string_view json) {
  std::string out;
  while (!json.empty()) {
    const Character character = First(json);
    if (character.code >= 0x7F && IsObeyed(character.code)) {
      char escaped[16];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(character.code));
      out += escaped;
    } else {
      out += json.substr(0, character.bytes);
    }
    json.remove_prefix(character.bytes);
  }
  return out;
}

size_t DisplayWidth(std::string_view text) {
  size_t width = 0;
  while (!text.empty()) {
    const Character character = First(text);
    width += WidthOf(character);
    text.remove_prefix(character.bytes);
  }
  return width;
}

std::string CutToWidth(std::string_view text, size_t max_width) {
  if (DisplayWidth(text) <= max_width) return std::string{text};
  if (max_width == 0) return {};
  size_t bytes = 0;
  size_t width = 0;
  while (bytes < text.size()) {
    const Character character = First(text.substr(bytes));
    if (width + WidthOf(character) > max_width - 1) break;
    width += WidthOf(character);
    bytes += character.bytes;
  }
  return std::string{text.substr(0, bytes)} + "\xE2\x80\xA6";
}

}  // namespace byod::ctl
