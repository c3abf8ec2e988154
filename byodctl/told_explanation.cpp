#include "byodctl/told_explanation.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "byod_tlv.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

/// A method of the order, before it is known which search it belongs to.
struct ToldStep {
  explain::Step step;  ///< without fields and next
  rulefiles::DeviceText device;
  rulefiles::DeviceText configured;
};

/// As explanations write a rule: an address with its whole mask.
std::string RuleText(const RuleKey& key) {
  if (key.kind != BYOD_METHOD_MAC) return key.text;
  return rulefiles::ToString(key.prefix.Mac()) + '/' + rulefiles::ToString(key.prefix.Mask());
}

ToldStep StepIn(const Fields& fields, const ByodFingerPrint& fingerprint,
                const std::function<rulefiles::DeviceText(const RuleKey&)>& configured) {
  ToldStep told;
  told.step.method = fields.Number(BYOD_EXT_METHOD, BYOD_METHOD_COUNT);
  const uint32_t outcome = fields.Number(BYOD_EXT_OUTCOME, BYOD_OUTCOME_NOT_TRIED);
  if (outcome == BYOD_OUTCOME_NO_RULE) told.step.lookup = explain::Lookup::kNoRule;
  const bool has_options = told.step.method == BYOD_METHOD_DHCP && fingerprint.option_length != 0;
  if (outcome == BYOD_OUTCOME_NO_PART && has_options) {
    told.step.lookup = explain::Lookup::kTooLong;
  }
  if (outcome != BYOD_OUTCOME_MATCHED) return told;
  const Rule rule = RuleIn(told.step.method, fields);
  told.step.lookup = explain::Lookup::kRuleMatched;
  told.step.rule = RuleText(rule.key);
  told.step.is_custom = rule.is_custom;
  told.device = rule.device;
  if (rule.is_custom) told.configured = rule.device;
  if (rule.is_modified) told.configured = configured(rule.key);
  return told;
}

explain::Field FieldOf(const ToldStep& told, std::string rulefiles::DeviceText::* member) {
  explain::Field field;
  field.value = told.device.*member;
  if (field.value.empty()) return field;
  field.source = (told.configured.*member).empty() ? explain::Source::kPredefined
                                                   : explain::Source::kConfigured;
  return field;
}

/// @param members  the fields that are searched for
/// @param values   gets what is found, in their order
std::vector<explain::Step> Search(const std::vector<ToldStep>& steps,
                                  const std::vector<std::string rulefiles::DeviceText::*>& members,
                                  std::vector<std::string>& values) {
  values.assign(members.size(), {});
  std::vector<explain::Step> search;
  for (const ToldStep& told : steps) {
    search.push_back(told.step);
    if (told.step.lookup != explain::Lookup::kRuleMatched) continue;
    for (size_t i = 0; i < members.size(); ++i) {
      explain::Field field = FieldOf(told, members[i]);
      field.is_used = !field.value.empty() && values[i].empty();
      if (field.is_used) values[i] = field.value;
      search.back().fields.push_back(std::move(field));
    }
    if (std::ranges::none_of(values, &std::string::empty)) {
      search.back().next = explain::Next::kComplete;
      return search;
    }
  }
  if (!search.empty()) search.back().next = explain::Next::kExhausted;
  return search;
}

}  // namespace

Explanation ExplanationIn(const Fields& reply, const ByodFingerPrint& fingerprint,
                          const std::function<rulefiles::DeviceText(const RuleKey&)>& configured) {
  using rulefiles::DeviceText;
  std::vector<ToldStep> steps;
  reply.ForEachNested(BYOD_EXT_STEP, [&](const Fields& fields) {
    steps.push_back(StepIn(fields, fingerprint, configured));
  });
  Explanation explanation;
  std::vector<std::string> values;
  explanation.attributes.steps =
      Search(steps, {&DeviceText::vendor, &DeviceText::category, &DeviceText::os}, values);
  explanation.name.steps = Search(steps, {&DeviceText::name}, values);
  explanation.name.name = values.front();
  return explanation;
}

}  // namespace byod::ctl
