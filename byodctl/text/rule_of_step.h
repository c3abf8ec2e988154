// SPDX-License-Identifier: Apache-2.0
// The rule of a step of an explanation.
#ifndef BYODCTL_TEXT_RULE_OF_STEP_H
#define BYODCTL_TEXT_RULE_OF_STEP_H

#include <string>

#include "explain/explain.h"

namespace byod::ctl {

/// As people write it: an administrator's User-Agent rule without the separators at its end.
std::string RuleOf(const explain::Step& step);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_RULE_OF_STEP_H
