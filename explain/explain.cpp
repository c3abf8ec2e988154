#include "explain/explain.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>

#include "byod_order.h"
#include "data/internal.h"
#include "data/user_agent/first_match.h"
#include "mac.h"
#include "rulefiles/prefix.h"

namespace byod::explain {
namespace {

struct Searched {
  Lookup lookup = Lookup::kNoValue;
  std::string rule;
  uint32_t origin = BYOD_RULE_PREDEFINED;
  const ByodDeviceInfo* predefined = nullptr;
  const ByodDeviceInfo* configured = nullptr;
};

template <typename Rule>
Searched Found(const Rule* rule, std::string key) {
  if (rule == nullptr) return {Lookup::kNoRule, {}, {}, {}, {}};
  return {Lookup::kRuleMatched, std::move(key), rule->origin, rule->predefined, rule->configured};
}

Searched SearchDhcp(const ByodFingerPrint& fingerprint) {
  if (fingerprint.option_length == 0) return {};
  char text[BYOD_RULETEXT_SIZE] = "";
  if (BYOD_data_GetDhcpOption55String(fingerprint.option_length, fingerprint.options, sizeof text,
                                      text) != 0) {
    return {Lookup::kTooLong, {}, {}, {}, {}};
  }
  const ByodDhcpOptionRule* const rule = BYOD_data_FindDhcpOptionRule(text);
  return Found(rule, rule != nullptr ? rule->text : "");
}

/// Tries the rules in turn. The library's own lookup asks an index and comes to the same rule, but
/// what it hands out is that rule's information, not which rule it is.
Searched SearchUserAgent(const ByodFingerPrint& fingerprint) {
  if (fingerprint.user_agent[0] == '\0') return {};
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const ByodUserAgentRule* const rule = data::RuleOfMatchLink(link);
    if (byod_data_UserAgentMatch(fingerprint.user_agent, rule->keyword) == 1) {
      return Found(rule, rule->keyword);
    }
  }
  return {Lookup::kNoRule, {}, {}, {}, {}};
}

Searched SearchMac(const ByodFingerPrint& fingerprint) {
  ByodMacRule probe = {};
  std::memcpy(probe.mac, fingerprint.mac, sizeof probe.mac);
  MAC_BroadcastAddr(probe.mask);
  const ByodMacRule* const rule = BYOD_data_FindMacRule(&probe);
  if (rule == nullptr) return Found(rule, {});
  return Found(rule, rulefiles::BlockText(rule->mac, rule->mask));
}

bool HasNoAddress(const ByodFingerPrint& fingerprint) {
  return std::all_of(std::begin(fingerprint.mac), std::end(fingerprint.mac),
                     [](uint8_t byte) { return byte == 0; });
}

Searched Search(uint32_t method, const ByodFingerPrint& fingerprint) {
  if (method == BYOD_METHOD_DHCP) return SearchDhcp(fingerprint);
  if (method == BYOD_METHOD_USERAGENT) return SearchUserAgent(fingerprint);
  return SearchMac(fingerprint);
}

Step StepOf(uint32_t method, const Searched& searched) {
  Step step;
  step.method = method;
  step.lookup = searched.lookup;
  step.rule = searched.rule;
  step.is_custom = searched.origin == BYOD_RULE_CUSTOM;
  return step;
}

/// What a rule says of a field: configured information goes before predefined.
template <size_t Size>
Field FieldOf(const Searched& searched, char (ByodDeviceInfo::*member)[Size]) {
  Field field;
  if (searched.configured != nullptr && (searched.configured->*member)[0] != '\0') {
    field.value = searched.configured->*member;
    field.source = Source::kConfigured;
  } else if (searched.predefined != nullptr && (searched.predefined->*member)[0] != '\0') {
    field.value = searched.predefined->*member;
    field.source = Source::kPredefined;
  }
  return field;
}

void Use(Field& field, char (&out)[BYOD_ATTR_SIZE]) {
  field.is_used = !field.value.empty() && out[0] == '\0';
  if (!field.is_used) return;
  const size_t length = field.value.copy(out, sizeof out - 1);
  out[length] = '\0';
}

/// The methods of the current order: a slot that names none ends it.
std::vector<uint32_t> MethodsInOrder() {
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  std::vector<uint32_t> methods;
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT) break;
    methods.push_back(slot);
  }
  return methods;
}

/// Adds the steps that take_step makes, until one completes the search or the order ends.
template <typename TakeStep>
std::vector<Step> StepsInOrder(TakeStep take_step) {
  std::vector<Step> steps;
  for (const uint32_t method : MethodsInOrder()) {
    steps.push_back(take_step(method));
    if (steps.back().next == Next::kComplete) return steps;
  }
  if (!steps.empty()) steps.back().next = Next::kExhausted;
  return steps;
}

}  // namespace

AttributeSearch ExplainAttributes(const ByodFingerPrint& fingerprint) {
  AttributeSearch search;
  ByodDeviceAttribute& known = search.attributes;
  search.steps = StepsInOrder([&](uint32_t method) {
    // No address is no fingerprint here, while the search for the name looks it up.
    const bool has_value = method != BYOD_METHOD_MAC || !HasNoAddress(fingerprint);
    const Searched searched = has_value ? Search(method, fingerprint) : Searched{};
    Step step = StepOf(method, searched);
    search.result = BYOD_ERR_FAILED;
    if (searched.lookup == Lookup::kRuleMatched) {
      search.result = 0;
      step.fields = {FieldOf(searched, &ByodDeviceInfo::vendor),
                     FieldOf(searched, &ByodDeviceInfo::category),
                     FieldOf(searched, &ByodDeviceInfo::os)};
      Use(step.fields[kFieldVendor], known.vendor);
      Use(step.fields[kFieldCategory], known.category);
      Use(step.fields[kFieldOs], known.os);
      // Only a method that found a rule can end the search.
      const bool is_complete =
          known.vendor[0] != '\0' && known.category[0] != '\0' && known.os[0] != '\0';
      if (is_complete) step.next = Next::kComplete;
    }
    return step;
  });
  const bool is_known = known.vendor[0] != '\0' || known.category[0] != '\0' || known.os[0] != '\0';
  if (is_known) search.result = 0;
  return search;
}

NameSearch ExplainName(const ByodFingerPrint& fingerprint) {
  NameSearch search;
  search.steps = StepsInOrder([&](uint32_t method) {
    const Searched searched = Search(method, fingerprint);
    Step step = StepOf(method, searched);
    if (searched.lookup == Lookup::kRuleMatched) {
      step.fields = {FieldOf(searched, &ByodDeviceInfo::name)};
      Field& name = step.fields[kFieldName];
      if (!name.value.empty()) {
        name.is_used = true;
        search.name = name.value;
        search.result = 0;
        step.next = Next::kComplete;
      }
    }
    return step;
  });
  return search;
}

Explanation Explain(const ByodFingerPrint& fingerprint) {
  return {ExplainAttributes(fingerprint).steps, ExplainName(fingerprint).steps};
}

}  // namespace byod::explain
