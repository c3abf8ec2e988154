// SPDX-License-Identifier: Apache-2.0
// The three kinds of rule, each described once: its numbers and names in messages, in the database
// and in output. A folder extends a kind with its own operations, and handles all three by
// templates:
//
//   Rule, Record    the rule, and its stored form
//   kMethod         BYOD_METHOD_*
//   kTitle          the kind in a sentence; kWord, on a command line
//   kMessages       the messages about it
//   kKeyElement     the element that carries the key; a MAC rule's mask follows in another
//   kDatabaseKey, kDatabaseList, kSortKeySize   the sort list of its records
//   kText           the member that holds the key; MAC rules have none
#ifndef BYOD_RULEKINDS_RULE_KIND_H
#define BYOD_RULEKINDS_RULE_KIND_H

#include <cstdint>

#include "byod_data.h"
#include "byod_db.h"
#include "byod_tlv.h"

namespace byod::rulekinds {

/// The messages about the rules of one kind, BYOD_MSG_*.
struct Messages {
  uint32_t rule;
  uint32_t count;
  uint32_t list;
  uint32_t value;
  uint32_t attribute;
};

struct DhcpOptionKind {
  using Rule = ByodDhcpOptionRule;
  using Record = ByodTextRuleShowRec;

  static constexpr uint32_t kMethod = BYOD_METHOD_DHCP;
  static constexpr char kTitle[] = "DHCP option";
  static constexpr char kWord[] = "dhcp-option";
  static constexpr Messages kMessages = {BYOD_MSG_DHCPOPTRULE, BYOD_MSG_DHCPOPT_COUNT,
                                         BYOD_MSG_DHCPOPT_LIST, BYOD_MSG_DHCPOPT_VALUE,
                                         BYOD_MSG_DHCPOPT_DEVATTR};
  static constexpr uint16_t kKeyElement = BYOD_TLV_DHCPOPT;
  static constexpr char kDatabaseKey[] = BYOD_DB_DHCPOPT_KEY;
  static constexpr uint32_t kDatabaseList = BYOD_DB_DHCPOPT_LIST;
  static constexpr uint32_t kSortKeySize = BYOD_RULETEXT_SIZE;
  static constexpr auto kText = &Rule::text;
};

struct UserAgentKind {
  using Rule = ByodUserAgentRule;
  using Record = ByodTextRuleShowRec;

  static constexpr uint32_t kMethod = BYOD_METHOD_USERAGENT;
  static constexpr char kTitle[] = "User-Agent";
  static constexpr char kWord[] = "user-agent";
  static constexpr Messages kMessages = {BYOD_MSG_UARULE, BYOD_MSG_UA_COUNT, BYOD_MSG_UA_LIST,
                                         BYOD_MSG_UA_VALUE, BYOD_MSG_UA_DEVATTR};
  static constexpr uint16_t kKeyElement = BYOD_TLV_USERAGENT;
  static constexpr char kDatabaseKey[] = BYOD_DB_USERAGENT_KEY;
  static constexpr uint32_t kDatabaseList = BYOD_DB_USERAGENT_LIST;
  static constexpr uint32_t kSortKeySize = BYOD_RULETEXT_SIZE;
  static constexpr auto kText = &Rule::keyword;
};

struct MacKind {
  using Rule = ByodMacRule;
  using Record = ByodMacRuleShowRec;

  static constexpr uint32_t kMethod = BYOD_METHOD_MAC;
  static constexpr char kTitle[] = "MAC";
  static constexpr char kWord[] = "mac";
  static constexpr Messages kMessages = {BYOD_MSG_MACRULE, BYOD_MSG_MAC_COUNT, BYOD_MSG_MAC_LIST,
                                         BYOD_MSG_MAC_VALUE, BYOD_MSG_MAC_DEVATTR};
  static constexpr uint16_t kKeyElement = BYOD_TLV_MAC;
  static constexpr char kDatabaseKey[] = BYOD_DB_MAC_KEY;
  static constexpr uint32_t kDatabaseList = BYOD_DB_MAC_LIST;
  static constexpr uint32_t kSortKeySize = BYOD_MACTEXT_SIZE;
};

/// What of a kind is needed where the kind is known only at run time.
struct Description {
  const char* word;
  Messages messages;
  uint16_t key_element;
};

template <typename Kind>
constexpr Description Describe() {
  return {Kind::kWord, Kind::kMessages, Kind::kKeyElement};
}

/// By BYOD_METHOD_*.
inline constexpr Description kByMethod[BYOD_METHOD_COUNT] = {
    Describe<DhcpOptionKind>(), Describe<UserAgentKind>(), Describe<MacKind>()};
static_assert(DhcpOptionKind::kMethod == 0 && UserAgentKind::kMethod == 1 && MacKind::kMethod == 2);

}  // namespace byod::rulekinds

#endif  // BYOD_RULEKINDS_RULE_KIND_H
