// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/rule.h"

#include <bit>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "byod_tlv.h"
#include "byodctl/rules/user_agent_band.h"
#include "byodctl/text/method_names.h"
#include "byodctl/text/word_list.h"
#include "data/fold_case.h"
#include "protocol/extensions.h"
#include "rulefiles/text.h"
#include "tlv/attribute.h"

namespace byod::ctl {
namespace {

using rulekinds::kByMethod;

constexpr unsigned kWholeAddress = 48;

void AppendKey(Request& request, const RuleKey& key, bool with_mask = true) {
  if (key.kind == BYOD_METHOD_MAC) {
    const auto mac = key.prefix.Mac();
    const auto mask = key.prefix.Mask();
    request.Bytes(kByMethod[key.kind].key_element, mac.data(), mac.size());
    if (with_mask) request.Bytes(BYOD_TLV_MACMASK, mask.data(), mask.size());
  } else {
    request.Text(kByMethod[key.kind].key_element, key.StoredText());
  }
}

rulefiles::DeviceText DeviceOf(const ByodDeviceInfo& info) {
  return {info.name, info.vendor, info.category, info.os};
}

net::Prefix PrefixOf(const uint8_t* mac, const uint8_t* mask) {
  return net::MakePrefix(net::LoadMac(mac),
                         static_cast<unsigned>(std::popcount(net::LoadMac(mask))));
}

/// A list of options is stored without blanks, but often written with some after commas.
std::string WithoutBlanks(std::string_view list) {
  std::string compact;
  for (;;) {
    const size_t comma = list.find(',');
    compact += rulefiles::Trimmed(list.substr(0, comma));
    if (comma == std::string_view::npos) return compact;
    compact += ',';
    list.remove_prefix(comma + 1);
  }
}

struct WrittenBlock {
  std::string address;  ///< with its number of bits, if it has one
  std::string mask;
};

/// "ADDRESS/MASK", where the mask is written as an address.
WrittenBlock SplitMask(const std::string& text) {
  const size_t slash = text.find('/');
  const std::string mask = slash == std::string::npos ? "" : text.substr(slash + 1);
  const bool is_address = mask.find_first_of(":.-") != std::string::npos || mask.size() == 12;
  return is_address ? WrittenBlock{text.substr(0, slash), mask} : WrittenBlock{text, ""};
}

Rule MacRuleIn(const Fields& fields) {
  uint32_t origin = 0;
  uint16_t modified = 0;
  ByodMacRuleShowRec record = {};
  ByodMacRule rule = {};
  BYOD_tlv_GetMacRuleAllInfo(fields.handle(), &origin, &modified, &record, &rule);
  return {{BYOD_METHOD_MAC, PrefixOf(rule.mac, record.mask), {}},
          origin == BYOD_RULE_CUSTOM,
          modified != 0,
          DeviceOf(record.info),
          {},
          fields.Number(BYOD_EXT_HOLES)};
}

Rule TextRuleIn(uint32_t kind, const Fields& fields) {
  uint32_t origin = 0;
  uint16_t modified = 0;
  ByodTextRuleShowRec record = {};
  if (kind == BYOD_METHOD_DHCP) {
    BYOD_tlv_GetDhcpOptionRuleAllInfo(fields.handle(), &origin, &modified, &record);
  } else {
    BYOD_tlv_GetUserAgentRuleAllInfo(fields.handle(), &origin, &modified, &record);
  }
  const bool is_custom = origin == BYOD_RULE_CUSTOM;
  Rule rule = {{kind, {}, record.text}, is_custom, modified != 0, DeviceOf(record.info)};
  if (kind == BYOD_METHOD_USERAGENT) {
    rule.key = UserAgentKey(record.text, is_custom);
    if (is_custom) rule.priority = PriorityOf(record.text);
  }
  return rule;
}

/// Whether the daemon means a rule by a key.
bool IsNamedBy(const RuleKey& rule, const RuleKey& key) {
  if (rule.kind == BYOD_METHOD_USERAGENT) {
    return EqualWithoutCase(rule.StoredText().c_str(), key.StoredText().c_str());
  }
  return IdentityOf(rule) == IdentityOf(key);
}

std::optional<Rule> FindIdleRule(Client& client, const RuleKey& key) {
  std::optional<Rule> idle;
  ListIdleRules(client, key.kind, [&](const Rule& rule) {
    if (IsNamedBy(rule.key, key)) idle = rule;
  });
  return idle;
}

}  // namespace

uint32_t RuleKindOf(const std::string& name) {
  if (const auto kind = MethodOf(name)) return *kind;
  Words names;
  for (const uint32_t kind : kRuleKindsInOrder)
    names.emplace_back(kRuleKindNames[kind]);
  throw Failure(kExitBadInput, "unknown kind of rule \"" + name + '"' + NearestOrAll(name, names));
}

std::string ToString(const RuleKey& key) {
  return key.kind == BYOD_METHOD_MAC ? net::ToString(key.prefix) : key.text;
}

std::string IdentityOf(const RuleKey& key) {
  std::string identity = std::string{kRuleKindNames[key.kind]} + ' ';
  if (key.kind == BYOD_METHOD_USERAGENT) return identity + key.text;
  for (const char c : ToString(key))
    identity += static_cast<char>(FoldCase(c));
  return identity;
}

Rule ReadRule(uint32_t kind, const std::string& text, const rulefiles::DeviceText& device) {
  Rule rule = {{kind, {}, {}}, false, false, device};
  std::string fault;
  if (kind == BYOD_METHOD_MAC) {
    rulefiles::MacRule made;
    const WrittenBlock block = SplitMask(text);
    fault = rulefiles::MakeMacRule(block.address, block.mask, device, made);
    rule.key.prefix = made.prefix;
  } else {
    rulefiles::TextRule made;
    fault = kind == BYOD_METHOD_DHCP
                ? rulefiles::MakeDhcpOptionRule(WithoutBlanks(text), device, made)
                : rulefiles::MakeUserAgentRule(text, device, made);
    rule.key.text = std::move(made.text);
  }
  if (!fault.empty()) throw Failure(kExitBadInput, fault);
  return rule;
}

Request AskForRule(const RuleKey& key, Which which, Detail detail) {
  Request request(BYOD_OP_GET, kByMethod[key.kind].messages.rule);
  request.Number(BYOD_TLV_QUERYARG, static_cast<uint32_t>(which));
  request.Number(BYOD_TLV_QUERYARG2, static_cast<uint32_t>(detail));
  // An address without a mask asks for the rule that covers it.
  AppendKey(request, key, which != Which::kThis || key.prefix.bits != kWholeAddress);
  return request;
}

Rule RuleIn(uint32_t kind, const Fields& fields) {
  return kind == BYOD_METHOD_MAC ? MacRuleIn(fields) : TextRuleIn(kind, fields);
}

void ListRules(Client& client, uint32_t kind, bool configured_only, Detail detail,
               const std::function<void(const Rule&)>& take) {
  Request request(BYOD_OP_GET, kByMethod[kind].messages.list);
  request.Number(BYOD_TLV_QUERYARG,
                 static_cast<uint32_t>(configured_only ? Which::kNextConfigured : Which::kThis));
  request.Number(BYOD_TLV_QUERYARG2, static_cast<uint32_t>(detail));
  client.Series(request, [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_RULE, [&](const Fields& rule) { take(RuleIn(kind, rule)); });
  });
}

