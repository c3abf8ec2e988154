// SPDX-License-Identifier: Apache-2.0
// Records of a comma-separated text, each with the line where it begins.
#ifndef BYOD_RULEFILES_CSV_PARSER_H
#define BYOD_RULEFILES_CSV_PARSER_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace byod::rulefiles {

using Record = std::vector<std::string>;

/// What becomes of each record: either it is taken, or the reason why it could not be read is.
struct RecordSink {
  std::function<void(size_t line, Record&& record)> take;
  std::function<void(size_t line, const char* reason)> report;
};

void ParseRecords(std::string_view text, const RecordSink& sink);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_CSV_PARSER_H
