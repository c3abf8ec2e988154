// SPDX-License-Identifier: Apache-2.0
#include "explain/explain.h"

#include <utility>

#include "net/prefix.h"

namespace byod::explain {
namespace {

/// How people name a rule that matched.
std::string RuleText(const Match& match) {
  if (match.block != nullptr) return net::BlockText(match.block->mac, match.block->mask);
  return match.text != nullptr ? match.text : "";
}

Step StepOf(uint32_t method, const Match& match) {
  Step step;
  step.method = method;
  step.lookup = match.lookup;
  step.rule = RuleText(match);
  step.is_custom = match.origin == BYOD_RULE_CUSTOM;
  return step;
}

/// What a rule says of a field: configured information goes before predefined.
template <size_t Size>
Field FieldOf(const Match& match, char (ByodDeviceInfo::*member)[Size]) {
  Field field;
  if (match.configured != nullptr && (match.configured->*member)[0] != '\0') {
    field.value = match.configured->*member;
    field.source = Source::kConfigured;
  } else if (match.predefined != nullptr && (match.predefined->*member)[0] != '\0') {
    field.value = match.predefined->*member;
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

/// Adds the steps that take_step makes, until one completes the search or the order ends.
template <typename TakeStep>
std::vector<Step> StepsInOrder(const RuleSearch& rules, TakeStep take_step) {
  std::vector<Step> steps;
  for (const uint32_t method : rules.methods()) {
    steps.push_back(take_step(method));
    if (steps.back().next == Next::kComplete) return steps;
  }
  if (!steps.empty()) steps.back().next = Next::kExhausted;
  return steps;
}

AttributeSearch ExplainAttributes(RuleSearch& rules) {
  AttributeSearch search;
  ByodDeviceAttribute& known = search.attributes;
  search.steps = StepsInOrder(rules, [&](uint32_t method) {
    // No address is no fingerprint here, while the search for the name looks it up.
    const bool has_value = method != BYOD_METHOD_MAC || rules.HasAddress();
    const Match match = has_value ? rules.Of(method) : Match();
    Step step = StepOf(method, match);
    search.result = BYOD_ERR_FAILED;
    if (match.lookup == Lookup::kRuleMatched) {
      search.result = 0;
      step.fields = {FieldOf(match, &ByodDeviceInfo::vendor),
                     FieldOf(match, &ByodDeviceInfo::category),
                     FieldOf(match, &ByodDeviceInfo::os)};
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

NameSearch ExplainName(RuleSearch& rules) {
  NameSearch search;
  search.steps = StepsInOrder(rules, [&](uint32_t method) {
    const Match& match = rules.Of(method);
    Step step = StepOf(method, match);
    if (match.lookup == Lookup::kRuleMatched) {
      step.fields = {FieldOf(match, &ByodDeviceInfo::name)};
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

}  // namespace

AttributeSearch ExplainAttributes(const ByodFingerPrint& fingerprint) {
  RuleSearch rules(fingerprint);
  return ExplainAttributes(rules);
}

NameSearch ExplainName(const ByodFingerPrint& fingerprint) {
  RuleSearch rules(fingerprint);
  return ExplainName(rules);
}

Explanation Explain(RuleSearch& rules) {
  return {ExplainAttributes(rules).steps, ExplainName(rules).steps};
}

Explanation Explain(const ByodFingerPrint& fingerprint) {
  RuleSearch rules(fingerprint);
  return Explain(rules);
}

}  // namespace byod::explain
