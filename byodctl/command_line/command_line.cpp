// SPDX-License-Identifier: Apache-2.0
// The only source that includes the parser library.
#include "byodctl/command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string_view>
#include <utility>

#include "byodctl/command_line/abbreviations.h"
#include "byodctl/command_line/parser.h"
#include "byodctl/command_line/usage_error.h"
#include "byodctl/failure.h"

namespace byod::ctl {
namespace {

constexpr size_t kHelpWidth = 100;

std::string Wrapped(const std::string& paragraph) {
  std::istringstream words(paragraph);
  std::string text;
  size_t column = 0;
  for (std::string word; words >> word; column += word.size()) {
    if (column > 0) {
      const bool fits = column + 1 + word.size() <= kHelpWidth;
      text += fits ? ' ' : '\n';
      column = fits ? column + 1 : 0;
    }
    text += word;
  }
  return text;
}

}  // namespace

// ---------------------------------------------------------------- options of a command

Option Option::Required() const {
  option_->required();
  return *this;
}

Option Option::ValueName(const char* name) const {
  option_->type_name(name);
  return *this;
}

Option Option::Check(OptionCheck check) const {
  option_->check(std::move(check));
  return *this;
}

Option Option::ShowDefault() const {
  option_->capture_default_str();
  return *this;
}

Option Option::SeparatedBy(char separator) const {
  option_->delimiter(separator);
  return *this;
}

Option Option::Excludes(const Option& other) const {
  option_->excludes(other.option_);
  return *this;
}

Option Option::Needs(const Option& other) const {
  option_->needs(other.option_);
  return *this;
}

bool Option::IsGiven() const {
  return option_->count() > 0;
}

Option Parser::AddText(const std::string& name, std::string& value, const std::string& help) {
  return Option(*app_.add_option(name, value, help));
}

Option Parser::AddText(const std::string& name, std::optional<std::string>& value,
                       const std::string& help) {
  return Option(*app_.add_option(name, value, help));
}

Option Parser::AddTexts(const std::string& name, std::vector<std::string>& values,
                        const std::string& help) {
  return Option(*app_.add_option(name, values, help));
}

Option Parser::AddText(const std::string& name, std::function<void(const std::string&)> take,
                       const std::string& help) {
  return Option(*app_.add_option_function<std::string>(name, take, help));
}

Option Parser::AddNumber(const std::string& name, std::optional<uint64_t>& value,
                         const std::string& help) {
  const std::function<void(const uint64_t&)> take = [&value](const uint64_t& number) {
    value = number;
  };
  return Option(*app_.add_option_function<uint64_t>(name, take, help)->check(WholeNumber()));
}

Option Parser::AddFlag(const std::string& name, bool& value, const std::string& help) {
  return Option(*app_.add_flag(name, value, help));
}

Option Parser::AddFlag(const std::string& name, std::function<void()> take,
                       const std::string& help) {
  return Option(*app_.add_flag_callback(name, std::move(take), help));
}

void Parser::AddToHelp(const std::string& text) {
  const std::string before = app_.get_footer();
  app_.footer(before + (before.empty() ? "" : "\n\n") + text);
}

void Parser::AddParagraphToHelp(const std::string& paragraph) {
  AddToHelp(Wrapped(paragraph));
}

void Parser::CheckAll(std::function<std::string()> fault) {
  app_.final_callback([fault = std::move(fault)] {
    const std::string text = fault();
    if (!text.empty()) throw CLI::ValidationError(text);
  });
}

// ---------------------------------------------------------------- the command line

namespace {

constexpr char kCommands[] = "Commands";

constexpr char kFooter[] =
    "Commands and kinds of rule may be abbreviated: \"byodctl sh o\" is \"byodctl show order\".\n"
    "With --json every command writes JSON, one object a line; its help lists the keys.\n\n"
    "Exit status:\n"
    "  0  success, also when nothing had to be changed\n"
    "  1  bad usage or input\n"
    "  2  the daemon is not running or does not answer\n"
    "  3  unknown: a terminal is not identified, or the rule or set does not exist\n"
    "  4  permission denied by the daemon\n"
    "  5  refused by the daemon; the message says why";

void DeclareSettings(CLI::App& app, Settings& settings) {
  app.add_option("--socket", settings.socket, "The daemon's socket")->type_name("PATH");
  app.add_option("--timeout", settings.timeout_s,
                 "Seconds to wait for a connection, and for each reply")
      ->type_name("SECONDS")
      ->check(SecondsBetween(0.001, 86400, "0.001 to 86400"))
      ->capture_default_str();
}

/// The parser of the command as far as it was read, below that of its verb.
const CLI::App& ParserOfCommand(const CLI::App& app) {
  const CLI::App* parser = &app;
  for (;;) {
    const auto below = parser->get_subcommands();
    if (below.empty()) return *parser;
    parser = below.front();
  }
}

/// The words of a parser's command, with the name of the program.
std::string WordsOf(const CLI::App& parser) {
  if (parser.get_parent() == nullptr) return parser.get_name();
  return WordsOf(*parser.get_parent()) + ' ' + parser.get_name();
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

Words MissingOf(const CLI::App& parser) {
  Words names;
  for (const CLI::Option* const option : parser.get_options()) {
    if (option->get_required() && option->count() == 0) names.push_back(option->get_name());
  }
  return names;
}

UsageFault::Kind KindOf(const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return UsageFault::kMissing;
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) return UsageFault::kConflict;
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) return UsageFault::kFlagValue;
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return UsageFault::kNumberOfValues;
  }
  return UsageFault::kOther;
}

