// SPDX-License-Identifier: Apache-2.0
// Identifies by asking the daemon.
#ifndef BYODCTL_IDENTIFICATION_DAEMON_IDENTIFIER_H
#define BYODCTL_IDENTIFICATION_DAEMON_IDENTIFIER_H

#include <optional>
#include <string>

#include "byodctl/daemon/client.h"
#include "byodctl/identification/identifier.h"

namespace byod::ctl {

/// A request of BYOD_EXT_MSG_IDENTIFY or BYOD_EXT_MSG_EXPLAIN.
Request FingerprintRequest(uint32_t kind, const ByodFingerPrint& fingerprint);

class DaemonIdentifier : public Identifier {
 public:
  /**
   * @param group     the user group whose authorization is requested; empty = none
   * @param explains  whether answers come with their explanation
   * @param remembers  whether an address alone means what the daemon remembers of it
   * @throws Failure without a daemon
   */
  DaemonIdentifier(const Settings& settings, std::string group, bool explains,
                   bool remembers = false);

  /// @throws Failure when the daemon does not answer
  Answer Identify(const ByodFingerPrint& fingerprint) override;

 private:
  tlv::Message Ask(uint32_t kind, const ByodFingerPrint& fingerprint);
  /// @return nothing where the daemon does not remember the terminal
  std::optional<Answer> Recall(const ByodFingerPrint& fingerprint);

  Client client_;
  std::string group_;
  bool explains_;
  bool remembers_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_DAEMON_IDENTIFIER_H
