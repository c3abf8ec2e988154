// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/disjoint_prefixes.h"

#include <algorithm>
#include <span>
#include <utility>

namespace byod::rulefiles {
namespace {

/// Appends the rule for the parts of a block that the blocks inside it, in order, leave over.
void AppendPieces(const MacRule& rule, const net::Prefix& block, std::span<const MacRule> inside,
                  std::vector<MacRule>& out) {
  if (inside.empty()) {
    out.push_back(rule);
    out.back().prefix = block;
    return;
  }
  if (inside.front().prefix == block) return;
  const net::Prefix upper = block.Half(true);
  const auto border = std::ranges::lower_bound(inside, upper.address, {},
                                               [](const MacRule& r) { return r.prefix.address; });
  const auto in_lower = static_cast<size_t>(border - inside.begin());
  AppendPieces(rule, block.Half(false), inside.first(in_lower), out);
  AppendPieces(rule, upper, inside.subspan(in_lower), out);
}

}  // namespace

std::vector<MacRule> Disjoint(std::vector<MacRule> rules) {
  std::ranges::sort(rules, {}, &MacRule::prefix);
  const std::span<const MacRule> all(rules);
  std::vector<MacRule> out;
  out.reserve(rules.size());
  for (size_t i = 0; i < all.size(); ++i) {
    if (all[i].device.vendor.empty()) continue;
    const auto behind = all.subspan(i + 1);
    const auto end = std::ranges::upper_bound(behind, all[i].prefix.Last(), {},
                                              [](const MacRule& r) { return r.prefix.address; });
    AppendPieces(all[i], all[i].prefix, behind.first(static_cast<size_t>(end - behind.begin())),
                 out);
  }
  std::ranges::sort(out, {}, &MacRule::prefix);
  return out;
}

}  // namespace byod::rulefiles
