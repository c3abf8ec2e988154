// SPDX-License-Identifier: Apache-2.0
// Device info and single attributes in messages. Each encoder is followed by its decoder.
#include "byod_tlv.h"
#include "lauth_tlv.h"
#include "tlv/append.h"
#include "tlv/attribute.h"
#include "tlv/scan.h"

using byod::tlv::Address;
using byod::tlv::Appender;
using byod::tlv::Field;
using byod::tlv::Number;
using byod::tlv::Scan;
using byod::tlv::Text;

namespace {

uint32_t GetTextAndKind(uint32_t msg, uint16_t text_type, uint32_t cap, char* text,
                        uint32_t* kind) {
  const Field fields[] = {Text(text_type, text, cap), Number(BYOD_TLV_ATTRKIND, kind)};
  return Scan(msg, fields);
}

}  // namespace

// ---- all of it

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

// ---- one attribute

uint32_t BYOD_tlv_EncapDevAttr(uint32_t msg, uint32_t kind, const ByodDeviceInfo* info) {
  const byod::tlv::Attribute* const attribute = byod::tlv::AttributeOf(kind);
  if (info == nullptr || attribute == nullptr) return BYOD_ERR_FAILED;
  const uint32_t result = Appender(msg).Text(attribute->type, info->*attribute->field).status();
  return result == 0 ? 0 : BYOD_ERR_FAILED;
}

// Only the first element of the type is looked at, and none at all is a success.
uint32_t BYOD_tlv_GetDevAttr(uint32_t msg, uint32_t kind, ByodDeviceInfo* info) {
  const byod::tlv::Attribute* const attribute = byod::tlv::AttributeOf(kind);
  if (info == nullptr || attribute == nullptr) return BYOD_ERR_FAILED;
  const uintptr_t element = TLV_GetIteratorByType(msg, attribute->type);
  if (element == 0) return 0;
  return byod::tlv::Store(msg, element, Text(attribute->type, info->*attribute->field));
}

// ---- the attribute that a request names, with the key of its rule

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
