#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/command.h"
#include "byodctl/display_text.h"
#include "byodctl/words.h"

namespace byod::ctl {
namespace {

constexpr char kFooter[] =
    "Verbs, nouns and kinds of rule may be cut short as long as they are clear: byodctl sh o.\n"
    "With --json every command writes JSON objects, one a line, whose keys are always the same.\n\n"
    "Exit status:\n"
    "  0  done, also when it was so already\n"
    "  1  bad usage or input\n"
    "  2  the daemon is not there, or gives no answer\n"
    "  3  unknown: a terminal is not identified, or there is no such rule or set\n"
    "  4  the daemon does not let this user do that\n"
    "  5  the daemon refuses, and says why";

/// The parser of each command, below that of its verb.
std::vector<std::pair<CLI::App*, Run>> Define(CLI::App& app, const Settings& settings) {
  std::vector<std::pair<CLI::App*, Run>> runs;
  CLI::App* verb = nullptr;
  for (const Command& command : Commands()) {
    if (command.noun == nullptr) {
      CLI::App* const parser = app.add_subcommand(command.verb, command.help);
      runs.emplace_back(parser, command.define(*parser, settings));
      continue;
    }
    if (verb == nullptr || verb->get_name() != command.verb) {
      verb = app.add_subcommand(command.verb, "");
      verb->require_subcommand(1);
    }
    const std::string nouns = verb->get_description();
    verb->description(nouns + (nouns.empty() ? "" : ", ") + command.noun);
    CLI::App* const parser = verb->add_subcommand(command.noun, command.help);
    runs.emplace_back(parser, command.define(*parser, settings));
  }
  return runs;
}

int Main(int argc, char** argv) {
  Settings settings;
  CLI::App app{"Tells what kind of terminals connect to the network, and keeps the rules for it",
               "byodctl"};
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);
  app.add_option("--socket", settings.socket, "The daemon's socket")->type_name("PATH");
  app.add_option("--timeout", settings.timeout_s,
                 "Seconds to wait for the daemon to connect, and for each of its answers")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.001, 86400.0))
      ->capture_default_str();
  const auto runs = Define(app, settings);
  try {
    std::vector<std::string> arguments = WithFullCommand({argv + 1, argv + argc});
    std::ranges::reverse(arguments);  // as the parser takes them
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitSuccess : kExitBadInput;
  }
  for (const auto& [parser, run] : runs) {
    if (!parser->parsed()) continue;
    const int status = run();
    std::cout.flush();
    if (!std::cout) throw std::runtime_error("cannot write the output");
    return status;
  }
  return kExitBadInput;
}

int Tell(const std::exception& error, int status) {
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
    return byod::ctl::Tell(failure, failure.status());
  } catch (const std::exception& error) {
    return byod::ctl::Tell(error, byod::ctl::kExitBadInput);
  }
}
