// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/json.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "byodctl/text/display_text.h"

namespace byod::ctl {
namespace {

bool IsPlain(char c) {
  return c >= ' ' && c <= '~' && c != '"' && c != '\\';
}

/// Appends values with commas between them. @param append  appends one
template <typename Values, typename Append>
void AppendListed(std::string& out, const Values& values, Append append) {
  for (size_t i = 0; i < values.size(); ++i) {
    if (i > 0) out += ',';
    append(values[i]);
  }
}

}  // namespace

std::string Quoted(std::string_view text) {
  if (std::ranges::all_of(text, IsPlain)) return '"' + std::string{text} + '"';
  return WithEscapedControls(
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

Json::Json(const std::vector<std::string>& values) : value_(Array(values.begin(), values.end())) {}

Json::Json(std::initializer_list<JsonMember> members) : value_(Object(members)) {}

void Json::Set(std::string key, Json value) {
  if (IsNull()) value_ = Object();
  auto& members = std::get<Object>(value_);
  const auto member = std::ranges::find(members, key, &JsonMember::key);
  if (member != members.end()) {
    member->value = std::move(value);
  } else {
    members.push_back({std::move(key), std::move(value)});
  }
}

void Json::Append(Json value) {
  if (IsNull()) value_ = Array();
  std::get<Array>(value_).push_back(std::move(value));
}

std::string Json::ToString() const {
  std::string text;
  AppendTo(text);
  return text;
}

std::optional<std::string> Json::ToPlainText() const {
  if (const auto* const number = std::get_if<uint64_t>(&value_)) return std::to_string(*number);
  if (const auto* const text = std::get_if<std::string>(&value_)) return *text;
  return std::nullopt;
}

void Json::AppendTo(std::string& out) const {
  if (const auto* const truth = std::get_if<bool>(&value_)) {
    out += *truth ? "true" : "false";
  } else if (const auto* const number = std::get_if<uint64_t>(&value_)) {
    out += std::to_string(*number);
  } else if (const auto* const text = std::get_if<std::string>(&value_)) {
    out += Quoted(*text);
  } else if (const auto* const values = std::get_if<Array>(&value_)) {
    out += '[';
    AppendListed(out, *values, [&](const Json& value) { value.AppendTo(out); });
    out += ']';
  } else if (const auto* const members = std::get_if<Object>(&value_)) {
    out += '{';
    AppendListed(out, *members, [&](const JsonMember& member) {
      out += Quoted(member.key) + ':';
      member.value.AppendTo(out);
    });
    out += '}';
  } else {
    out += "null";
  }
}

void WriteJsonLine(const Json& value) {
  std::cout << value.ToString() << '\n';
}

}  // namespace byod::ctl
