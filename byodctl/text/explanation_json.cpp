// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/explanation_json.h"

#include <span>
#include <vector>

#include "byodctl/text/method_names.h"
#include "byodctl/text/rule_of_step.h"

namespace byod::ctl {
namespace {

using explain::Field;
using explain::Lookup;
using explain::Next;
using explain::Source;
using explain::Step;

constexpr const char* kAttributeNames[] = {"vendor", "category", "os"};
constexpr const char* kNameNames[] = {"name"};

const char* NameOf(Lookup lookup) {
  switch (lookup) {
    case Lookup::kNoValue:
      return "no-value";
    case Lookup::kTooLong:
      return "too-long";
    case Lookup::kNoRule:
      return "no-rule";
    case Lookup::kRuleMatched:
      break;
  }
  return "rule";
}

const char* NameOf(Next next) {
  if (next == Next::kContinue) return "continue";
  return next == Next::kComplete ? "complete" : "exhausted";
}

Json SourceOf(const Field& field) {
  if (field.source == Source::kNone) return {};
  return field.source == Source::kConfigured ? "configured" : "predefined";
}

Json StepJson(const Step& step, std::span<const char* const> names) {
  const bool has_rule = step.lookup == Lookup::kRuleMatched;
  Json fields = Json::EmptyObject();
  for (size_t i = 0; i < step.fields.size(); ++i) {
    const Field& field = step.fields[i];
    fields.Set(names[i],
               {{"value", field.value}, {"source", SourceOf(field)}, {"used", field.is_used}});
  }
  return {{"method", kMethodNames[step.method]},
          {"lookup", NameOf(step.lookup)},
          {"rule", has_rule ? Json(RuleOf(step)) : Json()},
          {"origin", has_rule ? Json(step.is_custom ? "custom" : "predefined") : Json()},
          {"fields", fields},
          {"next", NameOf(step.next)}};
}

Json StepsJson(const std::vector<Step>& steps, std::span<const char* const> names) {
  Json array = Json::EmptyArray();
  for (const Step& step : steps)
    array.Append(StepJson(step, names));
  return array;
}

}  // namespace

Json ExplanationJson(const explain::Explanation& explanation) {
  return {{"attributes", StepsJson(explanation.attributes, kAttributeNames)},
          {"name", StepsJson(explanation.name, kNameNames)}};
}

}  // namespace byod::ctl
