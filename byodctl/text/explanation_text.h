// SPDX-License-Identifier: Apache-2.0
// An explanation for people.
#ifndef BYODCTL_TEXT_EXPLANATION_TEXT_H
#define BYODCTL_TEXT_EXPLANATION_TEXT_H

#include <string>

#include "explain/explain.h"

namespace byod::ctl {

/// Lines, each with its end, indented by two blanks or more.
std::string ExplanationText(const explain::Explanation& explanation);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_EXPLANATION_TEXT_H
