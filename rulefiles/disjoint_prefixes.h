// SPDX-License-Identifier: Apache-2.0
// Nested blocks of addresses as blocks that do not overlap.
//
// The table compares two blocks under what both masks keep, so a block inside another one equals it
// and is refused. The answer for an address is to be that of the smallest block around it all the
// same, so a block that holds smaller ones is replaced by the pieces between them:
//
//     00:11:20/20 "A", 00:11:22/24 "B"
//  -> 00:11:20/23 "A", 00:11:22/24 "B", 00:11:23/24 "A", 00:11:24/22 "A", 00:11:28/21 "A"
#ifndef BYOD_RULEFILES_DISJOINT_PREFIXES_H
#define BYOD_RULEFILES_DISJOINT_PREFIXES_H

#include <span>
#include <vector>

#include "rulefiles/rule_file.h"

namespace byod::rulefiles {

/**
 * @param rules  of distinct blocks; one without a vendor is unassigned and gets no rule
 * @return rules in the order of addresses, none of which overlaps another
 */
std::vector<MacRule> Disjoint(std::vector<MacRule> rules);

/**
 * @param inside  blocks within the block, in order; some may lie within others
 * @return the fewest blocks that together are the block without those inside it, in order
 */
std::vector<net::Prefix> Without(const net::Prefix& block, std::span<const net::Prefix> inside);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_DISJOINT_PREFIXES_H
