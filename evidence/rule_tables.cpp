// SPDX-License-Identifier: Apache-2.0
#include "evidence/rule_tables.h"

#include <charconv>
#include <initializer_list>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "rulefiles/csv_file.h"

namespace byod::evidence {
namespace {

using rulefiles::Column;
using rulefiles::Diagnostics;
using rulefiles::Problem;
using rulefiles::Quoted;
using rulefiles::Row;

constexpr size_t kMaxText = 255;

/// Why a row cannot be used; empty = it can.
using Fault = std::string;

Fault FaultOfText(std::string_view column, std::string_view text) {
  if (text.empty()) return std::string{column} + " is empty";
  if (text.size() <= kMaxText) return {};
  return std::string{column} + " is " + std::to_string(text.size()) + " bytes long, " +
         std::to_string(kMaxText) + " fit";
}

std::optional<uint8_t> PercentIn(std::string_view text) {
  uint8_t percent = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, percent);
  if (read.ec != std::errc() || read.ptr != end || percent < 1 || percent > 100)
    return std::nullopt;
  return percent;
}

/// The files of one directory.
class Files {
 public:
  Files(std::string directory, bool is_own, Diagnostics& diagnostics, RuleTables& tables)
      : directory_(std::move(directory)),
        is_own_(is_own),
        diagnostics_(diagnostics),
        tables_(tables) {}

  void Read() {
    ReadMeasured();
    ReadHostNames();
    ReadVendorClasses();
    ReadBrands();
    ReadClients();
  }

  /// The option lists are those of the library's own rules, whose readers report what is wrong.
  void ReadOptionLists() {
    Diagnostics silent([](const rulefiles::Diagnostic&) {});
    const auto file = Open("dhcp-option.csv", silent);
    if (!file) return;
    for (rulefiles::TextRule& list : rulefiles::ReadDhcpOptionRules(*file, silent)) {
      tables_.option_lists.Add({std::move(list.text), std::move(list.device), {}, list.place});
    }
  }

 private:
  std::optional<rulefiles::File> Open(const char* name, Diagnostics& diagnostics) {
    const std::string path = directory_ + "/" + name;
    if (rulefiles::IsAbsent(path)) return std::nullopt;
    return rulefiles::ReadFile(path, diagnostics);
  }

  /// Reads a file of rules.
  /// @param columns  the key, those of a rule, and perhaps another one
  /// @param make     Fault(Rule&&, const std::string& other), takes a rule that can be used
  template <typename Make>
  void ReadRules(const char* name, std::initializer_list<Column> columns, Make make) {
    const auto file = Open(name, diagnostics_);
    if (!file) return;
    rulefiles::ReadRows(*file, columns, rulefiles::Others::kUnknown, diagnostics_, [&](Row&& row) {
      auto& f = row.fields;
      f.resize(7);
      Rule rule{std::move(f[0]),
                {std::move(f[1]), std::move(f[2]), std::move(f[3]), std::move(f[4])},
                std::move(f[5]),
                row.place};
      Fault fault = rulefiles::FaultOf(rule.device);
      if (fault.empty()) fault = make(std::move(rule), f[6]);
      if (!fault.empty()) diagnostics_.Report(Problem::kRow, row.place, std::move(fault));
    });
  }

  /// Of rules with one text the first one counts. @return whether this is the first
  bool IsFirst(const std::string& text, const rulefiles::Place& place) {
    const auto [first, is_new] = seen_.try_emplace(text, place);
    if (!is_new) {
      diagnostics_.Report(Problem::kConflict, place,
                          Quoted(text) + " is also that of " + ToString(first->second),
                          first->second);
    }
    return is_new;
  }

  void ReadHostNames() {
    seen_.clear();
    ReadRules("host-name.csv",
              {{"pattern", Column::kKey},
               {"name"},
               {"vendor"},
               {"category"},
               {"os"},
               {"example"},
               {"mac"}},
              [&](Rule&& rule, const std::string& mac) {
                Fault fault = FaultOfText("pattern", rule.text);
                HostPattern pattern;
                if (fault.empty() && !mac.empty()) {
                  rulefiles::MacRule block;
                  fault = rulefiles::MakeMacRule(mac, "", {}, block);
                  pattern.block = block.prefix;
                }
                if (!fault.empty()) return fault;
                const std::string key =
                    Folded(rule.text) + (pattern.block ? " of " + ToString(*pattern.block) : "");
                if (!IsFirst(key, rule.place)) return fault;
                pattern.rule = std::move(rule);
                tables_.host_patterns.Add(std::move(pattern), is_own_);
                return fault;
              });
  }

