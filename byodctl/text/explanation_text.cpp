// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/explanation_text.h"

#include <array>
#include <cstddef>
#include <span>

#include "byodctl/text/display_text.h"
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

std::string LookupText(const Step& step) {
  switch (step.lookup) {
    case Lookup::kNoValue:
      return "not in the fingerprint";
    case Lookup::kTooLong:
      return "the option list is longer than any rule";
    case Lookup::kNoRule:
      return "no rule matches";
    case Lookup::kRuleMatched:
      break;
  }
  return std::string{step.is_custom ? "custom" : "predefined"} + " rule \"" +
         Printable(RuleOf(step)) + "\"";
}

std::string FieldText(const Field& field) {
  if (field.source == Source::kNone) return "- (not in the rule)";
  return Printable(field.value) + " (" +
         (field.source == Source::kConfigured ? "configured" : "predefined") +
         (field.is_used ? ")" : ", already known)");
}

/// Why the search continued or stopped, given the open fields.
std::string NextText(Next next, const std::string& open) {
  switch (next) {
    case Next::kComplete:
      return "all known: the search stops";
    case Next::kContinue:
      return open + " open: next method";
    case Next::kExhausted:
      break;
  }
  return open + " open, no method left: the search stops";
}

std::string Search(const char* title, const std::vector<Step>& steps,
                   std::span<const char* const> names) {
  std::string text = std::string{"  "} + title + ":\n";
  if (steps.empty()) text += "    the order has no method\n";
  std::array<bool, explain::kFieldCount> is_known = {};
  int number = 0;
  for (const Step& step : steps) {
    text += "    " + std::to_string(++number) + ". " + kMethodNames[step.method] + ": " +
            LookupText(step) + "\n";
    for (size_t i = 0; i < step.fields.size(); ++i) {
      is_known[i] = is_known[i] || step.fields[i].is_used;
      text += std::string{"         "} + names[i] + ": " + FieldText(step.fields[i]) + "\n";
    }
    std::string open;
    for (size_t i = 0; i < names.size(); ++i) {
      if (!is_known[i]) open += (open.empty() ? "" : ", ") + std::string{names[i]};
    }
    // All may be known when an order names a method twice and the last one finds no rule.
    if (open.empty()) open = "nothing";
    text += "       " + NextText(step.next, open) + "\n";
  }
  return text;
}

}  // namespace

std::string ExplanationText(const explain::Explanation& explanation) {
  return Search("vendor, category and os", explanation.attributes, kAttributeNames) +
         Search("name", explanation.name, kNameNames);
}

}  // namespace byod::ctl
