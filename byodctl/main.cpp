#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <utility>
#include <vector>

#include "byodctl/command.h"

namespace byod::ctl {
namespace {

constexpr Command kCommands[] = {
    {"identify", "Tell vendor, category, OS and name of terminals", &DefineIdentify},
};

int Main(int argc, char** argv) {
  CLI::App app{"Tells what kind of terminals connect to the network", "byodctl"};
  app.require_subcommand(1);
  std::vector<std::pair<CLI::App*, Run>> runs;
  for (const Command& command : kCommands) {
    CLI::App* const parser = app.add_subcommand(command.name, command.help);
    runs.emplace_back(parser, command.define(*parser));
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitSuccess : kExitBadInput;
  }
  for (const auto& [parser, run] : runs) {
    if (parser->parsed()) return run();
  }
  return kExitBadInput;
}

}  // namespace
}  // namespace byod::ctl

int main(int argc, char** argv) {
  try {
    std::ios::sync_with_stdio(false);
    return byod::ctl::Main(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "byodctl: " << error.what() << '\n';
    return byod::ctl::kExitBadInput;
  }
}
