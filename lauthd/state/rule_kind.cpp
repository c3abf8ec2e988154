// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/rule_kind.h"

#include <algorithm>

#include "mac.h"
#include "net/mac_address.h"
#include "net/prefix.h"

namespace byod::lauthd {

namespace {

/// @return a copy whose address has only the bits that the mask keeps
ByodMacRule Masked(const ByodMacRule& rule) {
  ByodMacRule masked = rule;
  for (size_t i = 0; i < sizeof masked.mac; ++i)
    masked.mac[i] &= masked.mask[i];
  return masked;
}

}  // namespace

std::string Quoted(const char* text) {
  std::string quoted(1, '"');
  return quoted.append(text).append(1, '"');
}

MacKind::Rule* MacKind::FindOrNew(const Key& key, uint16_t* created, uint32_t* err) {
  *created = 0;
  *err = 0;
  if (Rule* const found = Find(key)) return found;
  Rule* const rule = Rules().Add(key, *err);
  *created = rule != nullptr;
  if (rule != nullptr) Configured().Update(*rule);
  return rule;
}

MacKind::Rule* MacKind::NextConfigured(const Key& key) {
  const auto* const configured = CompleteIndex<MacKind>();
  if (configured == nullptr) return WalkToConfigured<MacKind>(NextOf(key));
  const net::Prefix* const found = configured->FirstBehind(MacRuleSet::PlaceOfKey(key));
  if (found == nullptr) return nullptr;
  Rule block = {};
  std::ranges::copy(found->Mac(), block.mac);
  std::ranges::copy(found->Mask(), block.mask);
  return Find(block);
}

bool MacKind::SameBlock(const Key& a, const Key& b) {
  return std::memcmp(a.mask, b.mask, sizeof a.mask) == 0 &&
         byod_data_MacRuleCompareExact(&a, &b) == 0;
}

std::string MacKind::WhyNot(const Key& key) {
  const auto block = BlockOf(key);
  if (block && !Rules().HasRoomFor(*block)) {
    return "the rules within the blocks of others have reached their limit";
  }
  const Rule* const other = BYOD_data_FindMacRule(&key);
  if (other != nullptr && (!block || !BlockOf(*other))) {
    return "overlaps the rule " + Describe(KeyOf(*other));
  }
  return "the custom rules have reached their limit";
}

MacKind::Key MacKind::KeyOfRecord(const Record& record) {
  Key key = {};
  char text[BYOD_MACTEXT_SIZE];
  CopyText(text, record.mac_text);
  MacStringtoMacaddr(text, key.mac);
  std::memcpy(key.mask, record.mask, sizeof key.mask);
  return key;
}

std::string MacKind::Describe(const Key& key) {
  const Rule block = Masked(key);
  return net::BlockText(block.mac, block.mask);
}

uint32_t MacKind::Encode(uint32_t msg, const Rule* rule, uint32_t mode) {
  const Rule block = Masked(*rule);
  return BYOD_tlv_EncapMacRuleAllInfo(msg, &block, mode);
}

uint32_t MacKind::DecodeName(uint32_t msg, char (&name)[BYOD_DEVNAME_SIZE]) {
  uint32_t origin = 0;
  Rule rule = {};
  Record record = {};
  const uint32_t status = BYOD_tlv_GetMacRule(msg, &origin, &record, &rule);
  CopyText(name, record.info.name);
  return status;
}

MacKind::Record MacKind::RecordOf(const Rule& rule) {
  Record record = {};
  net::WriteMac<net::kStored>(record.mac_text, rule.mac);
  std::memcpy(record.mask, rule.mask, sizeof record.mask);
  FillRecord(rule, record);
  return record;
}

}  // namespace byod::lauthd
