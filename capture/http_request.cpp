#include "capture/http_request.h"

#include <algorithm>
#include <optional>

#include "data/fold_case.h"

namespace byod::capture {
namespace {

constexpr std::string_view kUserAgentName = "user-agent";
constexpr size_t kLongestMethod = 20;

bool IsUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

/// Any byte of a word: neither blank nor control character.
bool IsWordByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > 0x20 && byte != 0x7F;
}

/// Any byte of a field: a tab or no control character.
bool IsFieldByte(char c) {
  return IsWordByte(c) || c == ' ' || c == '\t';
}

/// Takes a line off the front of a text. @return the line without its end; nothing when it goes on
std::optional<std::string_view> TakeLine(std::string_view& text) {
  const size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

/// Whether a text is the beginning of a request line, or one.
bool MayBeRequest(std::string_view text) {
  const auto blank = std::ranges::find_if_not(text, &IsUpper);
  const auto length = static_cast<size_t>(blank - text.begin());
  if (length == 0 || length > kLongestMethod) return false;
  return blank == text.end() ||
         (*blank == ' ' && (length + 1 == text.size() || IsWordByte(text[length + 1])));
}

/// "METHOD target HTTP/1.x"
bool IsRequestLine(std::string_view line) {
  if (!MayBeRequest(line)) return false;
  const size_t target = line.find(' ') + 1;
  const size_t version = line.find(' ', target) + 1;
  if (target == 0 || version <= target + 1) return false;
  const bool is_word = std::ranges::all_of(line.substr(target, version - 1 - target), &IsWordByte);
  return is_word && (line.substr(version) == "HTTP/1.1" || line.substr(version) == "HTTP/1.0");
}

std::string_view WithoutBlanksAround(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

bool IsUserAgentName(std::string_view name) {
  return std::ranges::equal(name, kUserAgentName,
                            [](char a, char b) { return FoldCase(a) == FoldCase(b); });
}

}  // namespace

HttpHead ReadHttpHead(std::string_view text) {
  if (!MayBeRequest(text.substr(0, text.find_first_of("\r\n")))) return {};
  const auto first = TakeLine(text);
  if (!first) return {HttpHead::kIncomplete, {}};
  if (!IsRequestLine(*first)) return {};
  while (const auto line = TakeLine(text)) {
    if (line->empty()) return {};
    const size_t colon = line->find(':');
    const std::string_view name = line->substr(0, colon);
    if (colon == std::string_view::npos || name.empty() ||
        !std::ranges::all_of(name, &IsWordByte) || !std::ranges::all_of(*line, &IsFieldByte)) {
      return {HttpHead::kMalformed, {}};
    }
    if (!IsUserAgentName(name)) continue;
    // A line that begins with a blank would continue this one.
    if (text.empty()) return {HttpHead::kIncomplete, {}};
    if (text.front() == ' ' || text.front() == '\t') return {HttpHead::kMalformed, {}};
    const std::string_view value = WithoutBlanksAround(line->substr(colon + 1));
    if (value.empty()) return {};
    return {HttpHead::kUserAgent, std::string{value}};
  }
  return {HttpHead::kIncomplete, {}};
}

}  // namespace byod::capture
