// Terminals, rules and device information into messages.
#include <algorithm>

#include "byod_tlv.h"
#include "tlv/append.h"
#include "tlv/attribute.h"
#include "tlv/message.h"

namespace byod::tlv {
namespace {

void AppendKey(Appender& append, const ByodMacRule& rule) {
  append.Address(BYOD_TLV_MAC, rule.mac).Address(BYOD_TLV_MACMASK, rule.mask);
}

void AppendKey(Appender& append, const ByodUserAgentRule& rule) {
  append.PresentText(BYOD_TLV_USERAGENT, rule.keyword);
}

void AppendKey(Appender& append, const ByodDhcpOptionRule& rule) {
  append.PresentText(BYOD_TLV_DHCPOPT, rule.text);
}

template <typename Rule>
uint32_t EncodeRule(uint32_t msg, const char* name, const Rule& rule) {
  Appender append(msg);
  append.Number(BYOD_TLV_RULESRC, rule.origin);
  AppendKey(append, rule);
  if (name != nullptr) append.Text(BYOD_TLV_DEVNAME, name);
  return append.status();
}

enum InfoMode : uint32_t { kConfiguredOnly = 1, kMerged = 2 };

template <typename Rule>
uint32_t EncodeAllInfo(uint32_t msg, const Rule& rule, uint32_t mode) {
  Appender append(msg);
  append.Number(BYOD_TLV_RULESRC, rule.origin).Number(BYOD_TLV_RULEWORD, rule.modified);
  AppendKey(append, rule);
  if (mode == kMerged) {
    append.Combine(BYOD_tlv_EncapDevInfoMerged(msg, rule.predefined, rule.configured));
  } else if (mode == kConfiguredOnly) {
    append.Combine(BYOD_tlv_EncapDevInfoOnly(msg, rule.configured));
  }
  return append.status();
}

}  // namespace
}  // namespace byod::tlv

using byod::tlv::Appender;

uint32_t BYOD_tlv_EncapFingerPrint(const ByodFingerPrint* fp, uint32_t kind) {
  byod::tlv::Message msg(TLV_Create());
  if (!msg) return 0;
  Appender append(msg.get());
  append.Number(BYOD_TLV_OPTYPE, BYOD_OP_GET).Number(BYOD_TLV_MSGTYPE, kind);
  if (fp->option_length != 0) {
    // What 16 bits cannot tell is cut first, so a length of 65536 is sent as an empty list.
    const uint32_t length = fp->option_length & 0xFFFF;
    append.Bytes(BYOD_TLV_OPTION55, std::min<uint32_t>(length, BYOD_OPTION55_MAX), fp->options);
  }
  append.PresentText(BYOD_TLV_USERAGENT, fp->user_agent).Address(BYOD_TLV_MAC, fp->mac);
  return append.status() == 0 ? msg.release() : 0;
}

uint32_t BYOD_tlv_EncapMacRule(uint32_t msg, const char* name, const ByodMacRule* rule) {
  return byod::tlv::EncodeRule(msg, name, *rule);
}

uint32_t BYOD_tlv_EncapUserAgentRule(uint32_t msg, const char* name,
                                     const ByodUserAgentRule* rule) {
  return byod::tlv::EncodeRule(msg, name, *rule);
}

uint32_t BYOD_tlv_EncapDhcpOptionRule(uint32_t msg, const char* name,
                                      const ByodDhcpOptionRule* rule) {
  return byod::tlv::EncodeRule(msg, name, *rule);
}

uint32_t BYOD_tlv_EncapMacRuleAllInfo(uint32_t msg, const ByodMacRule* rule, uint32_t mode) {
  return byod::tlv::EncodeAllInfo(msg, *rule, mode);
}

uint32_t BYOD_tlv_EncapUserAgentRuleAllInfo(uint32_t msg, const ByodUserAgentRule* rule,
                                            uint32_t mode) {
  return byod::tlv::EncodeAllInfo(msg, *rule, mode);
}

uint32_t BYOD_tlv_EncapDhcpOptionRuleAllInfo(uint32_t msg, const ByodDhcpOptionRule* rule,
                                             uint32_t mode) {
  return byod::tlv::EncodeAllInfo(msg, *rule, mode);
}

uint32_t BYOD_tlv_EncapDevInfoMerged(uint32_t msg, const ByodDeviceInfo* own,
                                     const ByodDeviceInfo* modified) {
  static constexpr ByodDeviceInfo kNothing = {};
  if (own == nullptr) own = &kNothing;
  if (modified == nullptr) modified = &kNothing;
  const auto first_present = [](const char* a, const char* b) { return a[0] != '\0' ? a : b; };
  return Appender(msg)
      .PresentText(BYOD_TLV_DEVNAME, first_present(modified->name, own->name))
      .PresentText(BYOD_TLV_VENDOR, first_present(modified->vendor, own->vendor))
      .PresentText(BYOD_TLV_DEVTYPE, first_present(modified->category, own->category))
      .PresentText(BYOD_TLV_OS, first_present(modified->os, own->os))
      .status();
}

// Category before vendor, other than in the merged form: kept.
uint32_t BYOD_tlv_EncapDevInfoOnly(uint32_t msg, const ByodDeviceInfo* info) {
  if (info == nullptr) return 0;
  return Appender(msg)
      .PresentText(BYOD_TLV_DEVNAME, info->name)
      .PresentText(BYOD_TLV_DEVTYPE, info->category)
      .PresentText(BYOD_TLV_VENDOR, info->vendor)
      .PresentText(BYOD_TLV_OS, info->os)
      .status();
}

uint32_t BYOD_tlv_EncapDevAttr(uint32_t msg, uint32_t kind, const ByodDeviceInfo* info) {
  const byod::tlv::Attribute* const attribute = byod::tlv::AttributeOf(kind);
  if (info == nullptr || attribute == nullptr) return BYOD_ERR_FAILED;
  const uint32_t result = Appender(msg).Text(attribute->type, info->*attribute->field).status();
  return result == 0 ? 0 : BYOD_ERR_FAILED;
}
