// SPDX-License-Identifier: Apache-2.0
// Rules in the form of rule files: a header, then a row for each rule.
#ifndef BYODCTL_RULES_RULE_CSV_H
#define BYODCTL_RULES_RULE_CSV_H

#include <string>
#include <vector>

#include "byodctl/rules/rule.h"
#include "rulefiles/csv_file.h"

namespace byod::ctl {

/// "mac,name,vendor,category,os" and the like, with its line end.
std::string CsvHeader(uint32_t kind);

/// Who reads the rows.
enum class CsvReader {
  kImport,
  kSpreadsheet  ///< which takes some fields for formulas: these get a ' in front
};

/// A row, with its line end.
std::string CsvRow(const Rule& rule, CsvReader reader = CsvReader::kImport);

struct PlacedRule {
  Rule rule;
  rulefiles::Place place;
};

/// Reads a file of one kind. A row that cannot be used is reported and left out.
std::vector<PlacedRule> ReadRuleCsv(const rulefiles::File& file, uint32_t kind,
                                    rulefiles::Diagnostics& diagnostics);

struct RuleCsv {
  std::vector<PlacedRule> rules;  ///< no two for the same rule
  std::vector<uint32_t> kinds;    ///< of the headers, in their order
};

/**
 * Reads a file of any kind, or of several, one after the other: each header determines the kind of
 * the rows after it. Of two rows for the same rule the first one counts, the other is reported.
 *
 * @throws Failure of kExitBadInput when the first row is not a header
 */
RuleCsv ReadAnyRuleCsv(const rulefiles::File& file, rulefiles::Diagnostics& diagnostics);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_RULE_CSV_H
