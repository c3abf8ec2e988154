// SPDX-License-Identifier: Apache-2.0
// Every decoder of messages as data: its elements, where each goes, and how to call it.
#ifndef TESTS_SUPPORT_DECODERS_H
#define TESTS_SUPPORT_DECODERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "byod_data.h"
#include "byod_tlv.h"

namespace support {

/// All that decoders write to, side by side, so that a stray byte shows.
struct Records {
  uint32_t origin;
  uint16_t word;
  uint32_t kind;
  ByodFingerPrint fp;
  ByodMacRule rule;
  ByodMacRuleShowRec mac_rec;
  ByodTextRuleShowRec text_rec;
  char rule_and_name[384];
  char text[256];
  ByodDeviceInfo info;
  char attributes[192];
  char behind[64];

  /// Fills every byte, so that unwritten bytes can be recognised.
  explicit Records(int fill = 0xA5) { std::memset(static_cast<void*>(this), fill, sizeof *this); }
  Records(const Records& other) { *this = other; }
  Records& operator=(const Records& other) {
    std::memcpy(static_cast<void*>(this), static_cast<const void*>(&other), sizeof *this);
    return *this;
  }
  bool operator==(const Records& other) const {
    return std::memcmp(static_cast<const void*>(this), static_cast<const void*>(&other),
                       sizeof *this) == 0;
  }
  char* at(size_t offset) { return reinterpret_cast<char*>(this) + offset; }
  const char* at(size_t offset) const { return reinterpret_cast<const char*>(this) + offset; }
};

enum class Kind { kText, kAddress, kNumber, kWord, kOption55 };

/// Where an element of a type goes.
struct Destination {
  uint16_t type;
  Kind kind;
  size_t offset;  // in Records
  size_t size;    // of the field, or the bytes that are accepted
};

struct Decoder {
  const char* name;
  uint32_t (*decode)(uint32_t msg, Records& out);
  std::vector<Destination> takes;
  /// Cleared before the first element is looked at: offset and size.
  std::vector<std::pair<size_t, size_t>> clears;
  /// Reads only the first element of its type.
  bool first_only = false;
};

/// The capacity that the decoders with one of the caller's are given.
constexpr size_t kCallersCapacity = 40;

inline const std::vector<Decoder>& AllDecoders() {
#define AT(member) offsetof(Records, member)
  constexpr size_t kMacInfo = AT(mac_rec) + 21, kTextInfo = AT(text_rec) + 256;
  const auto info = [](size_t at) {
    return std::vector<Destination>{{8, Kind::kText, at, 128},
                                    {16, Kind::kText, at + 128, 64},
                                    {18, Kind::kText, at + 192, 64},
                                    {17, Kind::kText, at + 256, 64}};
  };
  const auto with_info = [&](std::vector<Destination> takes, size_t at) {
    for (const Destination& one : info(at))
      takes.push_back(one);
    return takes;
  };
  static const std::vector<Decoder> decoders = {
      {"GetFingerPrint",
       [](uint32_t msg, Records& r) { return BYOD_tlv_GetFingerPrint(msg, &r.fp); },
       {{14, Kind::kOption55, AT(fp), 255},
        {5, Kind::kText, AT(fp) + 259, 256},
        {6, Kind::kAddress, AT(fp) + 515, 6}},
       {}},
      {"GetMacAddrAndMask",
       [](uint32_t msg, Records& r) { return BYOD_tlv_GetMacAddrAndMask(msg, &r.rule); },
       {{6, Kind::kAddress, AT(rule.mac), 6}, {7, Kind::kAddress, AT(rule.mask), 6}},
       {}},
      {"GetMacRule",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetMacRule(msg, &r.origin, &r.mac_rec, &r.rule);
       },
       {{3, Kind::kNumber, AT(origin), 4},
        {6, Kind::kAddress, AT(rule.mac), 6},
        {7, Kind::kAddress, AT(mac_rec) + 15, 6},
        {8, Kind::kText, kMacInfo, 128}},
       {}},
      {"GetUserAgentRule",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetUserAgentRule(msg, &r.origin, r.rule_and_name);
       },
       {{3, Kind::kNumber, AT(origin), 4},
        {5, Kind::kText, AT(rule_and_name), 256},
        {8, Kind::kText, AT(rule_and_name) + 256, 128}},
       {}},
      {"GetDhcpOptionRule",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetDhcpOptionRule(msg, &r.origin, r.rule_and_name);
       },
       {{3, Kind::kNumber, AT(origin), 4},
        {4, Kind::kText, AT(rule_and_name), 256},
        {8, Kind::kText, AT(rule_and_name) + 256, 128}},
       {}},
      {"GetAgentDeviceAttr",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetAgentDeviceAttr(msg, kCallersCapacity, r.text, &r.kind);
       },
       {{5, Kind::kText, AT(text), kCallersCapacity}, {19, Kind::kNumber, AT(kind), 4}},
       {}},
      {"GetDhcpDeviceAttr",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetDhcpDeviceAttr(msg, kCallersCapacity, r.text, &r.kind);
       },
       {{4, Kind::kText, AT(text), kCallersCapacity}, {19, Kind::kNumber, AT(kind), 4}},
       {}},
      {"GetMacDevicetAttr",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetMacDevicetAttr(msg, &r.kind, &r.info, &r.rule);
       },
       {{6, Kind::kAddress, AT(rule.mac), 6},
        {7, Kind::kAddress, AT(rule.mask), 6},
        {16, Kind::kText, AT(info) + 128, 64},
        {18, Kind::kText, AT(info) + 192, 64},
        {17, Kind::kText, AT(info) + 256, 64},
        {19, Kind::kNumber, AT(kind), 4}},
       {}},
      {"GetDevAttri",
       [](uint32_t msg, Records& r) { return BYOD_tlv_GetDevAttri(msg, r.attributes); },
       {{16, Kind::kText, AT(attributes), 64},
        {18, Kind::kText, AT(attributes) + 64, 64},
        {17, Kind::kText, AT(attributes) + 128, 64}},
       {}},
      {"GetDevAttr of a vendor",
       [](uint32_t msg, Records& r) { return BYOD_tlv_GetDevAttr(msg, 1, &r.info); },
       {{16, Kind::kText, AT(info) + 128, 64}},
       {},
       true},
      {"GetDevAttr of a category",
       [](uint32_t msg, Records& r) { return BYOD_tlv_GetDevAttr(msg, 2, &r.info); },
       {{18, Kind::kText, AT(info) + 192, 64}},
       {},
       true},
      {"GetDevAttr of an OS",
       [](uint32_t msg, Records& r) { return BYOD_tlv_GetDevAttr(msg, 3, &r.info); },
       {{17, Kind::kText, AT(info) + 256, 64}},
       {},
       true},
      {"GetMacRuleAllInfo",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetMacRuleAllInfo(msg, &r.origin, &r.word, &r.mac_rec, &r.rule);
       },
       with_info({{3, Kind::kNumber, AT(origin), 4},
                  {21, Kind::kWord, AT(word), 2},
                  {6, Kind::kAddress, AT(rule.mac), 6},
                  {7, Kind::kAddress, AT(mac_rec) + 15, 6}},
                 kMacInfo),
       {{AT(mac_rec), 341}, {AT(rule), sizeof(ByodMacRule)}}},
      {"GetUserAgentRuleAllInfo",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetUserAgentRuleAllInfo(msg, &r.origin, &r.word, &r.text_rec);
       },
       with_info({{3, Kind::kNumber, AT(origin), 4},
                  {21, Kind::kWord, AT(word), 2},
                  {5, Kind::kText, AT(text_rec), 256}},
                 kTextInfo),
       {{AT(text_rec), 576}}},
      {"GetDhcpOptionRuleAllInfo",
       [](uint32_t msg, Records& r) {
         return BYOD_tlv_GetDhcpOptionRuleAllInfo(msg, &r.origin, &r.word, &r.text_rec);
       },
       with_info({{3, Kind::kNumber, AT(origin), 4},
                  {21, Kind::kWord, AT(word), 2},
                  {4, Kind::kText, AT(text_rec), 256}},
                 kTextInfo),
       {{AT(text_rec), 576}}},
  };
#undef AT
  return decoders;
}

}  // namespace support

#endif  // TESTS_SUPPORT_DECODERS_H
