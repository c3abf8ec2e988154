// SPDX-License-Identifier: Apache-2.0
// Attacks Byod_WalkMacRuleReply, Byod_WalkUserAgentRuleReply and Byod_WalkDhcpOptionRuleReply.
//
// The input is a reply without its header. The rules that are handed out must be those of a plain
// reading, in order.
#include <cstring>
#include <utility>

#include "byod_cfgmsg.h"
#include "fuzz/compare_decoders.h"

namespace {

using fuzz::Expect;
using support::Records;

std::vector<std::string> seen;

void Note(uint32_t origin, uint16_t word, const std::string& key, const ByodDeviceInfo& info) {
  seen.push_back(std::to_string(origin) + "/" + std::to_string(word) + "/" + key + "/" + info.name +
                 "/" + info.vendor + "/" + info.category + "/" + info.os);
}

uint32_t NoteMac(const void* record) {
  const auto& rule = *static_cast<const ByodMacRule*>(record);
  Note(rule.origin, rule.modified, std::string(reinterpret_cast<const char*>(rule.mac), 12),
       *rule.configured);
  return 0;
}

uint32_t NoteUserAgent(const void* record) {
  const auto& rule = *static_cast<const ByodUserAgentRule*>(record);
  Note(rule.origin, rule.modified, rule.keyword, *rule.configured);
  return 0;
}

uint32_t NoteDhcpOption(const void* record) {
  const auto& rule = *static_cast<const ByodDhcpOptionRule*>(record);
  Note(rule.origin, rule.modified, rule.text, *rule.configured);
  return 0;
}

// What a walk with a decoder is to hand out.
std::vector<std::string> Expected(const fuzz::Input& input, const char* decoder_name) {
  seen.clear();
  for (const support::Decoder& decoder : support::AllDecoders()) {
    if (std::strcmp(decoder.name, decoder_name) != 0) continue;
    for (const support::PlainElement& element : input.elements) {
      std::vector<support::PlainElement> inner;
      Records rule(0);
      if (!support::PlainParse(element.bytes, inner)) continue;
      if (support::PlainDecode(decoder, inner, rule) != 0) continue;
      if (std::strcmp(decoder_name, "GetMacRuleAllInfo") == 0) {
        std::string key(reinterpret_cast<const char*>(rule.rule.mac), 6);
        key.append(reinterpret_cast<const char*>(rule.mac_rec.mask), 6);
        Note(rule.origin, rule.word, key, rule.mac_rec.info);
      } else {
        Note(rule.origin, rule.word, rule.text_rec.text, rule.text_rec.info);
      }
    }
  }
  return std::exchange(seen, {});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::Input input(data, size);
  if (input.message == 0) return 0;
  std::vector<std::string> expected = Expected(input, "GetMacRuleAllInfo");
  Byod_WalkMacRuleReply(input.message, NoteMac);
  Expect(seen == expected, "MAC rules");
  expected = Expected(input, "GetUserAgentRuleAllInfo");
  Byod_WalkUserAgentRuleReply(input.message, NoteUserAgent);
  Expect(seen == expected, "User-Agent rules");
  expected = Expected(input, "GetDhcpOptionRuleAllInfo");
  Byod_WalkDhcpOptionRuleReply(input.message, NoteDhcpOption);
  Expect(seen == expected, "DHCP option rules");
  return 0;
}
