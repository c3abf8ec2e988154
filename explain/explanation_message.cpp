// SPDX-License-Identifier: Apache-2.0
#include "explain/explanation_message.h"

#include <iterator>
#include <span>

#include "protocol/extensions.h"
#include "tlv/message.h"

namespace byod::explain {
namespace {

/// A field of a step: the element with its text, and its bit.
struct FieldElement {
  uint16_t text;
  uint32_t bit;
};

// By kField*.
constexpr FieldElement kAttributeElements[] = {{BYOD_TLV_VENDOR, BYOD_FIELD_VENDOR},
                                               {BYOD_TLV_DEVTYPE, BYOD_FIELD_CATEGORY},
                                               {BYOD_TLV_OS, BYOD_FIELD_OS}};
constexpr FieldElement kNameElements[] = {{BYOD_TLV_DEVNAME, BYOD_FIELD_NAME}};

// By Lookup and Next.
constexpr uint32_t kOutcomes[] = {BYOD_OUTCOME_NO_PART, BYOD_OUTCOME_TOO_LONG, BYOD_OUTCOME_NO_RULE,
                                  BYOD_OUTCOME_MATCHED};
constexpr uint32_t kNexts[] = {BYOD_NEXT_CONTINUE, BYOD_NEXT_COMPLETE, BYOD_NEXT_EXHAUSTED};

template <typename Value, size_t Count>
uint32_t NumberOf(const uint32_t (&numbers)[Count], Value value) {
  return numbers[static_cast<size_t>(value)];
}

/// @return the value of a number; otherwise for a number that is not one of those
template <typename Value, size_t Count>
Value ValueOf(const uint32_t (&numbers)[Count], uint32_t number, Value otherwise) {
  for (size_t i = 0; i < Count; ++i) {
    if (numbers[i] == number) return static_cast<Value>(i);
  }
  return otherwise;
}

void AppendRule(tlv::Appender& append, const Step& step, std::span<const FieldElement> elements) {
  append.Number(BYOD_TLV_RULESRC, step.is_custom ? BYOD_RULE_CUSTOM : BYOD_RULE_PREDEFINED)
      .Text(BYOD_EXT_RULE_TEXT, step.rule.c_str());
  uint32_t supplied = 0;
  uint32_t configured = 0;
  for (size_t i = 0; i < elements.size(); ++i) {
    const Field& field = step.fields[i];
    append.PresentText(elements[i].text, field.value.c_str());
    if (field.is_used) supplied |= elements[i].bit;
    if (field.source == Source::kConfigured) configured |= elements[i].bit;
  }
  append.Number(BYOD_EXT_SUPPLIED, supplied).Number(BYOD_EXT_CONFIGURED, configured);
}

uint32_t AppendSteps(uint32_t msg, uint16_t type, const std::vector<Step>& steps,
                     std::span<const FieldElement> elements) {
  for (const Step& step : steps) {
    const tlv::Message nested(TLV_Create());
    if (!nested) return BYOD_ERR_FAILED;
    tlv::Appender append(nested.get());
    append.Number(BYOD_EXT_METHOD, step.method)
        .Number(BYOD_EXT_OUTCOME, NumberOf(kOutcomes, step.lookup))
        .Number(BYOD_EXT_NEXT, NumberOf(kNexts, step.next));
    if (step.lookup == Lookup::kRuleMatched) AppendRule(append, step, elements);
    if (append.status() != 0) return append.status();
    if (const uint32_t status = BYOD_tlv_PutSubTlv(msg, type, nested.get()); status != 0) {
      return status;
    }
  }
  return 0;
}

uint32_t ReadNumber(uint32_t msg, uint16_t type, uint32_t otherwise) {
  BYOD_tlv_GetUINTValueByType(msg, type, &otherwise);
  return otherwise;
}

std::string ReadText(uint32_t msg, uint16_t type) {
  char text[BYOD_RULETEXT_SIZE] = "";
  BYOD_tlv_GetStrValueByType(msg, type, sizeof text, text);
  return text;
}

Step ReadStep(uint32_t msg, std::span<const FieldElement> elements) {
  Step step;
  step.method = ReadNumber(msg, BYOD_EXT_METHOD, BYOD_METHOD_COUNT);
  step.lookup =
      ValueOf(kOutcomes, ReadNumber(msg, BYOD_EXT_OUTCOME, BYOD_OUTCOME_NO_PART), Lookup::kNoValue);
  step.next = ValueOf(kNexts, ReadNumber(msg, BYOD_EXT_NEXT, BYOD_NEXT_CONTINUE), Next::kContinue);
  if (step.lookup != Lookup::kRuleMatched) return step;
  step.is_custom = ReadNumber(msg, BYOD_TLV_RULESRC, BYOD_RULE_PREDEFINED) == BYOD_RULE_CUSTOM;
  step.rule = ReadText(msg, BYOD_EXT_RULE_TEXT);
  const uint32_t supplied = ReadNumber(msg, BYOD_EXT_SUPPLIED, 0);
  const uint32_t configured = ReadNumber(msg, BYOD_EXT_CONFIGURED, 0);
  for (const FieldElement& element : elements) {
    Field field;
    field.value = ReadText(msg, element.text);
    if (!field.value.empty()) {
      field.source = (configured & element.bit) != 0 ? Source::kConfigured : Source::kPredefined;
      field.is_used = (supplied & element.bit) != 0;
    }
    step.fields.push_back(std::move(field));
  }
  return step;
}

}  // namespace

uint32_t AppendExplanation(uint32_t msg, const Explanation& explanation) {
  const uint32_t status =
      AppendSteps(msg, BYOD_EXT_STEP, explanation.attributes, kAttributeElements);
  if (status != 0) return status;
  return AppendSteps(msg, BYOD_EXT_NAME_STEP, explanation.name, kNameElements);
}

Explanation ReadExplanation(uint32_t msg) {
  Explanation explanation;
  for (uintptr_t at = TLV_GetFirst(msg); at != 0; at = TLV_GetNext(msg, at)) {
    const uint16_t type = TLV_GetTypeByIterator(msg, at);
    if (type != BYOD_EXT_STEP && type != BYOD_EXT_NAME_STEP) continue;
    const tlv::Message nested(BYOD_tlv_GetSubTlv(msg, at));
    if (!nested) continue;
    if (type == BYOD_EXT_STEP) {
      explanation.attributes.push_back(ReadStep(nested.get(), kAttributeElements));
    } else {
      explanation.name.push_back(ReadStep(nested.get(), kNameElements));
    }
  }
  return explanation;
}

}  // namespace byod::explain
