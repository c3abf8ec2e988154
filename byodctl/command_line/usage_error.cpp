#include "byodctl/command_line/usage_error.h"

#include <CLI/CLI.hpp>
#include <iterator>
#include <optional>
#include <string_view>

#include "byodctl/text/word_list.h"
#include "text/nearest_word.h"

namespace byod::ctl {
namespace {

/// What other programs call an option, or where people expect one.
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

/// A kind of rule is a word, but it is an option of `identify`.
constexpr const char* kKindOptions[] = {"--mac", "--user-agent", "--dhcp"};

/// The parser of the command, and its words.
struct Parsed {
  const CLI::App* parser;
  std::string command;
};

Parsed ParsedCommand(const CLI::App& app) {
  Parsed parsed{&app, "byodctl"};
  for (;;) {
    const auto below = parsed.parser->get_subcommands();
    if (below.empty()) return parsed;
    parsed.parser = below.front();
    parsed.command += ' ' + parsed.parser->get_name();
  }
}

Words OptionsOf(const CLI::App* parser) {
  Words names;
  for (; parser != nullptr; parser = parser->get_parent()) {
    for (const CLI::Option* const option : parser->get_options()) {
      for (const std::string& name : option->get_lnames())
        names.push_back("--" + name);
    }
  }
  return names;
}

bool IsOption(const std::string& argument) {
  return argument.size() > 1 && argument.starts_with('-') && argument != "--";
}

std::string SeeHelp(const Parsed& parsed) {
  return "; see " + parsed.command + " --help";
}

bool TakesKind(const CLI::App& parser) {
  return parser.get_option_no_throw("KIND") != nullptr;
}

std::string UnknownOption(const Parsed& parsed, const std::string& argument) {
  const std::string name = argument.substr(0, argument.find('='));
  const std::string message = "unknown option \"" + name + '"';
  const Words options = OptionsOf(parsed.parser);
  for (const OptionSynonym& synonym : kOptionSynonyms) {
    if (name == synonym.option && Contains(options, synonym.ours)) {
      return message + "; did you mean \"" + synonym.ours + "\"?";
    }
  }
  if (TakesKind(*parsed.parser) &&
      std::ranges::find(kKindOptions, name) != std::end(kKindOptions)) {
    const std::string kind = name == "--dhcp" ? "dhcp-option" : name.substr(2);
    return message + "; did you mean \"" + parsed.command.substr(sizeof "byodctl") + ' ' + kind +
           "\"?";
  }
  const std::string hint = text::DidYouMean(name, options);
  return message + (hint.empty() ? SeeHelp(parsed) : hint);
}

std::string UnexpectedArgument(const Parsed& parsed, const std::string& argument) {
  const std::string hint = text::DidYouMean("--" + argument, OptionsOf(parsed.parser));
  return "unexpected argument \"" + argument + '"' + (hint.empty() ? SeeHelp(parsed) : hint);
}

/// @return what the parser did not take and should not have been given; empty = nothing
std::string FaultOfExtras(const CLI::App& app, const Parsed& parsed) {
  const Words extras = app.remaining(true);
  const auto option = std::ranges::find_if(extras, &IsOption);
  if (option != extras.end()) return UnknownOption(parsed, *option);
  const auto argument = std::ranges::find_if(extras, [](const auto& text) { return text != "--"; });
  return argument != extras.end() ? UnexpectedArgument(parsed, *argument) : "";
}

std::string MissingArguments(const Parsed& parsed) {
  std::string names;
  for (const CLI::Option* const option : parsed.parser->get_options()) {
    if (option->get_required() && option->count() == 0) names += ' ' + option->get_name();
  }
  return "missing" + names + SeeHelp(parsed);
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

std::string UsageError(const CLI::App& app, const CLI::ParseError& error) {
  const Parsed parsed = ParsedCommand(app);
  std::string fault = FaultOfExtras(app, parsed);
  if (!fault.empty()) return fault;
  const std::string message = error.what();
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return MissingArguments(parsed);
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) return Conflict(message);
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) return FlagWithValue(message);
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return WrongNumberOfValues(message);
  }
  return message;
}

}  // namespace byod::ctl
