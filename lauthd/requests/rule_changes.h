// SPDX-License-Identifier: Apache-2.0
// Requests that change rules: all or nothing, and stored before they are answered.
#ifndef LAUTHD_REQUESTS_RULE_CHANGES_H
#define LAUTHD_REQUESTS_RULE_CHANGES_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

// For each of the kinds in rule_kind.h.

/// Sets or removes a rule's device name; setting makes a rule that does not exist.
template <typename Kind>
Result ChangeRule(Exchange& exchange);

/// Makes a rule without a name, or removes all that was configured of it.
template <typename Kind>
Result ChangeRuleValue(Exchange& exchange);

/// Sets or removes one attribute of a rule; setting makes a rule that does not exist.
template <typename Kind>
Result ChangeRuleAttribute(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_RULE_CHANGES_H
