#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/command_line/abbreviations.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/option_checks.h"
#include "byodctl/command_line/usage_error.h"
#include "byodctl/text/display_text.h"

namespace byod::ctl {
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

/// The parser of each command, below that of its verb.
std::vector<std::pair<CLI::App*, Run>> Define(CLI::App& app, const Settings& settings) {
  std::vector<std::pair<CLI::App*, Run>> runs;
  CLI::App* verb = nullptr;
  for (const Command& command : Commands()) {
    if (command.noun == nullptr) {
      CLI::App* const parser = app.add_subcommand(command.verb, command.help)->group(kCommands);
      runs.emplace_back(parser, command.define(*parser, settings));
      continue;
    }
    if (verb == nullptr || verb->get_name() != command.verb) {
      verb = app.add_subcommand(command.verb, "")->group(kCommands);
      verb->require_subcommand(1);
    }
    const std::string nouns = verb->get_description();
    verb->description(nouns + (nouns.empty() ? "" : ", ") + command.noun);
    CLI::App* const parser = verb->add_subcommand(command.noun, command.help)->group(kCommands);
    runs.emplace_back(parser, command.define(*parser, settings));
  }
  // WithFullCommand reads it; here it is listed.
  app.add_subcommand("help", "Show the help of a command")->group(kCommands);
  return runs;
}

/// @return the status, unless what was written did not arrive
int Finished(int status) {
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write the output");
  return status;
}

int Main(int argc, char** argv) {
  Settings settings;
  CLI::App app{"Shows what kind of terminals connect to the network, and manages the rules",
               "byodctl"};
  app.require_subcommand(1);
  app.fallthrough();
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.set_version_flag("--version", "byodctl " BYOD_VERSION, "Print the version and exit");
  app.add_option("--socket", settings.socket, "The daemon's socket")->type_name("PATH");
  app.add_option("--timeout", settings.timeout_s,
                 "Seconds to wait for a connection, and for each reply")
      ->type_name("SECONDS")
      ->check(SecondsBetween(0.001, 86400, "0.001 to 86400"))
      ->capture_default_str();
  const auto runs = Define(app, settings);
  app.footer(kFooter);  // after the commands, which would inherit it
  try {
    std::vector<std::string> arguments = WithFullCommand({argv + 1, argv + argc});
    std::ranges::reverse(arguments);  // as the parser takes them
    app.parse(arguments);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return Finished(kExitSuccess);
  } catch (const CLI::ParseError& error) {
    throw Failure(kExitBadInput, UsageError(app, error));
  }
  for (const auto& [parser, run] : runs) {
    if (parser->parsed()) return Finished(run());
  }
  return kExitBadInput;
}

int Report(const std::exception& error, int status) {
  std::cout.flush();
  std::cerr << "byodctl: " << byod::ctl::Printable(error.what()) << '\n';
  return status;
}

}  // namespace
}  // namespace byod::ctl

int main(int argc, char** argv) {
  try {
    std::ios::sync_with_stdio(false);
    return byod::ctl::Main(argc, argv);
  } catch (const byod::ctl::Failure& failure) {
    return byod::ctl::Report(failure, failure.status());
  } catch (const std::exception& error) {
    return byod::ctl::Report(error, byod::ctl::kExitBadInput);
  }
}
