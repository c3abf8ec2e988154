// SPDX-License-Identifier: Apache-2.0
// Rule files: what each kind holds, and which rows can be used.
#ifndef BYOD_RULEFILES_RULE_FILE_H
#define BYOD_RULEFILES_RULE_FILE_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "net/prefix.h"
#include "rulefiles/csv_file.h"
#include "rulefiles/diagnostics.h"

namespace byod::rulefiles {

/// What a rule says of a device; empty = it says nothing of it.
struct DeviceText {
  std::string name;
  std::string vendor;
  std::string category;
  std::string os;
};

struct MacRule {
  net::Prefix prefix;
  DeviceText device;
  std::string example;  ///< of a fingerprint on which the rule wins; may be empty
  Place place;
};

/// A rule for a User-Agent expression or the text of a DHCP option list.
struct TextRule {
  std::string text;
  DeviceText device;
  std::string example;
  Place place;
  std::optional<unsigned> priority =
      {};  ///< of an administrator's expression, for those who import it
};

/// @return why a rule cannot say this of a device; empty = it can
std::string FaultOf(const DeviceText& device);

/// The vendor that people know, by the very text of an organisation in the registry.
using VendorAliases = std::map<std::string, std::string, std::less<>>;

/**
 * Reads `mac,mask,name,vendor,category,os`. The address may be the beginning of one and carry a
 * prefix length, 00:11:22/24; or else it is whole and mask says what counts, as an address or as a
 * number of bits, and all of it counts when mask is empty. Address bits that do not count are
 * cleared. A mask is a prefix of 1 bits: the table cannot order any other.
 *
 * A row that cannot be used is reported and left out, here and below.
 */
std::vector<MacRule> ReadMacRules(const File& file, Diagnostics& diagnostics);

/// Longer expressions are left to administrators.
constexpr size_t kMaxPredefinedExpression = 127;

/// The highest value of the column `priority`.
constexpr unsigned kMaxPriority = 127;

/// Reads `expression,name,vendor,category,os,priority`. A priority is 0 to kMaxPriority, or empty.
std::vector<TextRule> ReadUserAgentRules(const File& file, Diagnostics& diagnostics);

/// Reads `options,name,vendor,category,os`; options as "1,3,6,15".
std::vector<TextRule> ReadDhcpOptionRules(const File& file, Diagnostics& diagnostics);

/**
 * Makes a rule from fields that do not come from a file, by the same checks.
 *
 * @param mask  as in a file; empty = the address says it
 * @param rule  set to a rule without example and place; left unchanged on failure
 * @return why there is no such rule; empty = there is
 */
std::string MakeMacRule(const std::string& address, const std::string& mask,
                        const DeviceText& device, MacRule& rule);
std::string MakeUserAgentRule(const std::string& expression, const DeviceText& device,
                              TextRule& rule);
std::string MakeDhcpOptionRule(const std::string& options, const DeviceText& device,
                               TextRule& rule);

/// How the makers of modules, and of whole devices for other brands, are reported as vendors: who
/// made the radio in a device is not who sold it.
enum class ModuleMakers {
  kMarked,  ///< "module made by ..."
  kNamed,   ///< as any other vendor
  kOpen     ///< not at all, so that another method can name the vendor
};

/// Reads `organisation,vendor,module`. Blanks around them do not count. "yes" in module stands for
/// a maker of modules; the alias is its vendor as it is to be reported, empty for kOpen.
VendorAliases ReadVendorAliases(const File& file, Diagnostics& diagnostics,
                                ModuleMakers modules = ModuleMakers::kMarked);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_RULE_FILE_H
