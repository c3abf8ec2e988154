// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/rule_queries.h"

#include "lauthd/requests/request_key.h"
#include "lauthd/requests/selectors.h"
#include "mac.h"

namespace byod::lauthd {
namespace {

/// Reads the key and finds the rule that it means by itself.
template <typename Kind>
Result FindThis(uint32_t request, typename Kind::Key& key, typename Kind::Rule*& rule) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    bool covered = false;
    Result read = ReadKey(request, KeyUse::kQuery, key, &covered);
    if (!read.Ok()) return read;
    // An address alone asks for the rule that decides about it, the address of zeros included.
    typename Kind::Key probe = key;
    if (covered) MAC_BroadcastAddr(probe.mask);
    rule = covered ? Kind::Rules().Covering(probe) : Kind::Find(key);
    if (rule != nullptr && IsWithdrawn(*rule)) rule = nullptr;
    return {};
  } else {
    Result read = ReadKeyOf<Kind>(request, KeyUse::kQuery, key);
    if (read.Ok()) rule = Kind::Find(key);
    return read;
  }
}

}  // namespace

template <typename Kind>
Result QueryRule(Exchange& exchange) {
  const Selectors selectors = ReadSelectors(exchange.request);
  if (!selectors.valid) return BadSelectors();
  typename Kind::Key key;
  typename Kind::Rule* rule = nullptr;
  if (Result read = FindThis<Kind>(exchange.request, key, rule); !read.Ok()) return read;
  if (selectors.which == Which::kNext) rule = Kind::NextOf(key);
  if (selectors.which == Which::kNextConfigured) rule = Kind::NextConfigured(key);
  if (rule == nullptr) return Refused(BYOD_REFUSAL_NOT_FOUND, "no such rule");
  tlv::Appender append = exchange.Answer();
  append.Combine(Kind::Encode(exchange.reply.get(), rule, selectors.mode));
  AppendHoles<Kind>(append, *rule);
  return exchange.Answered(append);
}

template <typename Kind>
Result CountRules(Exchange& exchange) {
  return exchange.Answered(exchange.Answer().Number(BYOD_TLV_COUNT, Kind::Count()));
}

template Result QueryRule<DhcpOptionKind>(Exchange&);
template Result QueryRule<UserAgentKind>(Exchange&);
template Result QueryRule<MacKind>(Exchange&);

template Result CountRules<DhcpOptionKind>(Exchange&);
template Result CountRules<UserAgentKind>(Exchange&);
template Result CountRules<MacKind>(Exchange&);

}  // namespace byod::lauthd
