// SPDX-License-Identifier: Apache-2.0
#include "evidence/evidence.h"

#include <algorithm>
#include <utility>

#include "evidence/rule.h"
#include "evidence/rule_tables.h"

namespace byod::evidence {
namespace {

/// Fills the fields of one terminal.
class Filler {
 public:
  Filler(const RuleTables& tables, const Texts& known, const Traces& traces)
      : tables_(tables), texts_(known), traces_(traces) {}

  bool IsComplete() const {
    return std::ranges::none_of(texts_, [](std::string_view text) { return text.empty(); });
  }

  void Use(Kind kind) {
    switch (kind) {
      case Kind::kHostName:
        return UseHostName();
      case Kind::kVendorClass:
        return UseVendorClass();
      case Kind::kOptionList:
        return UseOptionList();
      case Kind::kBrand:
        return UseBrand();
      case Kind::kDhcpClient:
        return UseClient();
    }
  }

  const Fillings& filled() const { return filled_; }

 private:
  void UseHostName() {
    if (traces_.host_name.empty()) return;
    tables_.host_patterns.Find(traces_.host_name, traces_.mac,
                               [&](const Rule& rule) { return Take(Kind::kHostName, rule); });
  }

  void UseVendorClass() {
    if (traces_.vendor_class.empty()) return;
    bool is_taken = false;
    const auto take = [&](const Rule& rule) { return is_taken = Take(Kind::kVendorClass, rule); };
    tables_.own_vendor_classes.Find(traces_.vendor_class, take);
    if (!is_taken) tables_.vendor_classes.Find(traces_.vendor_class, take);
  }

  void UseOptionList() {
    double min_similarity = 100;
    for (size_t field = 0; field < kFieldCount; ++field) {
      if (!IsOpen(Kind::kOptionList, field)) continue;
      min_similarity = std::min<double>(min_similarity, MinSimilarity(field));
    }
    if (traces_.options.empty() || min_similarity == 100) return;
    const Nearest nearest = tables_.option_lists.Find(traces_.options, min_similarity);
    if (nearest.rule == nullptr || Contradicts(nearest.values)) return;
    for (size_t field = 0; field < kFieldCount; ++field) {
      if (nearest.similarity < MinSimilarity(field)) continue;
      Fill(Kind::kOptionList, field, nearest.values[field], nearest.rule->text);
    }
  }

  void UseBrand() {
    if (texts_[kVendor].empty() || tables_.brands.empty()) return;
    const auto rule = tables_.brands.find(Folded(texts_[kVendor]));
    if (rule != tables_.brands.end()) Take(Kind::kBrand, rule->second);
  }

  void UseClient() {
    bool is_taken = false;
    tables_.client_names.Find(traces_.vendor_class, [&](const Rule& rule) {
      return is_taken = Take(Kind::kDhcpClient, rule);
    });
    if (is_taken || traces_.options.empty() || tables_.client_lists.empty()) return;
    const auto rule = tables_.client_lists.find(std::string_view(
        reinterpret_cast<const char*>(traces_.options.data()), traces_.options.size()));
    if (rule != tables_.client_lists.end()) Take(Kind::kDhcpClient, rule->second);
  }

  double MinSimilarity(size_t field) const {
    return tables_.Of(Kind::kOptionList, field).min_similarity;
  }

  bool IsOpen(Kind kind, size_t field) const {
    return texts_[field].empty() && tables_.Of(kind, field).confidence > 0;
  }

  /// Whether a rule is about another terminal: one of another category or OS. Vendors differ
  /// without that, since an address names who made the radio, and not who sells the device.
  bool Contradicts(const Texts& values) const {
    return std::ranges::any_of(std::array{kCategory, kOs}, [&](Field field) {
      return !texts_[field].empty() && !values[field].empty() && texts_[field] != values[field];
    });
  }

  /// @return false if the rule is about another terminal
  bool Take(Kind kind, const Rule& rule) {
    Texts values;
    for (size_t field = 0; field < kFieldCount; ++field)
      values[field] = rule.Value(field);
    if (Contradicts(values)) return false;
    for (size_t field = 0; field < kFieldCount; ++field)
      Fill(kind, field, values[field], rule.text);
    return true;
  }

  void Fill(Kind kind, size_t field, std::string_view value, std::string_view rule) {
    if (value.empty() || !IsOpen(kind, field)) return;
    texts_[field] = value;
    filled_[field] = {value, kind, tables_.Of(kind, field).confidence, rule};
  }

  const RuleTables& tables_;
  Texts texts_;
  const Traces& traces_;
  Fillings filled_;
};

/// Adds a rule unless it is the first that Find hands over for its example.
/// @param find  void(take), with take as Find of the tables has it
template <typename FindFirst>
void CheckExample(const Rule& rule, FindFirst find, std::vector<FailedExample>& failed) {
  if (rule.example.empty()) return;
  const Rule* first = nullptr;
  find([&](const Rule& found) {
    first = &found;
    return true;
  });
  if (first == &rule) return;
  failed.push_back({rule.place, rule.text,
                    first == nullptr ? "does not match its example"
                                     : "its example is decided by \"" + first->text + "\" of " +
                                           ToString(first->place)});
}

void CheckExamples(const PrefixTable& table, std::vector<FailedExample>& failed) {
  for (size_t i = 0; i < table.size(); ++i) {
    const Rule& rule = table[i];
    CheckExample(rule, [&](auto take) { table.Find(rule.example, take); }, failed);
  }
}

}  // namespace

Evidence::Evidence() : tables_(std::make_unique<RuleTables>()) {}
Evidence::~Evidence() = default;
Evidence::Evidence(Evidence&&) noexcept = default;
Evidence& Evidence::operator=(Evidence&&) noexcept = default;

Evidence Evidence::Load(const Directories& directories, rulefiles::Diagnostics& diagnostics) {
  auto tables = std::make_unique<RuleTables>();
  tables->Read(directories.own, directories.catalogue, diagnostics);
  Evidence evidence;
  evidence.tables_ = std::move(tables);
  return evidence;
}

size_t Evidence::Count(Kind kind) const {
  switch (kind) {
    case Kind::kHostName:
      return tables_->host_patterns.size();
    case Kind::kVendorClass:
      return tables_->own_vendor_classes.size() + tables_->vendor_classes.size();
    case Kind::kOptionList:
      return tables_->option_lists.size();
    case Kind::kBrand:
      return tables_->brands.size();
    case Kind::kDhcpClient:
      return tables_->client_names.size() + tables_->client_lists.size();
  }
  return 0;
}

Fillings Evidence::Fill(const Texts& known, const Traces& traces, const Kinds& kinds) const {
  Filler filler(*tables_, known, traces);
  for (size_t i = 0; i < kKindCount && !filler.IsComplete(); ++i) {
    if (kinds.Has(static_cast<Kind>(i))) filler.Use(static_cast<Kind>(i));
  }
  return filler.filled();
}

std::vector<FailedExample> Evidence::FailedExamples() const {
  std::vector<FailedExample> failed;
  const HostPatterns& patterns = tables_->host_patterns;
  for (size_t i = 0; i < patterns.size(); ++i) {
    const auto& [rule, block] = patterns[i];
    const auto mac = block ? block->Mac() : net::MacAddress{};
    CheckExample(rule, [&, &r = rule](auto take) { patterns.Find(r.example, mac, take); }, failed);
  }
  CheckExamples(tables_->own_vendor_classes, failed);
  CheckExamples(tables_->vendor_classes, failed);
  CheckExamples(tables_->client_names, failed);
  return failed;
}

}  // namespace byod::evidence
