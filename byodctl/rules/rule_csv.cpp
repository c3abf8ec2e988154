// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/rule_csv.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "rulefiles/csv_parser.h"
#include "text/nearest_word.h"

namespace byod::ctl {
namespace {

/// The name of the first column, by BYOD_METHOD_*.
constexpr const char* kKeyColumns[BYOD_METHOD_COUNT] = {"options", "expression", "mac"};

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Quoted if a reader would misread it otherwise.
std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos && !text.starts_with('#') &&
      !text.starts_with(kByteOrderMark)) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

bool Holds(const rulefiles::Record& record, std::string_view field) {
  return std::ranges::find(record, field) != record.end();
}

/// The kind of the rows after a header.
std::optional<uint32_t> KindOfHeader(const rulefiles::Record& record) {
  for (uint32_t kind = 0; kind < BYOD_METHOD_COUNT; ++kind) {
    if (Holds(record, kKeyColumns[kind])) return kind;
  }
  return std::nullopt;
}

/// After the first header a row counts as another one only if it has several fields, all of them
/// names of columns: a rule may be for the word "mac".
bool IsLaterHeader(const rulefiles::Record& record, uint32_t kind) {
  const auto is_column = [&](const std::string& field) {
    return field == kKeyColumns[kind] || field == "mask" || field == "example" ||
           field == "priority" || std::ranges::any_of(kDeviceFields, [&](const DeviceField& known) {
             return field == known.name;
           });
  };
  return record.size() > 1 && std::ranges::all_of(record, is_column);
}

/// Where a line begins; lines end with LF, CRLF or CR.
class LineStarts {
 public:
  explicit LineStarts(std::string_view text) : text_(text) {}

  /// Must be called with ascending lines.
  size_t Of(size_t line) {
    while (line_ < line && at_ < text_.size()) {
      const char c = text_[at_++];
      if (c == '\r' && at_ < text_.size() && text_[at_] == '\n') ++at_;
      if (c == '\n' || c == '\r') ++line_;
    }
    return at_;
  }

