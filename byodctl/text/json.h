// SPDX-License-Identifier: Apache-2.0
// Values that are written as JSON. Few sources include the JSON library: it consists of headers,
// and takes longer to compile than a command.
#ifndef BYODCTL_TEXT_JSON_H
#define BYODCTL_TEXT_JSON_H

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace byod::ctl {

struct JsonMember;

/// A value; null unless something is given. The members of an object keep their order.
class Json {
 public:
  Json() = default;
  // Not explicit: {{"key", value}} is an object.
  template <std::integral Number>
  Json(Number value);
  Json(bool value);
  Json(const char* value);
  Json(std::string value);
  Json(const std::vector<std::string>& values);
  Json(std::initializer_list<JsonMember> members);

  static Json EmptyArray();
  static Json EmptyObject();

  /// Sets a member of an object; null becomes an object. A new member is the last.
  void Set(std::string key, Json value);
  /// Adds a value to an array; null becomes an array.
  void Append(Json value);

  bool IsTrue() const {
    const bool* const truth = std::get_if<bool>(&value_);
    return truth != nullptr && *truth;
  }
  bool IsNull() const { return std::holds_alternative<std::monostate>(value_); }

  /// On one line. JSON is UTF-8, so other bytes, of texts from outside, are replaced.
  std::string ToString() const;

  /// A text without quotation marks, or a number; nothing for any other value.
  std::optional<std::string> ToPlainText() const;

 private:
  using Array = std::vector<Json>;
  using Object = std::vector<JsonMember>;

  explicit Json(Array values);
  explicit Json(Object members);

  void AppendTo(std::string& out) const;

  std::variant<std::monostate, bool, uint64_t, std::string, Array, Object> value_;
};

struct JsonMember {
  std::string key;
  Json value;
};

// Behind JsonMember, as whatever makes a value may also destroy members.
template <std::integral Number>
Json::Json(Number value) : value_(uint64_t{value}) {}
inline Json::Json(bool value) : value_(value) {}
inline Json::Json(const char* value) : value_(std::string{value}) {}
inline Json::Json(std::string value) : value_(std::move(value)) {}
inline Json::Json(Array values) : value_(std::move(values)) {}
inline Json::Json(Object members) : value_(std::move(members)) {}

inline Json Json::EmptyArray() {
  return Json(Array());
}

inline Json Json::EmptyObject() {
  return Json(Object());
}

/// Null for an empty text.
inline Json OrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

/// A text as JSON writes it, with its quotation marks.
std::string Quoted(std::string_view text);

/// Writes a line to standard output.
void WriteJsonLine(const Json& value);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_JSON_H
