// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/successors.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "data/fold_case.h"
#include "rulefiles/rule_file.h"
#include "rulekinds/rule_kind.h"

namespace byod::rulefiles {
namespace {

using rulekinds::kByMethod;

/// Rewrites a rule as it is shown. @return why there is no such rule; empty = there is
std::string Respell(uint32_t method, std::string& text) {
  if (method == BYOD_METHOD_MAC) {
    MacRule rule;
    std::string fault = MakeMacRule(text, "", {}, rule);
    if (fault.empty()) text = net::ToString(rule.prefix);
    return fault;
  }
  TextRule rule;
  return method == BYOD_METHOD_DHCP ? MakeDhcpOptionRule(text, {}, rule)
                                    : MakeUserAgentRule(text, {}, rule);
}

/// @return why a row cannot be used; empty = it can
std::string Fill(std::vector<std::string>& fields, Successor& row) {
  const auto* const kind = std::ranges::find_if(
      kByMethod, [&](const rulekinds::Description& known) { return fields[0] == known.word; });
  if (kind == std::end(kByMethod)) {
    return "unknown kind of rule " + Quoted(fields[0]) +
           ", expected mac, user-agent or dhcp-option";
  }
  row.method = static_cast<uint32_t>(kind - std::begin(kByMethod));
  row.rule = std::move(fields[1]);
  row.successor = std::move(fields[2]);
  std::string fault = Respell(row.method, row.rule);
  if (!fault.empty()) return "rule: " + fault;
  fault = Respell(row.method, row.successor);
  if (!fault.empty()) return "successor: " + fault;
  if (IdentityOfRule(row.method, row.rule) == IdentityOfRule(row.method, row.successor)) {
    return "the rule " + Quoted(row.rule) + " is its own successor";
  }
  return {};
}

}  // namespace

std::string IdentityOfRule(uint32_t method, const std::string& rule) {
  std::string identity = std::to_string(method) + ' ';
  for (const char c : rule)
    identity += static_cast<char>(FoldCase(c));
  return identity;
}

std::vector<Successor> ReadSuccessors(const File& file, Diagnostics& diagnostics) {
  std::vector<Successor> successors;
  std::unordered_map<std::string, Place> seen;
  ReadRows(file, {{"kind", Column::kKey}, {"rule", Column::kKey}, {"successor", Column::kKey}},
           Others::kUnknown, diagnostics, [&](Row&& read) {
             Successor row;
             row.place = read.place;
             std::string fault = Fill(read.fields, row);
             if (!fault.empty())
               return diagnostics.Report(Problem::kRow, row.place, std::move(fault));
             const auto [first, is_new] =
                 seen.try_emplace(IdentityOfRule(row.method, row.rule), row.place);
             if (is_new) return successors.push_back(std::move(row));
             diagnostics.Report(Problem::kConflict, row.place,
                                "the successor of " + Quoted(row.rule) + " is also named by " +
                                    ToString(first->second),
                                first->second);
           });
  return successors;
}

}  // namespace byod::rulefiles
