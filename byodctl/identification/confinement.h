// SPDX-License-Identifier: Apache-2.0
// What byodctl keeps of its rights while it reads packets, which anybody may have sent.
#ifndef BYODCTL_IDENTIFICATION_CONFINEMENT_H
#define BYODCTL_IDENTIFICATION_CONFINEMENT_H

#include <memory>

#include "byodctl/daemon/settings.h"
#include "byodctl/identification/identifier_options.h"

namespace byod::ctl {

/**
 * Makes an identifier for requests with long pauses, and gives up for good what is not needed any
 * more once the capture is open and the rules are read.
 *
 * Root becomes the user "nobody", with the group of the daemon's socket alone, by which the daemon
 * can be reached. No capability is left, none can be gained, and the kernel refuses all system
 * calls but those that read and write what is open, wait, allocate memory and connect to Unix
 * sockets.
 *
 * @throws Failure without a daemon, or when rights cannot be given up
 */
std::unique_ptr<Identifier> MakeConfinedIdentifier(const IdentifierOptions& options,
                                                   const Settings& settings);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_CONFINEMENT_H