UsageFault FaultOf(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& parser = ParserOfCommand(app);
  return {KindOf(error),
          error.what(),
          WordsOf(parser),
          OptionsOf(&parser),
          parser.get_option_no_throw("KIND") != nullptr,
          app.remaining(true),
          MissingOf(parser)};
}

}  // namespace

struct CommandLine::State {
  CLI::App app{"Shows what kind of terminals connect to the network, and manages the rules",
               "byodctl"};
  std::vector<std::pair<CLI::App*, Run>> runs;

  /// The parser of each command, below that of its verb.
  void Define(const Settings& settings) {
    CLI::App* verb = nullptr;
    for (const Command& command : Commands()) {
      if (command.noun == nullptr) {
        DefineBelow(app, command.verb, command, settings);
        continue;
      }
      if (verb == nullptr || verb->get_name() != command.verb) {
        verb = app.add_subcommand(command.verb, "")->group(kCommands);
        verb->require_subcommand(1);
      }
      const std::string nouns = verb->get_description();
      verb->description(nouns + (nouns.empty() ? "" : ", ") + command.noun);
      DefineBelow(*verb, command.noun, command, settings);
    }
    // Only for the list in the help: WithFullCommand replaces it.
    app.add_subcommand("help", "Show the help of a command")->group(kCommands);
  }

  void DefineBelow(CLI::App& above, const char* word, const Command& command,
                   const Settings& settings) {
    CLI::App* const below = above.add_subcommand(word, command.help)->group(kCommands);
    Parser parser(*below);
    runs.emplace_back(below, command.define(parser, settings));
  }
};

CommandLine::CommandLine(Settings& settings) : state_(std::make_unique<State>()) {
  CLI::App& app = state_->app;
  app.require_subcommand(1);
  app.fallthrough();
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.set_version_flag("--version", "byodctl " BYOD_VERSION, "Print the version and exit");
  DeclareSettings(app, settings);
  state_->Define(settings);
  app.footer(kFooter);  // after the commands, which would inherit it
}

CommandLine::~CommandLine() = default;

Run CommandLine::Parse(std::vector<std::string> arguments) {
  CLI::App& app = state_->app;
  try {
    arguments = WithFullCommand(std::move(arguments));
    std::ranges::reverse(arguments);  // as the parser takes them
    app.parse(arguments);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return {};
  } catch (const CLI::ParseError& error) {
    throw Failure(kExitBadInput, UsageError(FaultOf(app, error)));
  }
  const auto parsed =
      std::ranges::find_if(state_->runs, [](const auto& run) { return run.first->parsed(); });
  if (parsed == state_->runs.end()) {
    throw Failure(kExitBadInput, "missing command; see byodctl --help");
  }
  return parsed->second;
}

}  // namespace byod::ctl
