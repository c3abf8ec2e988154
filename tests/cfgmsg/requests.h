// SPDX-License-Identifier: Apache-2.0
// Every request of the client, with sample arguments and the elements that it sends.
#ifndef BYOD_TESTS_CFGMSG_REQUESTS_H
#define BYOD_TESTS_CFGMSG_REQUESTS_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "byod_cfgmsg.h"
#include "support/message.h"

namespace requests {

using support::Bytes;
using support::Element;
using support::Number;
using support::Text;
using Elements = std::vector<Element>;

/// How a request answers to what goes wrong.
enum class Family { kSet, kOrder, kCount, kRule, kListing, kFingerPrint };

struct Request {
  const char* name;
  Family family;
  /// The result, or 0 and BYOD_ERR_FAILED for a rule and none. The connection is for
  /// fingerprint queries.
  std::function<uint32_t(int connection)> call;
  Elements elements;
  /// The status of a failed append is not the container's own.
  bool last_append_fails_plainly = false;
};

inline void PrintTo(const Request& request, std::ostream* out) {
  *out << request.name;
}

constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
constexpr uint8_t kMask[6] = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00};

struct FreeRule {
  void operator()(ByodMacRule* rule) const { BYOD_data_FreeMacRule(rule); }
  void operator()(ByodUserAgentRule* rule) const { BYOD_data_FreeUserAgentRule(rule); }
  void operator()(ByodDhcpOptionRule* rule) const { BYOD_data_FreeDhcpOptionRule(rule); }
};
template <typename Rule>
using Owned = std::unique_ptr<Rule, FreeRule>;

/// What the last request gave besides its code.
struct Outcome {
  int callbacks = 0;
  uint32_t count = 0xA5A5A5A5u;
  ByodOrder order = {{7, 8, 9}};
  char text[64] = "untouched";
  ByodDeviceAttribute attribute = {};
};
inline Outcome outcome;

template <typename Rule>
uint32_t Got(Rule* rule) {
  return Owned<Rule>(rule) != nullptr ? 0u : 0x40010001u;
}

inline uint32_t CountCallback(const void*) {
  ++outcome.callbacks;
  return 0x40010001u;  // is ignored
}

inline ByodMacRule MacRule() {
  ByodMacRule rule = {};
  rule.origin = 1;
  rule.modified = 1;
  std::memcpy(rule.mac, kMac, 6);
  std::memcpy(rule.mask, kMask, 6);
  return rule;
}

inline ByodUserAgentRule UserAgentRule() {
  ByodUserAgentRule rule = {};
  rule.origin = 1;
  std::strcpy(rule.keyword, "iPhone");
  return rule;
}

inline ByodDhcpOptionRule DhcpOptionRule() {
  ByodDhcpOptionRule rule = {};
  rule.origin = 0;
  std::strcpy(rule.text, "1,3,6");
  return rule;
}

inline ByodFingerPrint FingerPrint() {
  ByodFingerPrint fp = {};
  fp.option_length = 3;
  std::memcpy(fp.options, "\x01\x03\x06", 3);
  std::strcpy(fp.user_agent, "Mozilla/5.0");
  std::memcpy(fp.mac, kMac, 6);
  return fp;
}

inline ByodDeviceInfo Info() {
  return {"Name", "ACME", "printer", "RTOS"};
}

