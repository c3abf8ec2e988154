// SPDX-License-Identifier: Apache-2.0
#include "lauthd/config_file.h"

#include <istream>
#include <string_view>

namespace byod::lauthd {
namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsComment(std::string_view trimmed) {
  return trimmed.empty() || trimmed.front() == '#' || trimmed.front() == ';';
}

/// Reads a value that begins with a quote. @return why it cannot be read; empty when it can
std::string ReadQuoted(std::string_view text, std::string& value) {
  const size_t end = text.find(text.front(), 1);
  if (end == std::string_view::npos) return "the closing quote is missing";
  value = text.substr(1, end - 1);
  return IsComment(Trim(text.substr(end + 1))) ? "" : "text after the closing quote";
}

std::string_view WithoutComment(std::string_view text) {
  for (size_t at = text.find('#'); at != std::string_view::npos; at = text.find('#', at + 1)) {
    if (at == 0 || kBlanks.find(text[at - 1]) != std::string_view::npos) return text.substr(0, at);
  }
  return text;
}

std::string ReadValue(std::string_view text, std::string& value) {
  if (text.starts_with('"') || text.starts_with('\'')) return ReadQuoted(text, value);
  value = Trim(WithoutComment(text));
  return {};
}

/// @return why the line cannot be read; empty when it can
std::string ReadLine(std::string_view line, Setting& setting) {
  if (line.front() == '[') return "sections are not supported";
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) {
    setting.name = Trim(WithoutComment(line));
    setting.value = "true";
    return {};
  }
  setting.name = Trim(line.substr(0, equals));
  if (setting.name.empty()) return "the name before \"=\" is missing";
  return ReadValue(Trim(line.substr(equals + 1)), setting.value);
}

}  // namespace

std::vector<Setting> ReadSettings(std::istream& input,
                                  const std::function<void(unsigned, std::string)>& fault) {
  std::vector<Setting> settings;
  std::string text;
  for (unsigned number = 1; std::getline(input, text); ++number) {
    const std::string_view line = Trim(text);
    if (IsComment(line)) continue;
    Setting setting = {number, {}, {}};
    if (std::string reason = ReadLine(line, setting); !reason.empty()) {
      fault(number, std::move(reason));
    } else {
      settings.push_back(std::move(setting));
    }
  }
  return settings;
}

}  // namespace byod::lauthd
