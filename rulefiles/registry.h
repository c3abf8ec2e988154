// SPDX-License-Identifier: Apache-2.0
// The registry of MAC prefixes: the maker of the network interface with an address.
#ifndef BYOD_RULEFILES_REGISTRY_H
#define BYOD_RULEFILES_REGISTRY_H

#include <chrono>
#include <optional>
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

/**
 * The date of a registry: when the newest of its files was last changed. Packages and
 * byod-update-registry give each file the date of its content.
 *
 * @param directory  empty = none
 * @return nothing without any of the files
 */
std::optional<std::chrono::system_clock::time_point> RegistryTime(const std::string& directory);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_REGISTRY_H
