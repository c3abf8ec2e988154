// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/evidence_text.h"

#include <algorithm>

#include "byodctl/text/display_text.h"

namespace byod::ctl {
namespace {

std::string ValueOf(const Answer& answer, evidence::Field field) {
  const std::string* const values[evidence::kFieldCount] = {&answer.vendor, &answer.category,
                                                            &answer.os, &answer.name};
  return *values[field];
}

Json FilledJson(const Answer& answer) {
  Json filled = Json::EmptyArray();
  for (const FilledField& it : answer.filled) {
    filled.Append({{"field", std::string{NameOf(it.field)}},
                   {"value", ValueOf(answer, it.field)},
                   {"evidence", std::string{NameOf(it.kind)}},
                   {"confidence", it.confidence},
                   {"rule", it.rule}});
  }
  return filled;
}

/// "category=host-name,os=option-list"
std::string FilledText(const Answer& answer) {
  std::string text;
  for (const FilledField& it : answer.filled) {
    text += (text.empty() ? "" : ",") + std::string{NameOf(it.field)} + '=' +
            std::string{NameOf(it.kind)};
  }
  return text;
}

}  // namespace

void AddEvidence(Item& item, const FingerprintText& text, const Answer& answer) {
  for (const FilledField& it : answer.filled)
    std::ranges::find(item, NameOf(it.field), &Field::key)->text = ValueOf(answer, it.field) + '~';
  item.push_back({"host_name", text.host_name});
  item.push_back({"vendor_class", text.vendor_class});
  item.push_back({"filled", FilledJson(answer), FilledText(answer)});
}

std::string EvidenceText(const Answer& answer) {
  std::string text;
  for (const FilledField& it : answer.filled) {
    text += "    " + std::string{NameOf(it.field)} + ": " + Printable(ValueOf(answer, it.field)) +
            " (" + std::string{NameOf(it.kind)} + " \"" + Printable(it.rule) + "\", " +
            std::to_string(it.confidence) + " of 100 are right)\n";
  }
  return text.empty() ? text : "  evidence:\n" + text;
}

}  // namespace byod::ctl
