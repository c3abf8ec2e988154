// SPDX-License-Identifier: Apache-2.0
// message_forms write FOLDER writes one message of each kind, in the memory form, into a file of
// its own; message_forms read FOLDER reads them and names those whose contents differ from what was
// put in. One machine's program reads what another's wrote.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "byod_tlv.h"
#include "lauth_tlv.h"

namespace {

constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
constexpr uint8_t kMask[6] = {0xFF, 0xFF, 0xFF, 0xF0, 0x00, 0x00};
constexpr uint32_t kOrigin = 0x80000001u;
constexpr uint16_t kWord = 0x0102;
constexpr uint16_t kNestedType = 0x4321;

ByodDeviceInfo Info() {
  ByodDeviceInfo info = {};
  std::strcpy(info.name, "Desk phone");
  std::strcpy(info.vendor, "Example");
  std::strcpy(info.category, "Phone");
  std::strcpy(info.os, "Embedded");
  return info;
}

bool HoldsInfo(const ByodDeviceInfo& info) {
  const ByodDeviceInfo wanted = Info();
  return std::memcmp(&info, &wanted, sizeof info) == 0;
}

template <typename Rule>
Rule RuleOf(ByodDeviceInfo& info) {
  Rule rule = {};
  rule.origin = kOrigin;
  rule.modified = kWord;
  rule.configured = &info;
  return rule;
}

uint32_t MakeNumbers() {
  const uint32_t order[3] = {2, 0, 1};
  const uint32_t msg = TLV_Create();
  TLV_Append_UINT(msg, BYOD_TLV_COUNT, 0x01020304u);
  BYOD_tlv_EncapOrder(msg, order);
  BYOD_tlv_EncapErrCode(msg, 0x40010003u);
  return msg;
}

bool ReadNumbers(uint32_t msg) {
  uint32_t count = 0;
  uint32_t order[3] = {9, 9, 9};
  return BYOD_tlv_GetUINTValueByType(msg, BYOD_TLV_COUNT, &count) == 0 && count == 0x01020304u &&
         BYOD_tlv_GetOrder(msg, order) == 0 && order[0] == 2 && order[1] == 0 && order[2] == 1 &&
         BYOD_tlv_GetErrorCode(msg) == 0x40010003u;
}

uint32_t MakeFingerPrint() {
  ByodFingerPrint fp = {};
  fp.option_length = 4;
  std::memcpy(fp.options, "\x01\x79\x03\xFC", 4);
  std::strcpy(fp.user_agent, "Mozilla/5.0 (Linux; Android 9)");
  std::memcpy(fp.mac, kMac, sizeof kMac);
  return BYOD_tlv_EncapFingerPrint(&fp, BYOD_MSG_DEVATTR_BY_FP);
}

bool ReadFingerPrint(uint32_t msg) {
  ByodFingerPrint fp = {};
  uint32_t operation = 0;
  return BYOD_tlv_GetFingerPrint(msg, &fp) == 0 && fp.option_length == 4 &&
         std::memcmp(fp.options, "\x01\x79\x03\xFC", 4) == 0 &&
         std::strcmp(fp.user_agent, "Mozilla/5.0 (Linux; Android 9)") == 0 &&
         std::memcmp(fp.mac, kMac, sizeof kMac) == 0 && BYOD_tlv_GetOpType(msg, &operation) == 0 &&
         operation == BYOD_OP_GET;
}

uint32_t MakeMacRule() {
  ByodDeviceInfo info = Info();
  auto rule = RuleOf<ByodMacRule>(info);
  std::memcpy(rule.mac, kMac, sizeof kMac);
  std::memcpy(rule.mask, kMask, sizeof kMask);
  const uint32_t msg = TLV_Create();
  BYOD_tlv_EncapMacRuleAllInfo(msg, &rule, 1);
  return msg;
}

bool ReadMacRule(uint32_t msg) {
  uint32_t origin = 0;
  uint16_t word = 0;
  ByodMacRuleShowRec rec = {};
  ByodMacRule rule = {};
  return BYOD_tlv_GetMacRuleAllInfo(msg, &origin, &word, &rec, &rule) == 0 && origin == kOrigin &&
         word == kWord && std::memcmp(rule.mac, kMac, sizeof kMac) == 0 &&
         std::memcmp(rec.mask, kMask, sizeof kMask) == 0 && HoldsInfo(rec.info);
}

uint32_t MakeUserAgentRule() {
  ByodDeviceInfo info = Info();
  auto rule = RuleOf<ByodUserAgentRule>(info);
  std::strcpy(rule.keyword, "iPhone&&Mobile||iPad");
  const uint32_t msg = TLV_Create();
  BYOD_tlv_EncapUserAgentRuleAllInfo(msg, &rule, 1);
  return msg;
}

bool ReadUserAgentRule(uint32_t msg) {
  uint32_t origin = 0;
  uint16_t word = 0;
  ByodTextRuleShowRec rec = {};
  return BYOD_tlv_GetUserAgentRuleAllInfo(msg, &origin, &word, &rec) == 0 && origin == kOrigin &&
         word == kWord && std::strcmp(rec.text, "iPhone&&Mobile||iPad") == 0 && HoldsInfo(rec.info);
}

/// A DHCP option rule, in a message inside another.
uint32_t MakeNested() {
  ByodDeviceInfo info = Info();
  auto rule = RuleOf<ByodDhcpOptionRule>(info);
  std::strcpy(rule.text, "1,121,3,6,15");
  const uint32_t inner = TLV_Create();
  BYOD_tlv_EncapDhcpOptionRuleAllInfo(inner, &rule, 1);
  const uint32_t msg = TLV_Create();
  BYOD_tlv_PutSubTlv(msg, kNestedType, inner);
  TLV_Destroy(inner);
  return msg;
}

bool ReadNested(uint32_t msg) {
  const uint32_t inner = BYOD_tlv_GetSubTlv(msg, TLV_GetIteratorByType(msg, kNestedType));
  uint32_t origin = 0;
  uint16_t word = 0;
  ByodTextRuleShowRec rec = {};
  const bool read = BYOD_tlv_GetDhcpOptionRuleAllInfo(inner, &origin, &word, &rec) == 0;
  TLV_Destroy(inner);
  return read && origin == kOrigin && word == kWord && std::strcmp(rec.text, "1,121,3,6,15") == 0 &&
         HoldsInfo(rec.info);
}

const struct {
  const char* name;
  uint32_t (*make)();          // @return a message, the caller's
  bool (*read)(uint32_t msg);  // @return whether it holds what was put in
} kForms[] = {
    {"numbers", MakeNumbers, ReadNumbers},
    {"fingerprint", MakeFingerPrint, ReadFingerPrint},
    {"mac-rule", MakeMacRule, ReadMacRule},
    {"user-agent-rule", MakeUserAgentRule, ReadUserAgentRule},
    {"nested", MakeNested, ReadNested},
};

bool Write(const std::filesystem::path& file, uint32_t msg) {
  std::string bytes(TLV_GetMsgLen(msg, TLV_MODE_MEMORY), '\0');
  const uint32_t written = TLV_Flush(msg, TLV_MODE_MEMORY, static_cast<uint32_t>(bytes.size()),
                                     reinterpret_cast<uintptr_t>(bytes.data()));
  if (written == 0 || written != bytes.size()) return false;
  std::ofstream out(file, std::ios::binary);
  return static_cast<bool>(out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())));
}

/// @return the message, the caller's; 0 when there is none
uint32_t Read(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(in), {});
  return TLV_CreateReceiveMsg(TLV_MODE_MEMORY, reinterpret_cast<uintptr_t>(bytes.data()),
                              static_cast<uint32_t>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc == 3 ? argv[1] : "";
  if (what != "write" && what != "read") {
    std::fprintf(stderr, "message_forms write|read FOLDER\n");
    return 2;
  }
  int failures = 0;
  for (const auto& form : kForms) {
    const std::filesystem::path file = std::filesystem::path(argv[2]) / form.name;
    const uint32_t msg = what == "write" ? form.make() : Read(file);
    if (!(what == "write" ? Write(file, msg) : form.read(msg))) {
      std::fprintf(stderr, "%s: cannot %s\n", form.name, what.c_str());
      ++failures;
    }
    TLV_Destroy(msg);
  }
  return failures == 0 ? 0 : 1;
}
