// What the three kinds of rule differ in when one is read out of a reply.
#ifndef BYOD_CFGMSG_RULE_KIND_H
#define BYOD_CFGMSG_RULE_KIND_H

#include <memory>

#include "byod_cfgmsg.h"
#include "byod_tlv.h"

namespace byod::cfgmsg {

struct MacKind {
  using Rule = ByodMacRule;
  struct Decoded {
    uint32_t origin = 0;
    uint16_t word = 0;
    ByodMacRuleShowRec record = {};
    ByodMacRule key = {};
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

struct DecodedText {
  uint32_t origin = 0;
  uint16_t word = 0;
  ByodTextRuleShowRec record = {};
};

struct UserAgentKind {
  using Rule = ByodUserAgentRule;
  using Decoded = DecodedText;

  static uint32_t Decode(uint32_t msg, Decoded& out) {
    return BYOD_tlv_GetUserAgentRuleAllInfo(msg, &out.origin, &out.word, &out.record);
  }
  static Rule* Build(const Decoded& in) {
    return Byod_BuildUserAgentRule(in.origin, in.word, &in.record);
  }
  static Rule* Alloc() { return BYOD_data_AllocUserAgentRule(); }
  static void Free(Rule* rule) { BYOD_data_FreeUserAgentRule(rule); }
};

struct DhcpOptionKind {
  using Rule = ByodDhcpOptionRule;
  using Decoded = DecodedText;

  static uint32_t Decode(uint32_t msg, Decoded& out) {
    return BYOD_tlv_GetDhcpOptionRuleAllInfo(msg, &out.origin, &out.word, &out.record);
  }
  static Rule* Build(const Decoded& in) {
    return Byod_BuildDhcpOptionRule(in.origin, in.word, &in.record);
  }
  static Rule* Alloc() { return BYOD_data_AllocDhcpOptionRule(); }
  static void Free(Rule* rule) { BYOD_data_FreeDhcpOptionRule(rule); }
};

template <typename Kind>
struct RuleDeleter {
  void operator()(typename Kind::Rule* rule) const { Kind::Free(rule); }
};

/// A rule that was built from a reply.
template <typename Kind>
using BuiltRule = std::unique_ptr<typename Kind::Rule, RuleDeleter<Kind>>;

}  // namespace byod::cfgmsg

#endif  // BYOD_CFGMSG_RULE_KIND_H
