// SPDX-License-Identifier: Apache-2.0
// Attacks what clients decode rules with: BYOD_tlv_GetMacRuleAllInfo,
// BYOD_tlv_GetUserAgentRuleAllInfo and BYOD_tlv_GetDhcpOptionRuleAllInfo.
//
// The input is a message without its header. Status and every byte of the outputs must equal those
// of a plain reading; and a rule that was decoded must say the same when it is built, encoded and
// decoded again.
#include <cstring>

#include "byod_cfgmsg.h"
#include "fuzz/compare_decoders.h"

namespace {

using fuzz::Expect;

// The rule as the configured one of a rule, so that mode 1 sends all of it.
void AgainAsUserAgentRule(uint32_t message) {
  uint32_t origin = 0, origin_again = 0;
  uint16_t word = 0, word_again = 0;
  ByodTextRuleShowRec rec, again;
  if (BYOD_tlv_GetUserAgentRuleAllInfo(message, &origin, &word, &rec) != 0) return;
  ByodUserAgentRule* const rule = Byod_BuildUserAgentRule(origin, word, &rec);
  Expect(rule != nullptr, "building");
  const uint32_t encoded = TLV_Create();
  Expect(BYOD_tlv_EncapUserAgentRuleAllInfo(encoded, rule, 1) == 0, "encoding");
  Expect(BYOD_tlv_GetUserAgentRuleAllInfo(encoded, &origin_again, &word_again, &again) == 0,
         "decoding again");
  Expect(origin == origin_again && word == word_again, "numbers");
  Expect(std::strcmp(rec.text, again.text) == 0, "text");
  Expect(std::strcmp(rec.info.name, again.info.name) == 0, "name");
  Expect(std::strcmp(rec.info.vendor, again.info.vendor) == 0, "vendor");
  Expect(std::strcmp(rec.info.category, again.info.category) == 0, "category");
  Expect(std::strcmp(rec.info.os, again.info.os) == 0, "OS");
  TLV_Destroy(encoded);
  BYOD_data_FreeUserAgentRule(rule);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::Input input(data, size);
  if (input.message == 0) return 0;
  fuzz::Compare(input,
                {"GetMacRuleAllInfo", "GetUserAgentRuleAllInfo", "GetDhcpOptionRuleAllInfo"});
  AgainAsUserAgentRule(input.message);
  return 0;
}
