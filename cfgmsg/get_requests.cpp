// SPDX-License-Identifier: Apache-2.0
// Requests that ask for something: the order, a count, a rule.
#include "cfgmsg/reason.h"
#include "cfgmsg/request.h"
#include "rulekinds/rule_kind.h"

using byod::cfgmsg::Address;
using byod::cfgmsg::MakeRequest;
using byod::cfgmsg::MakeRequestOf;
using byod::cfgmsg::Number;
using byod::cfgmsg::Request;
using byod::cfgmsg::Text;
using byod::rulekinds::DhcpOptionKind;
using byod::rulekinds::MacKind;
using byod::rulekinds::UserAgentKind;

uint32_t BYOD_cfgmsg_GetOrder(ByodOrder* order) {
  const Request request = MakeRequestOf(BYOD_OP_GET, BYOD_MSG_ORDER);
  if (!request.Ready()) return request.status;
  const byod::tlv::Message reply(Byod_SendAndGetReply(request.message.get()));
  if (!reply) return BYOD_ERR_FAILED;
  if (const uint32_t refusal = byod::cfgmsg::ReadCode(reply.get())) return refusal;
  return BYOD_tlv_GetOrder(reply.get(), order->slots);
}

// Lenient on purpose: no reply is a success, and a reply without a count counts 0.
uint32_t BYOD_cfgmsg_GetRulesCountByType(uint32_t kind, uint32_t* count) {
  const uint32_t code = kind == DhcpOptionKind::kMethod  ? DhcpOptionKind::kMessages.count
                        : kind == UserAgentKind::kMethod ? UserAgentKind::kMessages.count
                                                         : MacKind::kMessages.count;
  const Request request = MakeRequestOf(BYOD_OP_GET, code);
  if (!request.Ready()) return request.status;
  const byod::tlv::Message reply(Byod_SendAndGetReply(request.message.get()));
  if (!reply) return 0;
  *count = 0;
  const uint32_t missing = BYOD_tlv_GetUINTValueByType(reply.get(), BYOD_TLV_COUNT, count);
  if (missing != 0 && byod::cfgmsg::ReadCode(reply.get()) == 0) errno = byod::cfgmsg::kUnknown;
  return 0;
}

ByodMacRule* BYOD_cfgmsg_GetMacRule(const uint8_t* mac, uint32_t operation, uint32_t selector) {
  const Request request =
      MakeRequest(Number(BYOD_TLV_OPTYPE, operation), Number(BYOD_TLV_QUERYARG, selector),
                  Number(BYOD_TLV_MSGTYPE, BYOD_MSG_MACRULE), Address(BYOD_TLV_MAC, mac));
  return request.Ready() ? Byod_SendAndGetMacRule(request.message.get()) : nullptr;
}

ByodMacRule* BYOD_cfgmsg_GetMacRuleNetconf(const uint8_t* mac, const uint8_t* mask,
                                           uint32_t operation, uint32_t code, uint32_t selector,
                                           uint32_t selector2) {
  const Request request = MakeRequestOf(
      operation, code, Number(BYOD_TLV_QUERYARG, selector), Number(BYOD_TLV_QUERYARG2, selector2),
      Address(BYOD_TLV_MAC, mac), Address(BYOD_TLV_MACMASK, mask));
  return request.Ready() ? Byod_SendAndGetMacRule(request.message.get()) : nullptr;
}

ByodUserAgentRule* BYOD_cfgmsg_GetUserAgentRule(const char* keyword, uint32_t operation,
                                                uint32_t selector, uint32_t selector2) {
  const Request request =
      MakeRequest(Number(BYOD_TLV_OPTYPE, operation), Number(BYOD_TLV_QUERYARG, selector),
                  Number(BYOD_TLV_QUERYARG2, selector2), Number(BYOD_TLV_MSGTYPE, BYOD_MSG_UARULE),
                  Text(BYOD_TLV_USERAGENT, keyword));
  return request.Ready() ? Byod_SendAndGetUserAgentRule(request.message.get()) : nullptr;
}

// Unlike the User-Agent query, this one has no second selector.
ByodDhcpOptionRule* BYOD_cfgmsg_GetDhcpOptionRule(const char* text, uint32_t operation,
                                                  uint32_t selector) {
  const Request request =
      MakeRequest(Number(BYOD_TLV_OPTYPE, operation), Number(BYOD_TLV_QUERYARG, selector),
                  Number(BYOD_TLV_MSGTYPE, BYOD_MSG_DHCPOPTRULE), Text(BYOD_TLV_DHCPOPT, text));
  return request.Ready() ? Byod_SendAndGetDhcpOptionRule(request.message.get()) : nullptr;
}
