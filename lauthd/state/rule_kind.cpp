// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/rule_kind.h"

#include "mac.h"
#include "net/mac_address.h"
#include "net/prefix.h"

namespace byod::lauthd {

std::string Quoted(const char* text) {
  std::string quoted(1, '"');
  return quoted.append(text).append(1, '"');
}

// The library's own successor knows only rules that are there; a client may page on from one that
// has been deleted in the meantime.
MacKind::Rule* MacKind::NextOf(const Key& key) {
  const bool first = net::LoadMac(key.mac) == 0 && net::LoadMac(key.mask) == 0;
  if (first || BYOD_data_FindMacRule(&key) != nullptr) return BYOD_FindRuleFromMacAvlNext(&key);
  Rule* rule = First();
  while (rule != nullptr && byod_data_MacRuleCompare(rule, &key) <= 0)
    rule = Next(rule);
  return rule;
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
  return net::BlockText(key.mac, key.mask);
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
