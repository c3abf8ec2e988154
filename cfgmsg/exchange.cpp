// SPDX-License-Identifier: Apache-2.0
// One request and its reply, and the rules in replies.
#include <cstring>
#include <optional>

#include "cfgmsg/connection.h"
#include "cfgmsg/rule_kind.h"
#include "data/bounded_copy.h"

namespace byod::cfgmsg {
namespace {

template <typename Kind>
typename Kind::Rule* SendAndGetRule(uint32_t request) {
  const tlv::Message reply(Byod_SendAndGetReply(request));
  if (!reply || ReadCode(reply.get()) != 0) return nullptr;
  typename Kind::Decoded decoded;
  const bool is_decoded = Kind::Decode(reply.get(), decoded) == 0;
  typename Kind::Rule* const rule = is_decoded ? Kind::Build(decoded) : nullptr;
  errno = rule != nullptr ? 0 : is_decoded ? ENOMEM : kBadAnswer;
  return rule;
}

/// @return what is decoded from the message nested in an element, if there is one and it is a rule
template <typename Kind>
std::optional<typename Kind::Decoded> DecodeNested(uint32_t reply, uintptr_t element) {
  typename Kind::Decoded decoded;
  const tlv::Message nested(BYOD_tlv_GetSubTlv(reply, element));
  if (!nested || Kind::Decode(nested.get(), decoded) != 0) return std::nullopt;
  return decoded;
}

template <typename Kind>
void WalkReply(uint32_t reply, ByodRuleCallback callback) {
  for (uintptr_t element = TLV_GetFirst(reply); element != 0;
       element = TLV_GetNext(reply, element)) {
    const auto decoded = DecodeNested<Kind>(reply, element);
    if (!decoded) continue;
    if (const BuiltRule<Kind> rule{Kind::Build(*decoded)}) callback(rule.get());
  }
}

/// A rule with its information, but without a key. @return none without memory
template <typename Kind>
BuiltRule<Kind> NewRule(uint32_t origin, uint16_t word, const ByodDeviceInfo& info) {
  BuiltRule<Kind> rule(Kind::Alloc());
  if (!rule) return nullptr;
  rule->configured = BYOD_data_CreateDeviceInfo(info.name, info.vendor, info.category, info.os);
  if (rule->configured == nullptr) return nullptr;
  rule->origin = origin;
  rule->modified = word;
  return rule;
}

}  // namespace
}  // namespace byod::cfgmsg

using byod::cfgmsg::DhcpOptionKind;
using byod::cfgmsg::MacKind;
using byod::cfgmsg::UserAgentKind;

uint32_t Byod_SendAndGetReply(uint32_t request) {
  const byod::cfgmsg::Connection connection;
  if (!connection) return 0;
  byod::tlv::Message reply;
  if (byod::cfgmsg::Send(connection.get(), request)) {
    reply = byod::cfgmsg::Receive(connection.get());
  }
  errno = reply ? 0 : byod::cfgmsg::kNoAnswer;
  return reply.release();
}

uint32_t Byod_SendAndGetResult(uint32_t request) {
  const byod::tlv::Message reply(Byod_SendAndGetReply(request));
  return reply ? byod::cfgmsg::ReadCode(reply.get()) : uint32_t{BYOD_ERR_FAILED};
}

ByodMacRule* Byod_SendAndGetMacRule(uint32_t request) {
  return byod::cfgmsg::SendAndGetRule<MacKind>(request);
}

ByodUserAgentRule* Byod_SendAndGetUserAgentRule(uint32_t request) {
  return byod::cfgmsg::SendAndGetRule<UserAgentKind>(request);
}

ByodDhcpOptionRule* Byod_SendAndGetDhcpOptionRule(uint32_t request) {
  return byod::cfgmsg::SendAndGetRule<DhcpOptionKind>(request);
}

ByodMacRule* Byod_BuildMacRule(uint32_t origin, uint16_t word, const ByodMacRuleShowRec* rec,
                               const ByodMacRule* key) {
  auto rule = byod::cfgmsg::NewRule<MacKind>(origin, word, rec->info);
  if (!rule) return nullptr;
  std::memcpy(rule->mac, key->mac, sizeof rule->mac);
  std::memcpy(rule->mask, rec->mask, sizeof rule->mask);
  return rule.release();
}

ByodUserAgentRule* Byod_BuildUserAgentRule(uint32_t origin, uint16_t word,
                                           const ByodTextRuleShowRec* rec) {
  auto rule = byod::cfgmsg::NewRule<UserAgentKind>(origin, word, rec->info);
  if (!rule) return nullptr;
  byod::CopyText(rule->keyword, rec->text);
  return rule.release();
}

ByodDhcpOptionRule* Byod_BuildDhcpOptionRule(uint32_t origin, uint16_t word,
                                             const ByodTextRuleShowRec* rec) {
  auto rule = byod::cfgmsg::NewRule<DhcpOptionKind>(origin, word, rec->info);
  if (!rule) return nullptr;
  byod::CopyText(rule->text, rec->text);
  return rule.release();
}

void Byod_WalkMacRuleReply(uint32_t reply, ByodRuleCallback callback) {
  byod::cfgmsg::WalkReply<MacKind>(reply, callback);
}

void Byod_WalkUserAgentRuleReply(uint32_t reply, ByodRuleCallback callback) {
  byod::cfgmsg::WalkReply<UserAgentKind>(reply, callback);
}

void Byod_WalkDhcpOptionRuleReply(uint32_t reply, ByodRuleCallback callback) {
  byod::cfgmsg::WalkReply<DhcpOptionKind>(reply, callback);
}
