// SPDX-License-Identifier: Apache-2.0
// What the three kinds of rule differ in when one is read out of a reply.
#ifndef BYOD_CFGMSG_RULE_KIND_H
#define BYOD_CFGMSG_RULE_KIND_H

#include <memory>

#include "byod_cfgmsg.h"
#include "byod_tlv.h"
#include "rulekinds/rule_kind.h"

namespace byod::cfgmsg {

struct MacKind : rulekinds::MacKind {
  struct Decoded {
    uint32_t origin = 0;
    uint16_t word = 0;
    Record record = {};
    Rule key = {};
  };

  static uint32_t Decode(uint32_t msg, Decoded& out) {
    return BYOD_tlv_GetMacRuleAllInfo(msg, &out.origin, &out.word, &out.record, &out.key);
  }
  static Rule* Build(const Decoded& in) {
    return Byod_BuildMacRule(in.origin, in.word, &in.record, &in.key);
  }
  static Rule* Alloc() { return BYOD_data_AllocMacRule(); }
  static void Free(Rule* rule) { BYOD_data_FreeMacRule(rule); }
};

template <typename Kind, auto kDecode, auto kBuild, auto kAlloc, auto kFree>
struct TextKind : Kind {
  using Rule = typename Kind::Rule;
  struct Decoded {
    uint32_t origin = 0;
    uint16_t word = 0;
    typename Kind::Record record = {};
  };

  static uint32_t Decode(uint32_t msg, Decoded& out) {
    return kDecode(msg, &out.origin, &out.word, &out.record);
  }
  static Rule* Build(const Decoded& in) { return kBuild(in.origin, in.word, &in.record); }
  static Rule* Alloc() { return kAlloc(); }
  static void Free(Rule* rule) { kFree(rule); }
};

using UserAgentKind =
    TextKind<rulekinds::UserAgentKind, BYOD_tlv_GetUserAgentRuleAllInfo, Byod_BuildUserAgentRule,
             BYOD_data_AllocUserAgentRule, BYOD_data_FreeUserAgentRule>;
using DhcpOptionKind =
    TextKind<rulekinds::DhcpOptionKind, BYOD_tlv_GetDhcpOptionRuleAllInfo, Byod_BuildDhcpOptionRule,
             BYOD_data_AllocDhcpOptionRule, BYOD_data_FreeDhcpOptionRule>;

template <typename Kind>
struct RuleDeleter {
  void operator()(typename Kind::Rule* rule) const { Kind::Free(rule); }
};

/// A rule that was built from a reply.
template <typename Kind>
using BuiltRule = std::unique_ptr<typename Kind::Rule, RuleDeleter<Kind>>;

}  // namespace byod::cfgmsg

#endif  // BYOD_CFGMSG_RULE_KIND_H
