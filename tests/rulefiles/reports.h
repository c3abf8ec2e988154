// SPDX-License-Identifier: Apache-2.0
// Collects reports as texts, and makes files to read.
#ifndef BYOD_TESTS_RULEFILES_REPORTS_H
#define BYOD_TESTS_RULEFILES_REPORTS_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "rulefiles/diagnostics.h"
#include "support/scratch_directory.h"

namespace byod::rulefiles {

struct Reports {
  std::vector<std::string> texts;
  Diagnostics diagnostics{[this](const Diagnostic& d) { texts.push_back(ToString(d)); }};
};

using support::ScratchDirectory;

}  // namespace byod::rulefiles

#endif  // BYOD_TESTS_RULEFILES_REPORTS_H
