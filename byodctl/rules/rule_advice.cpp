// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/rule_advice.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "byod_tlv.h"
#include "byodctl/identification/daemon_identifier.h"
#include "byodctl/text/fingerprint_text.h"
#include "byodctl/text/method_names.h"
#include "byodctl/text/rule_of_step.h"
#include "explain/explanation_message.h"
#include "lint/remarks.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

using explain::Lookup;
using explain::Step;
using lint::Terms;
using rulefiles::Quoted;

FingerprintText ExampleOf(uint32_t kind, const std::string& example) {
  FingerprintText text;
  std::string FingerprintText::* const kParts[] = {
      &FingerprintText::options, &FingerprintText::user_agent, &FingerprintText::mac};
  text.*kParts[kind] = example;
  return text;
}

class Advisor {
 public:
  Advisor(Client& client, const Rule& rule) : client_(client), rule_(rule) {}

  std::vector<std::string> Advise(const std::string& example) {
    if (!rule_.why_idle.empty()) {
      Add("is not in effect: " + rule_.why_idle);
      return std::move(warnings_);
    }
    if (rule_.key.kind == BYOD_METHOD_MAC) Add(lint::RemarkOnBlock(rule_.key.prefix));
    if (rule_.key.kind == BYOD_METHOD_DHCP) Add(lint::RemarkOnOptions(rule_.key.text));
    if (rule_.key.kind == BYOD_METHOD_USERAGENT) AdviseOnExpression(example.empty());
    AdviseOnDevice();
    if (!example.empty()) AdviseOnExample(example);
    return std::move(warnings_);
  }

 private:
  void Add(const std::string& reason) {
    warnings_.push_back("the rule " + Quoted(ToString(rule_.key)) + ' ' + reason);
  }

  /// @return whether there was a warning
  bool Add(const std::optional<lint::Remark>& remark) {
    if (remark)
      Add(remark->check == std::string{"impossible"} ? "never wins: " + remark->reason
                                                     : remark->reason);
    return remark.has_value();
  }

  void AdviseOnDevice() {
    if (Add(lint::RemarkOnDevice(rule_.device))) return;
    std::string open;
    for (const DeviceField& field : kDeviceFields) {
      if (!(rule_.device.*field.member).empty()) continue;
      open += (open.empty() ? "" : ", ") + std::string{field.name};
    }
    if (!open.empty()) Add("leaves " + open + " open, for the methods after it");
  }

  void AdviseOnExpression(bool is_without_example) {
    const std::vector<Terms> alternatives = lint::AlternativesOf(rule_.key.text);
    if (Add(lint::RemarkOnMatchingEverything(alternatives))) return;
    Add(lint::RemarkOnSeparators(rule_.key.text, alternatives));
    if (is_without_example && !StepFor("any")) {
      return AddThatItIsNotTried();
    }
    for (const Terms& terms : alternatives) {
      if (!Add(lint::RemarkOnTerms(terms)) && is_without_example) AdviseOnAlternative(terms);
    }
  }

  void AddThatItIsNotTried() {
    Add("is not tried: the order leaves " + std::string{kMethodNames[rule_.key.kind]} + " out");
  }

  /// Which rule wins on a User-Agent of only the terms of an alternative.
  void AdviseOnAlternative(const Terms& terms) {
    std::string text;
    for (const std::string_view term : terms)
      text.append(text.empty() ? "" : " ").append(term);
    const auto step = StepFor(text);
    if (!step || step->lookup != Lookup::kRuleMatched || IsOurs(*step)) return;
    const std::vector<Terms> others = lint::AlternativesOf(step->rule);
    const bool is_covered = std::ranges::any_of(
        others, [&](const Terms& other) { return lint::Implies(terms, other); });
    Add((is_covered ? "never wins on " : "does not win on ") + Quoted(lint::ToString(terms)) +
        ": " + WinnerOf(*step) + " is tried before it");
  }

  void AdviseOnExample(const std::string& example) {
    const auto step = StepFor(example);
    if (!step) return AddThatItIsNotTried();
    if (step->lookup != Lookup::kRuleMatched) {
      return Add("does not match the example " + Quoted(example) + ", and no other rule does");
    }
    if (!IsOurs(*step)) {
      Add("does not win on the example " + Quoted(example) + ": " + WinnerOf(*step) + " does");
    }
  }

  /// Names the rule of a step, and the tie if byte order decides between two custom rules.
  std::string WinnerOf(const Step& step) const {
    const bool is_tie = rule_.key.kind == BYOD_METHOD_USERAGENT && rule_.is_custom &&
                        step.is_custom && step.rule.size() == rule_.key.StoredText().size();
    return "the rule " + Quoted(RuleOf(step)) +
           (is_tie ? ", of the same length and first in byte order," : "");
  }

  bool IsOurs(const Step& step) const {
    return rule_.key.kind == BYOD_METHOD_MAC ? step.rule == ToString(rule_.key)
                                             : step.rule == rule_.key.StoredText();
  }

  std::optional<Step> StepFor(const std::string& value) {
    return ctl::StepFor(client_, rule_.key.kind, value);
  }

  Client& client_;
  const Rule& rule_;
  std::vector<std::string> warnings_;
};

}  // namespace

void CheckExample(uint32_t kind, const std::string& example) {
  const ParsedFingerprint parsed = ParseFingerprint(ExampleOf(kind, example));
  if (!parsed.error.empty()) throw Failure(kExitBadInput, "--example: " + parsed.error);
}

std::optional<Step> StepFor(Client& client, uint32_t kind, const std::string& value) {
  const ParsedFingerprint parsed = ParseFingerprint(ExampleOf(kind, value));
  const tlv::Message reply =
      client.Exchange(FingerprintRequest(BYOD_EXT_MSG_EXPLAIN, parsed.fingerprint));
  for (const Step& step : explain::ReadExplanation(reply.get()).attributes) {
    if (step.method == kind) return step;
  }
  return std::nullopt;
}

std::vector<std::string> AdviceOn(Client& client, const Rule& rule, const std::string& example) {
  return Advisor(client, rule).Advise(example);
}

}  // namespace byod::ctl
