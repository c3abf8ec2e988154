// Requests that change rules: all or nothing, and stored before they are answered.
#ifndef LAUTHD_REQUESTS_RULE_CHANGES_H
#define LAUTHD_REQUESTS_RULE_CHANGES_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

// The rule and its device name.
Result ChangeDhcpOptionRule(Exchange& exchange);
Result ChangeUserAgentRule(Exchange& exchange);
Result ChangeMacRule(Exchange& exchange);

// The rule without information.
Result ChangeDhcpOptionValue(Exchange& exchange);
Result ChangeUserAgentValue(Exchange& exchange);
Result ChangeMacValue(Exchange& exchange);

// One attribute.
Result ChangeDhcpOptionAttribute(Exchange& exchange);
Result ChangeUserAgentAttribute(Exchange& exchange);
Result ChangeMacAttribute(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_RULE_CHANGES_H
