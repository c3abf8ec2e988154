// SPDX-License-Identifier: Apache-2.0
#include "capture/http_request.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "data/fold_case.h"

namespace byod::capture {
namespace {

constexpr size_t kMaxMethod = 20;

bool IsUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

/// "VERSION-CONTROL" and "RPC_IN_DATA" are methods too.
bool IsMethodByte(char c) {
  return IsUpper(c) || c == '-' || c == '_';
}

/// Any byte of a word: neither blank nor control character.
bool IsWordByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > 0x20 && byte != 0x7F;
}

/// Any byte of a field: a tab, or not a control character.
bool IsFieldByte(char c) {
  return IsWordByte(c) || c == ' ' || c == '\t';
}

/// Removes the first line of a text. @return the line without its end; nothing if it is incomplete
std::optional<std::string_view> TakeLine(std::string_view& text) {
  const size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

/// Whether a text is a request line or the beginning of one.
bool MayBeRequest(std::string_view text) {
  if (text.empty() || !IsUpper(text.front())) return false;
  const auto blank = std::ranges::find_if_not(text, &IsMethodByte);
  const auto length = static_cast<size_t>(blank - text.begin());
  if (length > kMaxMethod) return false;
  return blank == text.end() ||
         (*blank == ' ' && (length + 1 == text.size() || IsFieldByte(text[length + 1])));
}

bool IsVersion(std::string_view word) {
  return word == "HTTP/1.1" || word == "HTTP/1.0";
}

/// The part between method and version. @return nothing when the line is not a request line
std::optional<std::string_view> TargetOf(std::string_view line) {
  const size_t begin = line.find(' ') + 1;
  const size_t end = line.rfind(' ');
  if (begin == 0 || end <= begin || !IsVersion(line.substr(end + 1))) return std::nullopt;
  return line.substr(begin, end - begin);
}

/// A path with blanks in it, which no request line may have but some clients send.
bool IsBlankedPath(std::string_view target) {
  const size_t begin = target.find_first_not_of(' ');
  return begin != std::string_view::npos && target[begin] == '/' &&
         std::ranges::all_of(target, &IsFieldByte);
}

/// kIncomplete for "METHOD target HTTP/1.x", since the fields are still to be read.
HttpHead::State ReadRequestLine(std::string_view line) {
  const auto target = TargetOf(line);
  if (!target) return HttpHead::kNone;
  if (std::ranges::all_of(*target, &IsWordByte)) return HttpHead::kIncomplete;
  return IsBlankedPath(*target) ? HttpHead::kMalformed : HttpHead::kNone;
}

std::string_view WithoutBlanksAround(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

struct Field {
  std::string_view name;
  std::string_view value;

  bool IsNamed(std::string_view lower) const {
    return std::ranges::equal(name, lower,
                              [](char a, char b) { return FoldCase(a) == FoldCase(b); });
  }
};

/// @return nothing when the line is not "name: value"
std::optional<Field> ReadField(std::string_view line) {
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) return std::nullopt;
  const std::string_view name = line.substr(0, colon);
  if (!std::ranges::all_of(name, &IsWordByte) || !std::ranges::all_of(line, &IsFieldByte)) {
    return std::nullopt;
  }
  return Field{name, WithoutBlanksAround(line.substr(colon + 1))};
}

/// The length of the body, according to the fields read so far.
class BodySize {
 public:
  void Take(const Field& field) {
    if (field.IsNamed("transfer-encoding")) is_known_ = false;
    if (!field.IsNamed("content-length")) return;
    const char* const end = field.value.data() + field.value.size();
    const auto read = std::from_chars(field.value.data(), end, size_);
    if (is_stated_ || read.ec != std::errc() || read.ptr != end) is_known_ = false;
    is_stated_ = true;
  }
  void GiveUp() { is_known_ = false; }

  std::optional<uint64_t> Get() const { return is_known_ ? std::optional(size_) : std::nullopt; }

 private:
  uint64_t size_ = 0;
  bool is_stated_ = false;
  bool is_known_ = true;
};

}  // namespace

HttpHead ReadHttpHead(const std::string_view whole) {
  if (!MayBeRequest(whole.substr(0, whole.find_first_of("\r\n")))) return {};
  HttpHead head;
  head.state = HttpHead::kIncomplete;
  std::string_view text = whole;
  const auto first = TakeLine(text);
  if (!first) return head;
  head.state = ReadRequestLine(*first);
  if (head.state != HttpHead::kIncomplete) return head;

  BodySize body;
  bool has_agent_line = false;
  while (const auto line = TakeLine(text)) {
    if (line->empty()) {
      if (head.state == HttpHead::kIncomplete) head.state = HttpHead::kNone;
      head.size = whole.size() - text.size();
      head.body_size = body.Get();
      return head;
    }
    const auto field = ReadField(*line);
    if (!field && !has_agent_line) return {HttpHead::kMalformed, {}, 0, {}};
    if (!field) {
      body.GiveUp();
      continue;
    }
    body.Take(*field);
    if (has_agent_line || !field->IsNamed("user-agent")) continue;
    // The next line may continue this one, if it begins with a blank.
    if (text.empty()) return head;
    if (text.front() == ' ' || text.front() == '\t') return {HttpHead::kMalformed, {}, 0, {}};
    has_agent_line = true;
    if (field->value.empty()) continue;
    head.state = HttpHead::kUserAgent;
    head.user_agent = field->value;
  }
  return head;
}

}  // namespace byod::capture
