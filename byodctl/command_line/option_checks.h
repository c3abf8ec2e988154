// Checks of option values, whose messages name the value and what it must be.
#ifndef BYODCTL_COMMAND_LINE_OPTION_CHECKS_H
#define BYODCTL_COMMAND_LINE_OPTION_CHECKS_H

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <utility>

#include "byodctl/text/word_list.h"

namespace byod::ctl {

/// @return what is wrong with a value; empty = nothing
using OptionCheck = std::function<std::string(const std::string&)>;

inline OptionCheck OneOf(Words words) {
  return [words = std::move(words)](const std::string& value) {
    if (Contains(words, value)) return std::string{};
    return "unknown value \"" + value + '"' + NearestOrAll(value, words);
  };
}

inline OptionCheck WholeNumber() {
  return [](const std::string& value) {
    uint64_t number = 0;
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (!value.empty() && error == std::errc{} && stop == end) return std::string{};
    return '"' + value + "\" is not a whole number";
  };
}

inline OptionCheck SecondsBetween(double min, double max, std::string range) {
  return [min, max, range = std::move(range)](const std::string& value) {
    double number = 0;
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error == std::errc{} && stop == end && number >= min && number <= max) return std::string{};
    return '"' + value + "\" is not a number of seconds from " + range;
  };
}

inline OptionCheck Directory() {
  return [](const std::string& value) {
    std::error_code error;
    if (std::filesystem::is_directory(value, error)) return std::string{};
    return value + ": " +
           (std::filesystem::exists(value, error) ? "not a directory" : "no such directory");
  };
}

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_OPTION_CHECKS_H
