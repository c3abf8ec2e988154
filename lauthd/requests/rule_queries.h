// SPDX-License-Identifier: Apache-2.0
// Requests that read one rule, or count them.
#ifndef LAUTHD_REQUESTS_RULE_QUERIES_H
#define LAUTHD_REQUESTS_RULE_QUERIES_H

#include "lauthd/requests/exchange.h"
#include "lauthd/state/rule_kind.h"
#include "protocol/extensions.h"

namespace byod::lauthd {

/// Says of a MAC rule how many rules in its block it does not answer for.
template <typename Kind>
void AppendHoles(tlv::Appender& append, const typename Kind::Rule& rule) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    const uint32_t holes = Kind::Rules().HolesIn(rule);
    if (holes > 0) append.Number(BYOD_EXT_HOLES, holes);
  }
}

// For each of the kinds in rule_kind.h.

template <typename Kind>
Result QueryRule(Exchange& exchange);

template <typename Kind>
Result CountRules(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_RULE_QUERIES_H
