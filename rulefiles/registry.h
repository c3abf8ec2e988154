// SPDX-License-Identifier: Apache-2.0
// The registry of MAC prefixes: the maker of the network interface with an address.
#ifndef BYOD_RULEFILES_REGISTRY_H
#define BYOD_RULEFILES_REGISTRY_H

#include <string>
#include <vector>

#include "rulefiles/rule_file.h"

namespace byod::rulefiles {

/**
 * Reads oui.csv, mam.csv, oui36.csv and iab.csv, blocks of 24, 28, 36 and 36 bits, of a directory.
 *
 * The vendor is the organisation's alias or else the organisation, cut to what a rule holds. Of a
 * block that is listed twice the first row counts. A block registered as "Private", and a 24-bit
 * block that the registration authority keeps for handing out smaller ones, have no vendor: an
 * address whose smallest registered block is one of these gets no answer.
 *
 * @return rules that do not overlap, in the order of addresses
 */
std::vector<MacRule> ReadRegistry(const std::string& directory, const VendorAliases& aliases,
                                  Diagnostics& diagnostics);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_REGISTRY_H
