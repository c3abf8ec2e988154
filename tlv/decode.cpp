// Terminals, rules and device information out of messages. A row per element says where it goes.
#include <cstring>

#include "byod_tlv.h"
#include "lauth_tlv.h"
#include "tlv/attribute.h"
#include "tlv/scan.h"

using byod::tlv::Address;
using byod::tlv::Field;
using byod::tlv::Number;
using byod::tlv::OptionList;
using byod::tlv::Scan;
using byod::tlv::ShortNumber;
using byod::tlv::Text;

namespace {

/// Origin, text and, behind the text's 256 bytes, the device name.
uint32_t GetTextRule(uint32_t msg, uint16_t text_type, uint32_t* origin, char* buf) {
  if (origin == nullptr || buf == nullptr) return BYOD_ERR_FAILED;
  const Field fields[] = {
      Number(BYOD_TLV_RULESRC, origin),
      Text(text_type, buf, BYOD_RULETEXT_SIZE),
      Text(BYOD_TLV_DEVNAME, buf + BYOD_RULETEXT_SIZE, BYOD_DEVNAME_SIZE),
  };
  return Scan(msg, fields);
}

uint32_t GetTextAndKind(uint32_t msg, uint16_t text_type, uint32_t cap, char* text,
                        uint32_t* kind) {
  const Field fields[] = {Text(text_type, text, cap), Number(BYOD_TLV_ATTRKIND, kind)};
  return Scan(msg, fields);
}

uint32_t GetTextRuleAllInfo(uint32_t msg, uint16_t text_type, uint32_t* origin, uint16_t* word,
                            ByodTextRuleShowRec* rec) {
  if (origin == nullptr || rec == nullptr) return BYOD_ERR_FAILED;
  *rec = {};
  const Field fields[] = {
      Number(BYOD_TLV_RULESRC, origin),
      ShortNumber(BYOD_TLV_RULEWORD, word),
      Text(text_type, rec->text),
      Text(BYOD_TLV_DEVNAME, rec->info.name),
      Text(BYOD_TLV_VENDOR, rec->info.vendor),
      Text(BYOD_TLV_DEVTYPE, rec->info.category),
      Text(BYOD_TLV_OS, rec->info.os),
  };
  return Scan(msg, fields);
}

}  // namespace

uint32_t BYOD_tlv_GetFingerPrint(uint32_t msg, ByodFingerPrint* fp) {
  const Field fields[] = {
      OptionList(BYOD_TLV_OPTION55, fp),
      Text(BYOD_TLV_USERAGENT, fp->user_agent),
      Address(BYOD_TLV_MAC, fp->mac),
  };
  return Scan(msg, fields);
}

uint32_t BYOD_tlv_GetMacAddrAndMask(uint32_t msg, ByodMacRule* rule) {
  if (rule == nullptr) return BYOD_ERR_FAILED;
  const Field fields[] = {Address(BYOD_TLV_MAC, rule->mac), Address(BYOD_TLV_MACMASK, rule->mask)};
  return Scan(msg, fields);
}

uint32_t BYOD_tlv_GetMacRule(uint32_t msg, uint32_t* origin, ByodMacRuleShowRec* rec,
                             ByodMacRule* rule) {
  if (origin == nullptr || rec == nullptr || rule == nullptr) return BYOD_ERR_FAILED;
  const Field fields[] = {
      Number(BYOD_TLV_RULESRC, origin),
      Address(BYOD_TLV_MAC, rule->mac),
      Address(BYOD_TLV_MACMASK, rec->mask),
      Text(BYOD_TLV_DEVNAME, rec->info.name),
  };
  return Scan(msg, fields);
}

uint32_t BYOD_tlv_GetUserAgentRule(uint32_t msg, uint32_t* origin, char* buf) {
  return GetTextRule(msg, BYOD_TLV_USERAGENT, origin, buf);
}

uint32_t BYOD_tlv_GetDhcpOptionRule(uint32_t msg, uint32_t* origin, char* buf) {
  return GetTextRule(msg, BYOD_TLV_DHCPOPT, origin, buf);
}

uint32_t BYOD_tlv_GetAgentDeviceAttr(uint32_t msg, uint32_t cap, char* text, uint32_t* kind) {
  return GetTextAndKind(msg, BYOD_TLV_USERAGENT, cap, text, kind);
}

uint32_t BYOD_tlv_GetDhcpDeviceAttr(uint32_t msg, uint32_t cap, char* text, uint32_t* kind) {
  return GetTextAndKind(msg, BYOD_TLV_DHCPOPT, cap, text, kind);
}

uint32_t BYOD_tlv_GetMacDevicetAttr(uint32_t msg, uint32_t* kind, ByodDeviceInfo* info,
                                    ByodMacRule* rule) {
  if (kind == nullptr || info == nullptr || rule == nullptr) return BYOD_ERR_FAILED;
  const Field fields[] = {
      Address(BYOD_TLV_MAC, rule->mac),    Address(BYOD_TLV_MACMASK, rule->mask),
      Text(BYOD_TLV_VENDOR, info->vendor), Text(BYOD_TLV_DEVTYPE, info->category),
      Text(BYOD_TLV_OS, info->os),         Number(BYOD_TLV_ATTRKIND, kind),
  };
  return Scan(msg, fields);
}

uint32_t BYOD_tlv_GetDevAttri(uint32_t msg, char* attrs) {
  if (attrs == nullptr) return BYOD_ERR_FAILED;
  auto* const attribute = reinterpret_cast<ByodDeviceAttribute*>(attrs);
  const Field fields[] = {
      Text(BYOD_TLV_VENDOR, attribute->vendor),
      Text(BYOD_TLV_DEVTYPE, attribute->category),
      Text(BYOD_TLV_OS, attribute->os),
  };
  return Scan(msg, fields);
}

// Only the first element of the type is looked at, and none at all is a success.
uint32_t BYOD_tlv_GetDevAttr(uint32_t msg, uint32_t kind, ByodDeviceInfo* info) {
  const byod::tlv::Attribute* const attribute = byod::tlv::AttributeOf(kind);
  if (info == nullptr || attribute == nullptr) return BYOD_ERR_FAILED;
  const uintptr_t element = TLV_GetIteratorByType(msg, attribute->type);
  if (element == 0) return 0;
  return byod::tlv::Store(msg, element, Text(attribute->type, info->*attribute->field));
}

uint32_t BYOD_tlv_GetMacRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                    ByodMacRuleShowRec* rec, ByodMacRule* rule) {
  if (origin == nullptr || rule == nullptr) return BYOD_ERR_FAILED;
  *rec = {};
  *rule = {};
  const Field fields[] = {
      Number(BYOD_TLV_RULESRC, origin),           ShortNumber(BYOD_TLV_RULEWORD, word),
      Address(BYOD_TLV_MAC, rule->mac),           Address(BYOD_TLV_MACMASK, rec->mask),
      Text(BYOD_TLV_DEVNAME, rec->info.name),     Text(BYOD_TLV_VENDOR, rec->info.vendor),
      Text(BYOD_TLV_DEVTYPE, rec->info.category), Text(BYOD_TLV_OS, rec->info.os),
  };
  return Scan(msg, fields);
}

uint32_t BYOD_tlv_GetUserAgentRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                          ByodTextRuleShowRec* rec) {
  return GetTextRuleAllInfo(msg, BYOD_TLV_USERAGENT, origin, word, rec);
}

uint32_t BYOD_tlv_GetDhcpOptionRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                           ByodTextRuleShowRec* rec) {
  return GetTextRuleAllInfo(msg, BYOD_TLV_DHCPOPT, origin, word, rec);
}
