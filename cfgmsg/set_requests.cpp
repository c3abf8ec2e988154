// SPDX-License-Identifier: Apache-2.0
// Requests that set or undo something: the daemon answers with a code.
#include "cfgmsg/request.h"

namespace byod::cfgmsg {
namespace {

/// Any caller's flag but 0 sets.
template <typename... Fields>
uint32_t Set(uint32_t add, uint32_t kind, const Fields&... fields) {
  const Request request = MakeRequestOf(add != 0 ? BYOD_OP_SET : BYOD_OP_UNDO, kind, fields...);
  return request.Ready() ? Byod_SendAndGetResult(request.message.get()) : request.status;
}

/// Without an order, which only an undo may do.
uint32_t EncapOrder(uint32_t add, const ByodOrder* order, uint32_t msg) {
  if (order != nullptr) return BYOD_tlv_EncapOrder(msg, order->slots);
  return add == 0 ? 0 : BYOD_ERR_FAILED;
}

auto DeviceAttribute(uint32_t kind, const ByodDeviceInfo* value) {
  return Encoded([=](uint32_t msg) { return BYOD_tlv_EncapDevAttr(msg, kind, value); });
}

}  // namespace
}  // namespace byod::cfgmsg

using byod::cfgmsg::Address;
using byod::cfgmsg::DeviceAttribute;
using byod::cfgmsg::EncapOrder;
using byod::cfgmsg::Encoded;
using byod::cfgmsg::Number;
using byod::cfgmsg::Set;
using byod::cfgmsg::Text;

uint32_t BYOD_cfgmsg_SetOrder(uint32_t add, const ByodOrder* order) {
  return Set(add, BYOD_MSG_ORDER,
             Encoded([=](uint32_t msg) { return EncapOrder(add, order, msg); }));
}

uint32_t BYOD_cfgmsg_SetMacRule(uint32_t add, const char* name, const ByodMacRule* rule) {
  return Set(add, BYOD_MSG_MACRULE,
             Encoded([=](uint32_t msg) { return BYOD_tlv_EncapMacRule(msg, name, rule); }));
}

uint32_t BYOD_cfgmsg_SetUserAgentRule(uint32_t add, const char* name,
                                      const ByodUserAgentRule* rule) {
  return Set(add, BYOD_MSG_UARULE,
             Encoded([=](uint32_t msg) { return BYOD_tlv_EncapUserAgentRule(msg, name, rule); }));
}

uint32_t BYOD_cfgmsg_SetDhcpOptionRule(uint32_t add, const char* name,
                                       const ByodDhcpOptionRule* rule) {
  return Set(add, BYOD_MSG_DHCPOPTRULE,
             Encoded([=](uint32_t msg) { return BYOD_tlv_EncapDhcpOptionRule(msg, name, rule); }));
}

uint32_t BYOD_cfgmsg_SetMacValue(uint32_t add, const uint8_t* mac, const uint8_t* mask) {
  return Set(add, BYOD_MSG_MAC_VALUE, Address(BYOD_TLV_MAC, mac), Address(BYOD_TLV_MACMASK, mask));
}

uint32_t BYOD_cfgmsg_SetUAValue(uint32_t add, const char* keyword) {
  return Set(add, BYOD_MSG_UA_VALUE, Text(BYOD_TLV_USERAGENT, keyword));
}

uint32_t BYOD_cfgmsg_SetDhcpOptValue(uint32_t add, const char* text) {
  return Set(add, BYOD_MSG_DHCPOPT_VALUE, Text(BYOD_TLV_DHCPOPT, text));
}

uint32_t BYOD_cfgmsg_SetMacDevAttr(uint32_t add, const uint8_t* mac, const uint8_t* mask,
                                   const ByodDeviceInfo* value, uint32_t kind) {
  return Set(add, BYOD_MSG_MAC_DEVATTR, Number(BYOD_TLV_ATTRKIND, kind), Address(BYOD_TLV_MAC, mac),
             Address(BYOD_TLV_MACMASK, mask), DeviceAttribute(kind, value));
}

uint32_t BYOD_cfgmsg_SetUADevAttr(uint32_t add, const char* keyword, const ByodDeviceInfo* value,
                                  uint32_t kind) {
  return Set(add, BYOD_MSG_UA_DEVATTR, Number(BYOD_TLV_ATTRKIND, kind),
             Text(BYOD_TLV_USERAGENT, keyword), DeviceAttribute(kind, value));
}

uint32_t BYOD_cfgmsg_SetDhcpOptDevAttr(uint32_t add, const char* text, const ByodDeviceInfo* value,
                                       uint32_t kind) {
  return Set(add, BYOD_MSG_DHCPOPT_DEVATTR, Number(BYOD_TLV_ATTRKIND, kind),
             Text(BYOD_TLV_DHCPOPT, text), DeviceAttribute(kind, value));
}
