// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/disjoint_prefixes.h"

#include <algorithm>
#include <iterator>

namespace byod::rulefiles {
namespace {

/// Appends the parts of a block that the blocks inside it, in order, leave over.
void AppendPieces(const net::Prefix& block, std::span<const net::Prefix> inside,
                  std::vector<net::Prefix>& out) {
  if (inside.empty()) return out.push_back(block);
  if (inside.front() == block) return;
  const net::Prefix upper = block.Half(true);
  const auto border = std::ranges::lower_bound(inside, upper.address, {}, &net::Prefix::address);
  const auto in_lower = static_cast<size_t>(border - inside.begin());
  AppendPieces(block.Half(false), inside.first(in_lower), out);
  AppendPieces(upper, inside.subspan(in_lower), out);
}

}  // namespace

std::vector<net::Prefix> Without(const net::Prefix& block, std::span<const net::Prefix> inside) {
  std::vector<net::Prefix> pieces;
  AppendPieces(block, inside, pieces);
  return pieces;
}

std::vector<MacRule> Disjoint(std::vector<MacRule> rules) {
  std::ranges::sort(rules, {}, &MacRule::prefix);
  std::vector<net::Prefix> blocks;
  blocks.reserve(rules.size());
  std::ranges::transform(rules, std::back_inserter(blocks), &MacRule::prefix);
  std::vector<MacRule> out;
  out.reserve(rules.size());
  for (size_t i = 0; i < blocks.size(); ++i) {
    if (rules[i].device.vendor.empty()) continue;
    const auto behind = std::span<const net::Prefix>(blocks).subspan(i + 1);
    const auto end = std::ranges::upper_bound(behind, blocks[i].Last(), {}, &net::Prefix::address);
    for (const net::Prefix& piece :
         Without(blocks[i], behind.first(static_cast<size_t>(end - behind.begin())))) {
      out.push_back(rules[i]);
      out.back().prefix = piece;
    }
  }
  std::ranges::sort(out, {}, &MacRule::prefix);
  return out;
}

}  // namespace byod::rulefiles