 private:
  std::string_view text_;
  size_t line_ = 1;
  size_t at_ = 0;
};

struct Section {
  size_t line;
  uint32_t kind;
};

/// The message for a file whose first row is not a header.
std::string NoHeader(const std::string& file, size_t line, const rulefiles::Record& record) {
  std::string text = file + ':' + std::to_string(line) +
                     ": no header: a column mac, expression or options is required";
  for (const char* const column : kKeyColumns) {
    const std::string meant = text::NearestWord(column, record);
    if (!meant.empty()) {
      return text + "; is " + rulefiles::Quoted(meant) + " meant to be " + column + '?';
    }
  }
  return text;
}

std::vector<Section> SectionsOf(const rulefiles::File& file) {
  std::vector<Section> sections;
  bool is_first = true;
  rulefiles::ParseRecords(file.content, {[&](size_t line, rulefiles::Record&& record) {
                                           const auto kind = KindOfHeader(record);
                                           if (kind && (is_first || IsLaterHeader(record, *kind)))
                                             sections.push_back({line, *kind});
                                           if (!kind && is_first) {
                                             throw Failure(kExitBadInput,
                                                           NoHeader(file.name, line, record));
                                           }
                                           is_first = false;
                                         },
                                         [](size_t, const char*) {}});
  return sections;
}

Rule MakeRule(const rulefiles::MacRule& rule) {
  return {{BYOD_METHOD_MAC, rule.prefix, {}}, false, false, rule.device};
}

void LeaveOutRepeats(std::vector<PlacedRule>& rules, rulefiles::Diagnostics& diagnostics) {
  std::map<std::string, rulefiles::Place> seen;
  std::erase_if(rules, [&](const PlacedRule& row) {
    // A predefined rule that is changed and a custom one may have one text: only the latter has a
    // priority.
    const std::string kind_of_rule = row.rule.priority ? "custom " : "";
    const auto [first, is_new] =
        seen.try_emplace(kind_of_rule + IdentityOf(row.rule.key), row.place);
    if (is_new) return false;
    diagnostics.Report(rulefiles::Problem::kConflict, row.place,
                       rulefiles::Quoted(ToString(row.rule.key)) + " is also that of " +
                           rulefiles::ToString(first->second),
                       first->second);
    return true;
  });
}

void Append(std::vector<PlacedRule>& out, std::vector<PlacedRule> more) {
  out.insert(out.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

std::string CsvHeader(uint32_t kind) {
  return std::string{kKeyColumns[kind]} + (kind == BYOD_METHOD_MAC ? ",mask" : "") +
         ",name,vendor,category,os" + (kind == BYOD_METHOD_USERAGENT ? ",priority\n" : "\n");
}

std::string CsvRow(const Rule& rule, CsvReader reader) {
  const auto field_of = [reader](const std::string& text) {
    const bool is_formula = !text.empty() && std::strchr("=+-@\t\r\n", text[0]) != nullptr;
    return CsvField(is_formula && reader == CsvReader::kSpreadsheet ? '\'' + text : text);
  };
  // The key of a MAC rule has its number of bits, so the column mask is empty.
  std::string row = field_of(ToString(rule.key)) + (rule.key.kind == BYOD_METHOD_MAC ? "," : "");
  for (const DeviceField& field : kDeviceFields)
    row += ',' + field_of(rule.device.*field.member);
  if (rule.key.kind == BYOD_METHOD_USERAGENT) {
    row += ',' + (rule.priority ? std::to_string(*rule.priority) : "");
  }
  return row + '\n';
}

std::vector<PlacedRule> ReadRuleCsv(const rulefiles::File& file, uint32_t kind,
                                    rulefiles::Diagnostics& diagnostics) {
  std::vector<PlacedRule> rules;
  if (kind == BYOD_METHOD_MAC) {
    for (const auto& rule : rulefiles::ReadMacRules(file, diagnostics))
      rules.push_back({MakeRule(rule), rule.place});
    return rules;
  }
  const auto read =
      kind == BYOD_METHOD_DHCP ? &rulefiles::ReadDhcpOptionRules : &rulefiles::ReadUserAgentRules;
  for (auto& rule : read(file, diagnostics)) {
    PlacedRule placed = {{{kind, {}, std::move(rule.text)}, false, false, std::move(rule.device)},
                         std::move(rule.place)};
    placed.rule.priority = rule.priority;
    rules.push_back(std::move(placed));
  }
  return rules;
}

RuleCsv ReadAnyRuleCsv(const rulefiles::File& marked, rulefiles::Diagnostics& diagnostics) {
  rulefiles::File file = marked;
  if (file.content.starts_with(kByteOrderMark)) file.content.erase(0, kByteOrderMark.size());
  const std::vector<Section> sections = SectionsOf(file);
  if (sections.empty()) throw Failure(kExitBadInput, file.name + ": no header line");
  RuleCsv csv;
  LineStarts starts(file.content);
  for (size_t i = 0; i < sections.size(); ++i) {
    // Before the first header there may be comments or rows that cannot be read.
    const size_t begin = i == 0 ? 0 : starts.Of(sections[i].line);
    const size_t end =
        i + 1 < sections.size() ? starts.Of(sections[i + 1].line) : file.content.size();
    // Blank lines before it keep the line numbers.
    const std::string skipped(i == 0 ? 0 : sections[i].line - 1, '\n');
    const std::string part = skipped + file.content.substr(begin, end - begin);
    const uint32_t kind = sections[i].kind;
    Append(csv.rules, ReadRuleCsv({file.name, part}, kind, diagnostics));
    if (std::ranges::find(csv.kinds, kind) == csv.kinds.end()) csv.kinds.push_back(kind);
  }
  LeaveOutRepeats(csv.rules, diagnostics);
  return csv;
}

}  // namespace byod::ctl
