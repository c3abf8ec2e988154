// SPDX-License-Identifier: Apache-2.0
// A rule of any kind of evidence, and texts as they are compared.
#ifndef BYOD_EVIDENCE_RULE_H
#define BYOD_EVIDENCE_RULE_H

#include <algorithm>
#include <string>
#include <string_view>

#include "data/fold_case.h"
#include "evidence/kinds.h"
#include "rulefiles/rule_file.h"

namespace byod::evidence {

struct Rule {
  std::string text;  ///< what has to match, as the file spells it
  rulefiles::DeviceText device;
  std::string example;
  rulefiles::Place place;

  std::string_view Value(size_t field) const {
    const std::string* const values[kFieldCount] = {&device.vendor, &device.category, &device.os,
                                                    &device.name};
    return *values[field];
  }
};

/// Host names, vendor classes and brands are compared without regard to case.
inline std::string Folded(std::string_view text) {
  std::string folded(text);
  std::ranges::transform(folded, folded.begin(),
                         [](char c) { return static_cast<char>(FoldCase(c)); });
  return folded;
}

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_RULE_H
