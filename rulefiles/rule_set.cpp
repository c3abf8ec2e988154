// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/rule_set.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "rulefiles/registry.h"

namespace byod::rulefiles {
namespace {

/// Rules that do not overlap, by the first address of each.
using Blocks = std::map<uint64_t, MacRule>;

/// @return the first of the blocks that overlap a prefix, or end
Blocks::iterator FindOverlap(Blocks& blocks, const net::Prefix& prefix) {
  const auto next = blocks.lower_bound(prefix.address);
  if (next != blocks.end() && next->second.prefix.Overlaps(prefix)) return next;
  if (next == blocks.begin()) return blocks.end();
  const auto before = std::prev(next);
  return before->second.prefix.Overlaps(prefix) ? before : blocks.end();
}

void ReportOverlap(const MacRule& rule, const MacRule& other, Diagnostics& diagnostics) {
  const std::string relation = rule.prefix == other.prefix ? " is also that of " : " overlaps ";
  const std::string what = rule.prefix == other.prefix ? "" : ToString(other.prefix) + " of ";
  diagnostics.Report(Problem::kConflict, rule.place,
                     "block " + ToString(rule.prefix) + relation + what + ToString(other.place),
                     other.place);
}

Blocks WithoutOverlaps(std::vector<MacRule> rules, Diagnostics& diagnostics) {
  Blocks blocks;
  for (MacRule& rule : rules) {
    const auto overlap = FindOverlap(blocks, rule.prefix);
    if (overlap != blocks.end()) {
      ReportOverlap(rule, overlap->second, diagnostics);
    } else {
      blocks.emplace(rule.prefix.address, std::move(rule));
    }
  }
  return blocks;
}

std::vector<TextRule> WithoutRepeats(std::vector<TextRule> rules, Diagnostics& diagnostics) {
  std::unordered_map<std::string, Place> seen;
  std::erase_if(rules, [&](const TextRule& rule) {
    const auto [first, is_new] = seen.try_emplace(rule.text, rule.place);
    if (is_new) return false;
    diagnostics.Report(Problem::kConflict, rule.place,
                       Quoted(rule.text) + " is also that of " + ToString(first->second),
                       first->second);
    return true;
  });
  return rules;
}

// A directory may hold rules for evidence alone, which are not handed in to the library.
constexpr const char* kFilesOfEvidence[] = {"host-name.csv", "vendor-class.csv",
                                            "brand-category.csv", "dhcp-client.csv"};

/// The longest expression that matches wins, and those of an administrator have 128 bytes and more.
void ReportLongExpressions(const std::vector<TextRule>& rules, Diagnostics& diagnostics) {
  for (const TextRule& rule : rules) {
    if (rule.text.size() <= kMaxPredefinedExpression) continue;
    diagnostics.Report(Problem::kLongExpression, rule.place,
                       "expression is " + std::to_string(rule.text.size()) +
                           " bytes long; with more than " +
                           std::to_string(kMaxPredefinedExpression) +
                           " it may win over rules of the administrator");
  }
}

/// Reads the files of a directory that are there.
class Directory {
 public:
  Directory(std::string path, Diagnostics& diagnostics)
      : path_(std::move(path)), diagnostics_(diagnostics) {}

  /// @param read  (file, diagnostics) -> rows
  template <typename Reader>
  std::invoke_result_t<Reader, const File&, Diagnostics&> Read(const char* name, Reader read) {
    const std::string path = path_ + "/" + name;
    if (path_.empty() || IsAbsent(path)) return {};
    is_empty_ = false;
    const auto file = ReadFile(path, diagnostics_);
    if (!file) return {};
    return read(*file, diagnostics_);
  }

  /// Whether a file is there that is read elsewhere.
  bool Has(const char* name) const { return !IsAbsent(path_ + "/" + name); }

  void ReportIfEmpty() {
    if (path_.empty() || !is_empty_ ||
        std::ranges::any_of(kFilesOfEvidence, [&](auto* name) { return Has(name); })) {
      return;
    }
    diagnostics_.Report(Problem::kFile, {std::make_shared<const std::string>(path_), 0},
                        IsAbsent(path_) ? std::strerror(ENOENT) : "no rule file in it");
  }

 private:
  std::string path_;
  Diagnostics& diagnostics_;
  bool is_empty_ = true;
};

}  // namespace

std::vector<MacRule> MergeMacRules(std::vector<MacRule> own, std::vector<MacRule> registry,
                                   Diagnostics& diagnostics) {
  Blocks blocks;
  for (MacRule& rule : registry)
    blocks.emplace_hint(blocks.end(), rule.prefix.address, std::move(rule));

  Blocks own_blocks = WithoutOverlaps(std::move(own), diagnostics);
  for (auto& [address, rule] : own_blocks) {
    const auto overlap = FindOverlap(blocks, rule.prefix);
    if (overlap == blocks.end()) {
      blocks.emplace(address, std::move(rule));
    } else if (overlap->second.prefix == rule.prefix) {
      overlap->second = std::move(rule);
    } else {
      ReportOverlap(rule, overlap->second, diagnostics);
    }
  }

  std::vector<MacRule> merged;
  merged.reserve(blocks.size());
  for (auto& [address, rule] : blocks)
    merged.push_back(std::move(rule));
  return merged;
}

RuleSet ReadRuleSet(const Sources& sources, Diagnostics& diagnostics) {
  Directory directory(sources.rules_directory, diagnostics);
  const VendorAliases aliases =
      directory.Read("vendor-alias.csv", [&](const File& file, Diagnostics& faults) {
        return ReadVendorAliases(file, faults, sources.module_makers);
      });
  RuleSet set;
  set.user_agent =
      WithoutRepeats(directory.Read("user-agent.csv", &ReadUserAgentRules), diagnostics);
  ReportLongExpressions(set.user_agent, diagnostics);
  set.dhcp_option =
      WithoutRepeats(directory.Read("dhcp-option.csv", &ReadDhcpOptionRules), diagnostics);
  set.successors = directory.Read("successors.csv", &ReadSuccessors);
  set.background = directory.Read("background-user-agent.csv", &ReadBackgroundAgents);
  std::vector<MacRule> own = directory.Read("mac.csv", &ReadMacRules);
  directory.ReportIfEmpty();

  std::vector<MacRule> registry;
  if (!sources.registry_directory.empty()) {
    registry = ReadRegistry(sources.registry_directory, aliases, diagnostics);
  }
  set.mac = MergeMacRules(std::move(own), std::move(registry), diagnostics);
  return set;
}

}  // namespace byod::rulefiles
