// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/registry.h"

#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "byod_data.h"
#include "rulefiles/disjoint_prefixes.h"
#include "rulefiles/text.h"

namespace byod::rulefiles {
namespace {

constexpr std::string_view kFiles[] = {"oui.csv", "mam.csv", "oui36.csv", "iab.csv"};
constexpr std::string_view kAuthority = "IEEE Registration Authority";
constexpr std::string_view kPrivate = "Private";

std::string VendorOf(std::string_view organisation, unsigned bits, const VendorAliases& aliases) {
  organisation = Trimmed(organisation);
  if (organisation == kPrivate || (organisation == kAuthority && bits == 24)) return {};
  const auto alias = aliases.find(organisation);
  if (alias != aliases.end()) return alias->second;
  return std::string{CutAtCharacter(organisation, BYOD_ATTR_SIZE - 1)};
}

bool IsBlock(const std::optional<std::string>& digits) {
  return digits && (digits->size() == 6 || digits->size() == 7 || digits->size() == 9);
}

}  // namespace

std::vector<MacRule> ReadRegistry(const std::string& directory, const VendorAliases& aliases,
                                  Diagnostics& diagnostics) {
  std::vector<MacRule> rules;
  std::set<net::Prefix> seen;
  for (const std::string_view name : kFiles) {
    const auto file = ReadFile(directory + "/" + std::string{name}, diagnostics);
    if (!file) continue;
    ReadRows(*file, {{"Assignment", Column::kKey}, {"Organization Name", Column::kKey}},
             Others::kExpected, diagnostics, [&](Row&& row) {
               const auto digits = net::MacDigits(row.fields[0]);
               if (!IsBlock(digits)) {
                 return diagnostics.Report(Problem::kRow, row.place,
                                           "assignment " + Quoted(row.fields[0]) +
                                               " is not 6, 7 or 9 hexadecimal digits");
               }
               const net::Prefix prefix = net::PrefixFromDigits(*digits);
               if (!seen.insert(prefix).second) return;
               MacRule rule{prefix, {}, {}, row.place};
               rule.device.vendor = VendorOf(row.fields[1], prefix.bits, aliases);
               rules.push_back(std::move(rule));
             });
  }
  return Disjoint(std::move(rules));
}

std::optional<std::chrono::system_clock::time_point> RegistryTime(const std::string& directory) {
  std::optional<std::chrono::system_clock::time_point> newest;
  if (directory.empty()) return newest;
  for (const std::string_view name : kFiles) {
    struct stat status = {};
    const std::string path = directory + "/" + std::string{name};
    if (stat(path.c_str(), &status) != 0) continue;
    const auto changed = std::chrono::system_clock::from_time_t(status.st_mtime);
    newest = std::max(newest.value_or(changed), changed);
  }
  return newest;
}

}  // namespace byod::rulefiles
