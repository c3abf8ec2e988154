// Questions about single rules, and counts.
#ifndef LAUTHD_REQUESTS_RULE_QUERIES_H
#define LAUTHD_REQUESTS_RULE_QUERIES_H

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result QueryDhcpOptionRule(Exchange& exchange);
Result QueryUserAgentRule(Exchange& exchange);
Result QueryMacRule(Exchange& exchange);

Result CountDhcpOptionRules(Exchange& exchange);
Result CountUserAgentRules(Exchange& exchange);
Result CountMacRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_RULE_QUERIES_H
