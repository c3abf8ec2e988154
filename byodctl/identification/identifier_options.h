// SPDX-License-Identifier: Apache-2.0
// The options of commands that identify: by the daemon, or by rule files.
#ifndef BYODCTL_IDENTIFICATION_IDENTIFIER_OPTIONS_H
#define BYODCTL_IDENTIFICATION_IDENTIFIER_OPTIONS_H

#include <memory>
#include <string>
#include <vector>

#include "byodctl/command_line/parser.h"
#include "byodctl/daemon/settings.h"
#include "byodctl/identification/evidence_options.h"
#include "byodctl/identification/identifier.h"
#include "rulefiles/installed_sources.h"
#include "rulefiles/rule_set.h"

namespace byod::ctl {

struct IdentifierOptions {
  bool offline = false;
  rulefiles::Sources sources = rulefiles::InstalledSources();
  std::vector<std::string> order;
  std::string group;
  bool explains = false;
  EvidenceOptions evidence;
  bool remembers = false;  ///< an address alone means what the daemon remembers of it

  /**
   * Declares --offline, the options that need it, and those of the evidence.
   *
   * @return --offline
   */
  Option Declare(Parser& parser);
};

/// Reads the rules of the evidence, from where the identifier's rules are or were installed.
EvidenceFiller MakeEvidenceFiller(const IdentifierOptions& options);

/// For many requests in a row: stays connected to the daemon.
/// @throws Failure without a daemon
std::unique_ptr<Identifier> MakeIdentifier(const IdentifierOptions& options,
                                           const Settings& settings);

/// For requests with long pauses: connects for each, since the daemon closes idle connections.
/// @throws Failure without a daemon
std::unique_ptr<Identifier> MakePatientIdentifier(const IdentifierOptions& options,
                                                  const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_IDENTIFIER_OPTIONS_H
