// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/installed_sources.h"

#include <filesystem>
#include <system_error>

namespace byod::rulefiles {
namespace {

namespace fs = std::filesystem;

/// The catalogue beside the program; empty when there is none.
std::string RulesBesideProgram() {
  std::error_code failed;
  const fs::path program = fs::read_symlink("/proc/self/exe", failed);
  if (failed) return {};
  const fs::path rules = (program.parent_path() / BYOD_RULES_FROM_PROGRAMS).lexically_normal();
  return fs::is_directory(rules, failed) ? rules.string() : std::string();
}

}  // namespace

Sources InstalledSources() {
  std::string rules = RulesBesideProgram();
  if (rules.empty()) rules = BYOD_RULES_DIRECTORY;
  return {rules, BYOD_REGISTRY_DIRECTORY, ModuleMakers::kMarked};
}

}  // namespace byod::rulefiles
