// SPDX-License-Identifier: Apache-2.0
// User-Agents that programs send by themselves: connectivity checks, updaters, downloads. They say
// which library fetches, not which terminal it runs on.
#ifndef BYOD_RULEFILES_BACKGROUND_AGENTS_H
#define BYOD_RULEFILES_BACKGROUND_AGENTS_H

#include <string>
#include <vector>

#include "rulefiles/csv_file.h"
#include "rulefiles/diagnostics.h"

namespace byod::rulefiles {

struct BackgroundAgent {
  std::string expression;  ///< as that of a User-Agent rule
  std::string example;     ///< may be empty
  Place place;
};

/**
 * Reads `expression,purpose,example`. A row whose expression a User-Agent rule could not have, or
 * does not match its own example, is reported and left out.
 */
std::vector<BackgroundAgent> ReadBackgroundAgents(const File& file, Diagnostics& diagnostics);

/// Whether any of the expressions matches a User-Agent.
bool IsBackground(const std::vector<BackgroundAgent>& agents, const char* user_agent);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_BACKGROUND_AGENTS_H
