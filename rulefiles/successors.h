// SPDX-License-Identifier: Apache-2.0
// The rules that answer in place of rules of earlier editions of a catalogue.
#ifndef BYOD_RULEFILES_SUCCESSORS_H
#define BYOD_RULEFILES_SUCCESSORS_H

#include <cstdint>
#include <string>
#include <vector>

#include "rulefiles/csv_file.h"
#include "rulefiles/diagnostics.h"

namespace byod::rulefiles {

/// A rule of an earlier edition, and the one that has answered for its terminals since. Both are
/// written as they are shown: a block as "00:11:22:00:00:00/24", any other by its text.
struct Successor {
  uint32_t method = 0;  ///< BYOD_METHOD_*
  std::string rule;
  std::string successor;
  Place place;
};

/// Reads `kind,rule,successor`. Of two rows about one rule the first counts.
std::vector<Successor> ReadSuccessors(const File& file, Diagnostics& diagnostics);

/// The same for all spellings of a rule: text is compared without regard to case.
std::string IdentityOfRule(uint32_t method, const std::string& rule);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_SUCCESSORS_H
