// SPDX-License-Identifier: Apache-2.0
// Rules in requests and replies.
#ifndef BYODCTL_RULES_RULE_H
#define BYODCTL_RULES_RULE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "byodctl/daemon/client.h"
#include "protocol/selectors.h"
#include "rulefiles/rule_file.h"
#include "rulekinds/rule_kind.h"

namespace byod::ctl {

/// The names of the kinds of rule, which are numbered by their methods, BYOD_METHOD_*.
constexpr const char* kRuleKindNames[BYOD_METHOD_COUNT] = {
    rulekinds::DhcpOptionKind::kWord, rulekinds::UserAgentKind::kWord, rulekinds::MacKind::kWord};

/// The order in which they are listed.
constexpr uint32_t kRuleKindsInOrder[BYOD_METHOD_COUNT] = {BYOD_METHOD_MAC, BYOD_METHOD_USERAGENT,
                                                           BYOD_METHOD_DHCP};

/// @return the kind that a name means, as MethodOf reads it. @throws Failure
uint32_t RuleKindOf(const std::string& name);

/// Identifies a rule.
struct RuleKey {
  uint32_t kind = BYOD_METHOD_COUNT;
  net::Prefix prefix;       ///< of a MAC rule
  std::string text;         ///< of any other rule, as people write it
  std::string stored = {};  ///< by which the daemon knows it; empty = the text

  const std::string& StoredText() const { return stored.empty() ? text : stored; }
};

/// "00:11:22:00:00:00/24", a whole address without a length, or the rule's text.
std::string ToString(const RuleKey& key);

/// Equal for keys of the same rule: the kind and the key, which is in lower case where case does
/// not matter.
std::string IdentityOf(const RuleKey& key);

struct Rule {
  RuleKey key;
  bool is_custom = false;
  bool is_modified = false;
  rulefiles::DeviceText device;
  std::string why_idle = {};  ///< of a stored rule that is not in effect
  uint32_t holes = 0;         ///< rules directly within a MAC rule, which answer instead
  /// Of an administrator's User-Agent rule: see user_agent_band.h.
  std::optional<unsigned> priority = {};
};

/// A field of a device, and how it is changed.
struct DeviceField {
  const char* name;
  std::string rulefiles::DeviceText::* member;
  uint32_t attribute;  ///< BYOD_ATTR_*; 0 for the name
};
constexpr DeviceField kDeviceFields[] = {
    {"name", &rulefiles::DeviceText::name, 0},
    {"vendor", &rulefiles::DeviceText::vendor, BYOD_ATTR_VENDOR},
    {"category", &rulefiles::DeviceText::category, BYOD_ATTR_CATEGORY},
    {"os", &rulefiles::DeviceText::os, BYOD_ATTR_OS}};

/**
 * Makes a rule from its key and fields, with the checks of rule files.
 *
 * @param kind  of the rule
 * @param key   of a MAC rule: an address, then perhaps "/" and a number of bits or a mask
 * @throws Failure of kExitBadInput that says what is wrong
 */
Rule ReadRule(uint32_t kind, const std::string& key, const rulefiles::DeviceText& device);

using protocol::Detail;
using protocol::Which;

/// A whole address means the rule that covers it.
Request AskForRule(const RuleKey& key, Which which, Detail detail);

/// @return the rule in a reply, or nested in one
Rule RuleIn(uint32_t kind, const Fields& fields);

/// Calls take for every rule of a kind.
void ListRules(Client& client, uint32_t kind, bool configured_only, Detail detail,
               const std::function<void(const Rule&)>& take);

/// Calls take for every rule of a kind that is stored but not in effect.
void ListIdleRules(Client& client, uint32_t kind, const std::function<void(const Rule&)>& take);

/// The key of a User-Agent rule that the daemon knows by this text.
RuleKey UserAgentKey(const std::string& stored, bool is_custom);

/// A rule, in effect or not. A rule that is not in effect has only what is configured.
/// @throws Refusal of kExitUnknown without such a rule
Rule FindRule(Client& client, const RuleKey& key);

/// Adds a rule without fields; or deletes a custom rule, or the modification of a predefined one.
Request ChangeRule(uint32_t operation, const RuleKey& key);

/// Sets one field of a rule, or reverts it.
Request ChangeField(uint32_t operation, const RuleKey& key, const DeviceField& field,
                    const std::string& value);

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_RULE_H
