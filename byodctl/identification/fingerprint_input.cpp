// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/fingerprint_input.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

namespace byod::ctl {
namespace {

using Json = nlohmann::json;

constexpr size_t kMaxBytes = 1 << 20;  // of a line
constexpr char kTooLong[] = "line is longer than 1048576 bytes";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The lines of a stream without their ends, LF or CRLF, and without a byte order mark.
class Lines {
 public:
  explicit Lines(std::istream& in) : in_(*in.rdbuf()) {}

  /// @return whether there was another line. A line above the limit is truncated.
  bool Next() {
    text_.clear();
    is_too_long_ = false;
    int c = in_.sbumpc();
    if (c == kEnd) return false;
    ++number_;
    for (; c != kEnd && c != '\n'; c = in_.sbumpc()) {
      if (text_.size() < kMaxBytes) {
        text_ += static_cast<char>(c);
      } else {
        is_too_long_ = true;
      }
    }
    if (text_.ends_with('\r')) text_.pop_back();
    if (number_ == 1 && text_.starts_with(kByteOrderMark)) text_.erase(0, kByteOrderMark.size());
    return true;
  }

  const std::string& text() const { return text_; }
  bool is_too_long() const { return is_too_long_; }
  size_t number() const { return number_; }

 private:
  static constexpr int kEnd = std::streambuf::traits_type::eof();

  std::streambuf& in_;
  std::string text_;
  bool is_too_long_ = false;
  size_t number_ = 0;
};

/// The names of the columns and keys of a fingerprint.
struct Part {
  const char* name;
  std::string FingerprintText::* member;
};
constexpr Part kParts[] = {{"mac", &FingerprintText::mac},
                           {"options", &FingerprintText::options},
                           {"user_agent", &FingerprintText::user_agent},
                           {"host_name", &FingerprintText::host_name},
                           {"vendor_class", &FingerprintText::vendor_class}};

std::vector<std::string_view> SplitAtTabs(std::string_view line) {
  std::vector<std::string_view> fields;
  for (;;) {
    const size_t tab = line.find('\t');
    fields.push_back(line.substr(0, tab));
    if (tab == std::string_view::npos) return fields;
    line.remove_prefix(tab + 1);
  }
}

class TsvReader : public LineReader {
 public:
  /// The first line is the current one.
  explicit TsvReader(Lines lines) : lines_(std::move(lines)) {
    const auto header = SplitAtTabs(lines_.text());
    width_ = header.size();
    for (const Part& part : kParts) {
      const auto column = std::ranges::find(header, std::string_view{part.name});
      if (column == header.end()) continue;
      if (std::find(column + 1, header.end(), part.name) != header.end()) {
        throw InputError(std::string{"line 1: the header names "} + part.name + " twice");
      }
      columns_.emplace_back(column - header.begin(), part.member);
    }
    if (columns_.empty()) {
      throw InputError(
          "line 1: the header has no column mac, options, user_agent, host_name or vendor_class");
    }
  }

  std::optional<InputLine> Next() override {
    if (!lines_.Next()) return std::nullopt;
    InputLine line;
    line.number = lines_.number();
    const auto fields = SplitAtTabs(lines_.text());
    for (const auto& [column, member] : columns_) {
      if (column < fields.size()) line.text.*member = fields[column];
    }
    if (lines_.is_too_long()) {
      line.error = kTooLong;
    } else if (fields.size() != width_) {
      line.error = std::to_string(fields.size()) + (fields.size() == 1 ? " field" : " fields") +
                   ", the header names " + std::to_string(width_);
    }
    return line;
  }

 private:
  Lines lines_;
  size_t width_ = 0;
  std::vector<std::pair<size_t, std::string FingerprintText::*>> columns_;
};

/// Reads the text of a value. @return what is wrong with it; empty = nothing
std::string ReadValue(const char* key, const Json& value, std::string& out) {
  if (value.is_null()) return {};
  if (value.is_string()) {
    out = value.get<std::string>();
    return {};
  }
  const bool is_options = std::string_view{key} == "options";
  if (!is_options || !value.is_array()) {
    return std::string{key} +
           (is_options ? " is neither a string nor an array" : " is not a string");
  }
  for (const Json& number : value) {
    if (!number.is_number_integer()) return "options holds a value that is not a whole number";
    if (!out.empty()) out += ',';
    out += number.dump();
  }
  return {};
}

class JsonReader : public LineReader {
 public:
  /// The first line is the current one, if there is one.
  JsonReader(Lines lines, bool has_line) : lines_(std::move(lines)), has_line_(has_line) {}

  std::optional<InputLine> Next() override {
    if (!std::exchange(has_line_, false) && !lines_.Next()) return std::nullopt;
    InputLine line;
    line.number = lines_.number();
    if (lines_.is_too_long()) {
      line.error = kTooLong;
      return line;
    }
    const Json object = Json::parse(lines_.text(), nullptr, /*allow_exceptions=*/false);
    if (!object.is_object()) {
      line.error = "not a JSON object";
      return line;
    }
    for (const Part& part : kParts) {
      const auto value = object.find(part.name);
      if (value == object.end()) continue;
      const std::string error = ReadValue(part.name, *value, line.text.*part.member);
      if (line.error.empty()) line.error = error;
    }
    return line;
  }

 private:
  Lines lines_;
  bool has_line_;
};

}  // namespace

std::unique_ptr<LineReader> OpenInput(std::istream& in, InputFormat format) {
  Lines lines(in);
  const bool has_line = lines.Next();
  const bool is_json = format == InputFormat::kJson ||
                       (format == InputFormat::kAuto && lines.text().starts_with('{'));
  if (is_json) return std::make_unique<JsonReader>(std::move(lines), has_line);
  if (!has_line) throw InputError("the input is empty, without a header line");
  return std::make_unique<TsvReader>(std::move(lines));
}

}  // namespace byod::ctl
