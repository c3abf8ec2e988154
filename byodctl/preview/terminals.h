// SPDX-License-Identifier: Apache-2.0
// The fingerprints on which a change is tried.
#ifndef BYODCTL_PREVIEW_TERMINALS_H
#define BYODCTL_PREVIEW_TERMINALS_H

#include <string>
#include <vector>

#include "byod_data.h"
#include "byodctl/daemon/client.h"

namespace byod::ctl {

/// The terminals of which the daemon keeps the fingerprint.
std::vector<ByodFingerPrint> KnownTerminals(Client& client);

/// Those of a file, in the form that identify reads; - is standard input.
/// @throws Failure of kExitBadInput for what cannot be read
std::vector<ByodFingerPrint> TerminalsIn(const std::string& file);

/// The examples in a directory of rule files. What cannot be read is left out: the daemon reports
/// it.
std::vector<ByodFingerPrint> ExamplesIn(const std::string& rules_directory);

}  // namespace byod::ctl

#endif  // BYODCTL_PREVIEW_TERMINALS_H
