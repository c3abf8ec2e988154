// SPDX-License-Identifier: Apache-2.0
// Where programs read rules from unless they are given other places.
#ifndef BYOD_RULEFILES_INSTALLED_SOURCES_H
#define BYOD_RULEFILES_INSTALLED_SOURCES_H

#include "rulefiles/rule_set.h"

namespace byod::rulefiles {

/// The catalogue that was installed with the running program, wherever the installation was moved,
/// and the registry of the system. Either may be missing.
Sources InstalledSources();

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_INSTALLED_SOURCES_H
