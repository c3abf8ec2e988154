// SPDX-License-Identifier: Apache-2.0
// What identifies terminals: the daemon, or rules in this process.
#ifndef BYODCTL_IDENTIFICATION_IDENTIFIER_H
#define BYODCTL_IDENTIFICATION_IDENTIFIER_H

#include "byod_data.h"
#include "byodctl/text/answer.h"

namespace byod::ctl {

class Identifier {
 public:
  virtual ~Identifier() = default;
  virtual Answer Identify(const ByodFingerPrint& fingerprint) = 0;
};

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_IDENTIFIER_H
