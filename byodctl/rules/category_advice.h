// SPDX-License-Identifier: Apache-2.0
// Whether an authorization set can ever apply to a terminal.
#ifndef BYODCTL_RULES_CATEGORY_ADVICE_H
#define BYODCTL_RULES_CATEGORY_ADVICE_H

#include <string>
#include <vector>

#include "byodctl/daemon/client.h"

namespace byod::ctl {

/**
 * Asks the daemon for the categories that its rules answer.
 *
 * @param category  of a set of authorization, spelt as it is stored
 * @return a warning when no rule answers this category, with the most similar one that some rule
 *         does; none for the category of all terminals
 */
std::vector<std::string> AdviceOnCategory(Client& client, const std::string& category);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_CATEGORY_ADVICE_H