  void ReadVendorClasses() {
    seen_.clear();
    PrefixTable& table = is_own_ ? tables_.own_vendor_classes : tables_.vendor_classes;
    ReadRules("vendor-class.csv",
              {{"prefix", Column::kKey}, {"name"}, {"vendor"}, {"category"}, {"os"}, {"example"}},
              [&](Rule&& rule, const std::string&) {
                Fault fault = FaultOfText("prefix", rule.text);
                if (fault.empty() && IsFirst(Folded(rule.text), rule.place))
                  table.Add(std::move(rule));
                return fault;
              });
  }

  void ReadBrands() {
    seen_.clear();
    ReadRules("brand-category.csv",
              {{"brand", Column::kKey}, {"name"}, {"vendor"}, {"category"}, {"os"}, {"example"}},
              [&](Rule&& rule, const std::string&) {
                Fault fault = FaultOfText("brand", rule.text);
                std::string key = Folded(rule.text);
                if (fault.empty() && IsFirst(key, rule.place))
                  tables_.brands.try_emplace(std::move(key), std::move(rule));
                return fault;
              });
  }

  void ReadClients() {
    seen_.clear();
    ReadRules("dhcp-client.csv",
              {{"vendor_class", Column::kKey},
               {"name"},
               {"vendor"},
               {"category"},
               {"os"},
               {"example"},
               {"options"}},
              [&](Rule&& rule, const std::string& options) {
                if (options.empty()) return AddClientName(std::move(rule));
                return AddClientList(std::move(rule), options);
              });
  }

  Fault AddClientName(Rule&& rule) {
    Fault fault = FaultOfText("vendor_class", rule.text);
    if (fault.empty() && IsFirst(Folded(rule.text), rule.place))
      tables_.client_names.Add(std::move(rule));
    return fault;
  }

  Fault AddClientList(Rule&& rule, const std::string& options) {
    if (!rule.text.empty()) return "vendor_class and options stand in one row";
    rulefiles::TextRule list;
    Fault fault = rulefiles::MakeDhcpOptionRule(options, rule.device, list);
    if (!fault.empty() || !IsFirst(options, rule.place)) return fault;
    rule.text = options;
    const std::vector<uint8_t> numbers = OptionsOf(options);
    tables_.client_lists.try_emplace(std::string(numbers.begin(), numbers.end()), std::move(rule));
    return fault;
  }

  void ReadMeasured() {
    seen_.clear();
    const auto file = Open("evidence.csv", diagnostics_);
    if (!file) return;
    rulefiles::ReadRows(*file,
                        {{"kind", Column::kKey},
                         {"field", Column::kKey},
                         {"confidence", Column::kKey},
                         {"similarity"}},
                        rulefiles::Others::kUnknown, diagnostics_, [&](Row&& row) {
                          Fault fault = TakeMeasured(row);
                          if (!fault.empty())
                            diagnostics_.Report(Problem::kRow, row.place, std::move(fault));
                        });
  }

  Fault TakeMeasured(const Row& row) {
    const auto& f = row.fields;
    const auto kind = KindNamed(f[0]);
    if (!kind) return "kind " + Quoted(f[0]) + " is unknown";
    const auto field = FieldNamed(f[1]);
    if (!field) return "field " + Quoted(f[1]) + " is unknown";
    const auto confidence = PercentIn(f[2]);
    if (!confidence) return "confidence " + Quoted(f[2]) + " is not 1 to 100";
    const auto similarity = PercentIn(f[3]);
    if (*kind == Kind::kOptionList && !similarity)
      return "similarity " + Quoted(f[3]) + " is not 1 to 100";
    if (!IsFirst(f[0] + " " + f[1], row.place)) return {};
    Measured& measured = tables_.measured[static_cast<size_t>(*kind)][*field];
    if (measured.confidence == 0) measured = {*confidence, similarity.value_or(0)};
    return {};
  }

  static std::optional<Field> FieldNamed(std::string_view name) {
    for (size_t field = 0; field < kFieldCount; ++field) {
      if (NameOf(static_cast<Field>(field)) == name) return static_cast<Field>(field);
    }
    return std::nullopt;
  }

  std::string directory_;
  bool is_own_;
  Diagnostics& diagnostics_;
  RuleTables& tables_;
  std::map<std::string, rulefiles::Place> seen_;  // the texts of the file that is read
};

}  // namespace

// An administrator's files come first: of two rules with one text, and of two measured values, the
// first one stays.
void RuleTables::Read(const std::string& own, const std::string& catalogue,
                      Diagnostics& diagnostics) {
  if (!own.empty()) Files(own, true, diagnostics, *this).Read();
  if (!catalogue.empty()) {
    Files files(catalogue, false, diagnostics, *this);
    files.Read();
    files.ReadOptionLists();
  }
  Arrange();
}

void RuleTables::Arrange() {
  host_patterns.Arrange();
  own_vendor_classes.Arrange();
  vendor_classes.Arrange();
  option_lists.Arrange();
  client_names.Arrange();
}

}  // namespace byod::evidence
