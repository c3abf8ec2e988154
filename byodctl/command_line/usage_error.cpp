// SPDX-License-Identifier: Apache-2.0
#include "byodctl/command_line/usage_error.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>

#include "byodctl/text/word_list.h"
#include "text/nearest_word.h"

namespace byod::ctl {
namespace {

/// Options of other programs, with ours of the same meaning.
struct OptionSynonym {
  const char* option;
  const char* ours;
};
constexpr OptionSynonym kOptionSynonyms[] = {{"--ua", "--user-agent"},
                                             {"--agent", "--user-agent"},
                                             {"--options", "--dhcp"},
                                             {"--option55", "--dhcp"},
                                             {"--address", "--mac"},
                                             {"--type", "--category"},
                                             {"--manufacturer", "--vendor"},
                                             {"--system", "--os"},
                                             {"--title", "--name"},
                                             {"--format", "--input"},
                                             {"--file", "--pcap"},
                                             {"--limit", "--count"},
                                             {"-n", "--count"},
                                             {"-i", "--interface"},
                                             {"-r", "--pcap"},
                                             {"-j", "--json"},
                                             {"-f", "--force"},
                                             {"-V", "--version"}};

/// Kinds of rules are arguments, but options of `identify`.
constexpr const char* kKindOptions[] = {"--mac", "--user-agent", "--dhcp"};

bool IsOption(const std::string& argument) {
  return argument.size() > 1 && argument.starts_with('-') && argument != "--";
}

std::string SeeHelp(const UsageFault& fault) {
  return "; see " + fault.command + " --help";
}

std::string UnknownOption(const UsageFault& fault, const std::string& argument) {
  const std::string name = argument.substr(0, argument.find('='));
  const std::string message = "unknown option \"" + name + '"';
  for (const OptionSynonym& synonym : kOptionSynonyms) {
    if (name == synonym.option && Contains(fault.options, synonym.ours)) {
      return message + "; did you mean \"" + synonym.ours + "\"?";
    }
  }
  if (fault.takes_kind && std::ranges::find(kKindOptions, name) != std::end(kKindOptions)) {
    const std::string kind = name == "--dhcp" ? "dhcp-option" : name.substr(2);
    return message + "; did you mean \"" + fault.command.substr(sizeof "byodctl") + ' ' + kind +
           "\"?";
  }
  const std::string hint = text::DidYouMean(name, fault.options);
  return message + (hint.empty() ? SeeHelp(fault) : hint);
}

std::string UnexpectedArgument(const UsageFault& fault, const std::string& argument) {
  const std::string hint = text::DidYouMean("--" + argument, fault.options);
  return "unexpected argument \"" + argument + '"' + (hint.empty() ? SeeHelp(fault) : hint);
}

/// @return what is wrong with the arguments that the parser did not take; empty = nothing
std::string ExtraArguments(const UsageFault& fault) {
  const auto option = std::ranges::find_if(fault.extras, &IsOption);
  if (option != fault.extras.end()) return UnknownOption(fault, *option);
  const auto argument =
      std::ranges::find_if(fault.extras, [](const auto& text) { return text != "--"; });
  return argument != fault.extras.end() ? UnexpectedArgument(fault, *argument) : "";
}

std::string MissingArguments(const UsageFault& fault) {
  std::string names;
  for (const std::string& name : fault.missing)
    names += ' ' + name;
  return "missing" + names + SeeHelp(fault);
}

/// The name in front of the parser's own words, which begin with one of these.
std::optional<std::string> NameBefore(std::string_view message, std::string_view words) {
  const size_t end = message.find(words);
  if (end == std::string_view::npos) return std::nullopt;
  return std::string{message.substr(0, end)};
}

std::string WrongNumberOfValues(const std::string& message) {
  if (const auto name = NameBefore(message, ": At Most ")) return *name + " is given twice";
  if (const auto name = NameBefore(message, ": ")) return *name + " needs a value";
  return message;
}

std::string Conflict(const std::string& message) {
  constexpr std::string_view kExcludes = " excludes ";
  const auto first = NameBefore(message, kExcludes);
  if (!first) return message;
  return *first + " and " + message.substr(first->size() + kExcludes.size()) +
         " exclude each other";
}

std::string FlagWithValue(const std::string& message) {
  constexpr std::string_view kBefore = "Could not convert: ";
  const auto name = NameBefore(message, " = ");
  if (!name || !name->starts_with(kBefore)) return message;
  return name->substr(kBefore.size()) + " does not take the value \"" +
         message.substr(name->size() + 3) + '"';
}

}  // namespace

std::string UsageError(const UsageFault& fault) {
  const std::string extra = ExtraArguments(fault);
  if (!extra.empty()) return extra;
  switch (fault.kind) {
    case UsageFault::kMissing:
      return MissingArguments(fault);
    case UsageFault::kConflict:
      return Conflict(fault.message);
    case UsageFault::kFlagValue:
      return FlagWithValue(fault.message);
    case UsageFault::kNumberOfValues:
      return WrongNumberOfValues(fault.message);
    default:
      return fault.message;
  }
}

}  // namespace byod::ctl
