// SPDX-License-Identifier: Apache-2.0
// Rules in messages: their key and name, and with all their device info. Each encoder is followed
// by its decoder; a row per element says where it goes.
#include "byod_tlv.h"
#include "rulekinds/rule_kind.h"
#include "tlv/append.h"
#include "tlv/scan.h"

namespace byod::tlv {
namespace {

using rulekinds::DhcpOptionKind;
using rulekinds::UserAgentKind;

void AppendKey(Appender& append, const ByodMacRule& rule) {
  append.Address(BYOD_TLV_MAC, rule.mac).Address(BYOD_TLV_MACMASK, rule.mask);
}

template <typename Kind>
void AppendText(Appender& append, const typename Kind::Rule& rule) {
  append.PresentText(Kind::kKeyElement, rule.*Kind::kText);
}

void AppendKey(Appender& append, const ByodUserAgentRule& rule) {
  AppendText<UserAgentKind>(append, rule);
}

void AppendKey(Appender& append, const ByodDhcpOptionRule& rule) {
  AppendText<DhcpOptionKind>(append, rule);
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
}  // namespace byod::tlv

using byod::rulekinds::DhcpOptionKind;
using byod::rulekinds::UserAgentKind;
using byod::tlv::Address;
using byod::tlv::Field;
using byod::tlv::Number;
using byod::tlv::Scan;
using byod::tlv::ShortNumber;
using byod::tlv::Text;

// ---- key and name

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
  return byod::tlv::GetTextRule(msg, UserAgentKind::kKeyElement, origin, buf);
}

uint32_t BYOD_tlv_GetDhcpOptionRule(uint32_t msg, uint32_t* origin, char* buf) {
  return byod::tlv::GetTextRule(msg, DhcpOptionKind::kKeyElement, origin, buf);
}

// ---- all info

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
  return byod::tlv::GetTextRuleAllInfo(msg, UserAgentKind::kKeyElement, origin, word, rec);
}

uint32_t BYOD_tlv_GetDhcpOptionRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                           ByodTextRuleShowRec* rec) {
  return byod::tlv::GetTextRuleAllInfo(msg, DhcpOptionKind::kKeyElement, origin, word, rec);
}
