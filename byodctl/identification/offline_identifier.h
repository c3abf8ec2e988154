// SPDX-License-Identifier: Apache-2.0
// Identifies with rule files, in this process.
#ifndef BYODCTL_IDENTIFICATION_OFFLINE_IDENTIFIER_H
#define BYODCTL_IDENTIFICATION_OFFLINE_IDENTIFIER_H

#include <optional>

#include "byod_order.h"
#include "byodctl/identification/identifier.h"
#include "rulefiles/rule_set.h"

namespace byod::ctl {

/// Owns the process's rule store: there is one at a time.
class OfflineIdentifier : public Identifier {
 public:
  struct Settings {
    rulefiles::Sources sources;
    std::optional<ByodOrder> order;  ///< else the default one
    bool explains = false;
  };

  /// @throws std::runtime_error without memory for the store
  OfflineIdentifier(const Settings& settings, rulefiles::Diagnostics& diagnostics);
  ~OfflineIdentifier() override;
  OfflineIdentifier(const OfflineIdentifier&) = delete;
  OfflineIdentifier& operator=(const OfflineIdentifier&) = delete;

  Answer Identify(const ByodFingerPrint& fingerprint) override;

 private:
  bool explains_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_OFFLINE_IDENTIFIER_H