inline const std::vector<Request>& All() {
  static const ByodMacRule mac_rule = MacRule();
  static const ByodUserAgentRule agent_rule = UserAgentRule();
  static const ByodDhcpOptionRule option_rule = DhcpOptionRule();
  static const ByodFingerPrint fp = FingerPrint();
  static const ByodDeviceInfo info = Info();
  static const ByodOrder order = {{2, 0, 1}};
  const Element mac = Bytes(6, kMac), mask = Bytes(7, kMask);
  const auto op = [](uint32_t operation, uint32_t kind) {
    return Elements{Number(1, operation), Number(2, kind)};
  };
  const auto with = [](Elements head, const Elements& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
  };
  const Elements terminal = {Bytes(14, "\x01\x03\x06"), Text(5, "Mozilla/5.0"), mac};
  using enum Family;
  static const std::vector<Request> all = {
      {"SetDhcpOptionRule", kSet,
       [](int) { return BYOD_cfgmsg_SetDhcpOptionRule(1, "Printer", &option_rule); },
       with(op(1, 0), {Number(3, 0), Text(4, "1,3,6"), Text(8, "Printer")})},
      {"SetUserAgentRule", kSet,
       [](int) { return BYOD_cfgmsg_SetUserAgentRule(1, "Phone", &agent_rule); },
       with(op(1, 1), {Number(3, 1), Text(5, "iPhone"), Text(8, "Phone")})},
      {"SetMacRule", kSet, [](int) { return BYOD_cfgmsg_SetMacRule(1, "Printer", &mac_rule); },
       with(op(1, 2), {Number(3, 1), mac, mask, Text(8, "Printer")})},
      {"UndoMacRule", kSet, [](int) { return BYOD_cfgmsg_SetMacRule(0, nullptr, &mac_rule); },
       with(op(0, 2), {Number(3, 1), mac, mask})},
      {"GetDhcpOptionRule",
       kRule,
       [](int) { return Got(BYOD_cfgmsg_GetDhcpOptionRule("1,3,6", 2, 1)); },
       {Number(1, 2), Number(20, 1), Number(2, 0), Text(4, "1,3,6")}},
      {"GetUserAgentRule",
       kRule,
       [](int) { return Got(BYOD_cfgmsg_GetUserAgentRule("iPhone", 2, 1, 2)); },
       {Number(1, 2), Number(20, 1), Number(22, 2), Number(2, 1), Text(5, "iPhone")}},
      {"GetMacRule",
       kRule,
       [](int) { return Got(BYOD_cfgmsg_GetMacRule(kMac, 2, 1)); },
       {Number(1, 2), Number(20, 1), Number(2, 2), mac}},
      {"GetMacRuleNetconf",
       kRule,
       [](int) { return Got(BYOD_cfgmsg_GetMacRuleNetconf(kMac, kMask, 2, 2, 1, 2)); },
       {Number(1, 2), Number(2, 2), Number(20, 1), Number(22, 2), mac, mask}},
      {"GetDeviceType", kFingerPrint,
       [](int c) { return BYOD_cfgmsg_GetDeviceType(c, &fp, sizeof outcome.text, outcome.text); },
       with(op(2, 3), terminal)},
      {"GetDhcpOptionRulesCount", kCount,
       [](int) { return BYOD_cfgmsg_GetRulesCountByType(0, &outcome.count); }, op(2, 4)},
      {"GetUserAgentRulesCount", kCount,
       [](int) { return BYOD_cfgmsg_GetRulesCountByType(1, &outcome.count); }, op(2, 5)},
      {"GetMacRulesCount", kCount,
       [](int) { return BYOD_cfgmsg_GetRulesCountByType(2, &outcome.count); }, op(2, 6)},
      {"GetAndShowDhcpOptionRules", kListing,
       [](int) { return BYOD_cfgmsg_GetAndShowDhcpOtionRules(CountCallback); }, op(2, 7)},
      {"GetAndShowUserAgentRules", kListing,
       [](int) { return BYOD_cfgmsg_GetAndShowUserAgentRules(CountCallback); }, op(2, 8)},
      {"GetAndShowMacRules", kListing,
       [](int) { return BYOD_cfgmsg_GetAndShowMacRules(CountCallback); }, op(2, 9)},
      {"GetOrder", kOrder, [](int) { return BYOD_cfgmsg_GetOrder(&outcome.order); }, op(2, 11)},
      {"SetOrder", kSet, [](int) { return BYOD_cfgmsg_SetOrder(1, &order); },
       with(op(1, 11), {Number(15, 2), Number(15, 0), Number(15, 1)})},
      {"GetDeviceVendor", kFingerPrint,
       [](int c) { return BYOD_cfgmsg_GetDeviceVendor(c, &fp, sizeof outcome.text, outcome.text); },
       with(op(2, 12), terminal)},
      {"GetDeviceAttribute", kFingerPrint,
       [](int c) { return BYOD_cfgmsg_GetDeviceAttribute(c, &fp, &outcome.attribute); },
       with(op(2, 13), terminal)},
      {"SetDhcpOptValue", kSet, [](int) { return BYOD_cfgmsg_SetDhcpOptValue(1, "1,3,6"); },
       with(op(1, 14), {Text(4, "1,3,6")})},
      {"SetUAValue", kSet, [](int) { return BYOD_cfgmsg_SetUAValue(1, "iPhone"); },
       with(op(1, 15), {Text(5, "iPhone")})},
      {"SetMacValue", kSet, [](int) { return BYOD_cfgmsg_SetMacValue(1, kMac, kMask); },
       with(op(1, 16), {mac, mask})},
      {"SetDhcpOptDevAttr", kSet,
       [](int) { return BYOD_cfgmsg_SetDhcpOptDevAttr(1, "1,3,6", &info, 1); },
       with(op(1, 17), {Number(19, 1), Text(4, "1,3,6"), Text(16, "ACME")}), true},
      {"SetUADevAttr", kSet, [](int) { return BYOD_cfgmsg_SetUADevAttr(1, "iPhone", &info, 2); },
       with(op(1, 18), {Number(19, 2), Text(5, "iPhone"), Text(18, "printer")}), true},
      {"SetMacDevAttr", kSet,
       [](int) { return BYOD_cfgmsg_SetMacDevAttr(1, kMac, kMask, &info, 3); },
       with(op(1, 19), {Number(19, 3), mac, mask, Text(17, "RTOS")}), true},
  };
  return all;
}

/// Carries a request out, a fingerprint query on a separate connection.
inline uint32_t CarryOut(const Request& request) {
  outcome = {};
  if (request.family != Family::kFingerPrint) return request.call(-1);
  const int connection = BYOD_Init();
  const uint32_t result = request.call(connection);
  BYOD_Fini(connection);
  return result;
}

/// What the daemon answers when all is well.
inline Elements GoodReply(const Request& request) {
  switch (request.family) {
    case Family::kSet:
    case Family::kListing:
      return {Number(12, 0)};
    case Family::kOrder:
      return {Number(12, 0), Number(15, 2), Number(15, 0), Number(15, 1)};
    case Family::kCount:
      return {Number(13, 42)};
    case Family::kRule:
      return {Number(12, 0),    Number(3, 1),        Number(21, 1),     Bytes(6, kMac),
              Bytes(7, kMask),  Text(4, "1,3,6"),    Text(5, "iPhone"), Text(8, "Name"),
              Text(16, "ACME"), Text(18, "printer"), Text(17, "RTOS")};
    case Family::kFingerPrint:
      return {Number(12, 0), Text(8, "Name"), Text(16, "ACME"), Text(18, "printer"),
              Text(17, "RTOS")};
  }
  return {};
}

}  // namespace requests

#endif  // BYOD_TESTS_CFGMSG_REQUESTS_H
