// The options of every command that identifies: the daemon, or the rules of files.
#ifndef BYODCTL_IDENTIFICATION_IDENTIFIER_OPTIONS_H
#define BYODCTL_IDENTIFICATION_IDENTIFIER_OPTIONS_H

#include <memory>
#include <string>
#include <vector>

#include "byodctl/command_line/parser.h"
#include "byodctl/daemon/settings.h"
#include "byodctl/identification/identifier.h"
#include "rulefiles/rule_set.h"

namespace byod::ctl {

struct IdentifierOptions {
  bool offline = false;
  rulefiles::Sources sources{BYOD_RULES_DIRECTORY, BYOD_REGISTRY_DIRECTORY};
  std::vector<std::string> order;
  std::string group;
  bool explains = false;

  /**
   * Declares --offline and the options that go with it.
   *
   * @return --offline; the others need it
   */
  Option Declare(Parser& parser);
};

/// For many questions at once: the daemon is connected to as long as this lives.
/// @throws Failure without a daemon
std::unique_ptr<Identifier> MakeIdentifier(const IdentifierOptions& options,
                                           const Settings& settings);

/// For questions that may lie far apart: the daemon, which hangs up on clients that are silent, is
/// connected to for each. @throws Failure without a daemon
std::unique_ptr<Identifier> MakePatientIdentifier(const IdentifierOptions& options,
                                                  const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_IDENTIFIER_OPTIONS_H
