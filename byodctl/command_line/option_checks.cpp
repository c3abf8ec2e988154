// SPDX-License-Identifier: Apache-2.0
#include "byodctl/command_line/option_checks.h"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

namespace byod::ctl {

OptionCheck OneOf(Words words) {
  return [words = std::move(words)](const std::string& value) {
    if (Contains(words, value)) return std::string{};
    return "unknown value \"" + value + '"' + NearestOrAll(value, words);
  };
}

OptionCheck WholeNumber() {
  return [](const std::string& value) {
    uint64_t number = 0;
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (!value.empty() && error == std::errc{} && stop == end) return std::string{};
    return '"' + value + "\" is not a whole number";
  };
}

OptionCheck SecondsBetween(double min, double max, std::string range) {
  return [min, max, range = std::move(range)](const std::string& value) {
    double number = 0;
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error == std::errc{} && stop == end && number >= min && number <= max) return std::string{};
    return '"' + value + "\" is not a number of seconds from " + range;
  };
}

OptionCheck Directory() {
  return [](const std::string& value) {
    std::error_code error;
    if (std::filesystem::is_directory(value, error)) return std::string{};
    return value + ": " +
           (std::filesystem::exists(value, error) ? "not a directory" : "no such directory");
  };
}

}  // namespace byod::ctl