void ListIdleRules(Client& client, uint32_t kind, const std::function<void(const Rule&)>& take) {
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_IDLE_RULES), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_RULE, [&](const Fields& fields) {
      if (fields.Number(BYOD_EXT_METHOD) != kind) return;
      Rule rule = RuleIn(kind, fields);
      rule.why_idle = fields.Text(BYOD_EXT_REASON);
      take(rule);
    });
  });
}

RuleKey UserAgentKey(const std::string& stored, bool is_custom) {
  return {BYOD_METHOD_USERAGENT, {}, is_custom ? PlainText(stored) : stored, stored};
}

Rule FindRule(Client& client, const RuleKey& key) {
  try {
    const Rule rule =
        RuleIn(key.kind, Fields(client.Ask(AskForRule(key, Which::kThis, Detail::kAll))));
    if (key.kind != BYOD_METHOD_MAC || rule.key.prefix == key.prefix) return rule;
    // The rule that covers an address hides one for this very address that is not in effect.
    return FindIdleRule(client, key).value_or(rule);
  } catch (const Refusal& refusal) {
    if (refusal.status() != kExitUnknown) throw;
    const std::optional<Rule> idle = FindIdleRule(client, key);
    if (!idle) throw;
    return *idle;
  }
}

Request ChangeRule(uint32_t operation, const RuleKey& key) {
  Request request(operation, kByMethod[key.kind].messages.value);
  AppendKey(request, key);
  return request;
}

Request ChangeField(uint32_t operation, const RuleKey& key, const DeviceField& field,
                    const std::string& value) {
  if (field.attribute == 0) {
    Request request(operation, kByMethod[key.kind].messages.rule);
    AppendKey(request, key);
    request.Text(BYOD_TLV_DEVNAME, value);
    return request;
  }
  Request request(operation, kByMethod[key.kind].messages.attribute);
  request.Number(BYOD_TLV_ATTRKIND, field.attribute);
  AppendKey(request, key);
  request.Text(tlv::AttributeOf(field.attribute)->type, value);
  return request;
}

}  // namespace byod::ctl
