// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <iostream>
#include <stdexcept>

#include "byodctl/command_line/command_line.h"
#include "byodctl/failure.h"
#include "byodctl/text/display_text.h"

namespace byod::ctl {
namespace {

int Main(int argc, char** argv) {
  Settings settings;
  CommandLine command_line(settings);
  const Run run = command_line.Parse({argv + 1, argv + argc});
  const int status = run ? run() : kExitSuccess;
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write the output");
  return status;
}

int Report(const std::exception& error, int status) {
  std::cout.flush();
  std::cerr << "byodctl: " << Printable(error.what()) << '\n';
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
