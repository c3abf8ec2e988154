// SPDX-License-Identifier: Apache-2.0
// The rules of all kinds of evidence, as they are read from files.
#ifndef BYOD_EVIDENCE_RULE_TABLES_H
#define BYOD_EVIDENCE_RULE_TABLES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "evidence/host_patterns.h"
#include "evidence/kinds.h"
#include "evidence/option_lists.h"
#include "evidence/prefix_table.h"
#include "evidence/rule.h"

namespace byod::evidence {

/// Whether and how a kind fills a field: a row of evidence.csv.
struct Measured {
  uint8_t confidence = 0;      ///< in percent; 0 = the kind does not fill the field
  uint8_t min_similarity = 0;  ///< of an option list, in percent
};

/// Rules by a text that is compared whole.
using ByText = std::map<std::string, Rule, std::less<>>;

struct RuleTables {
  std::array<std::array<Measured, kFieldCount>, kKindCount> measured = {};
  HostPatterns host_patterns;
  PrefixTable own_vendor_classes;  // tried first
  PrefixTable vendor_classes;
  OptionLists option_lists;
  ByText brands;  // by the folded name
  PrefixTable client_names;
  ByText client_lists;  // by the bytes of the option list

  const Measured& Of(Kind kind, size_t field) const {
    return measured[static_cast<size_t>(kind)][field];
  }

  /// Reads what is there of the files. Rows that cannot be used are reported and left out.
  /// @param own, catalogue  directories, empty = none; the rules of the first are tried first
  void Read(const std::string& own, const std::string& catalogue,
            rulefiles::Diagnostics& diagnostics);

 private:
  void Arrange();
};

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_RULE_TABLES_H
