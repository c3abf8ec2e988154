// SPDX-License-Identifier: Apache-2.0
#include "explain/rule_search.h"

#include <cstring>

#include "byod_order.h"
#include "data/bounded_copy.h"
#include "data/identification_log.h"
#include "data/internal.h"
#include "data/user_agent/first_match.h"
#include "data/vendor_keywords.h"
#include "lauth_text.h"
#include "mac.h"
#include "net/mac_address.h"

namespace byod::explain {
namespace {

template <typename Rule>
Match MatchOf(const Rule* rule) {
  if (rule == nullptr) return {.lookup = Lookup::kNoRule};
  return {.lookup = Lookup::kRuleMatched,
          .origin = rule->origin,
          .predefined = rule->predefined,
          .configured = rule->configured};
}

bool IsEmpty(const ByodDeviceAttribute& attributes) {
  return attributes.vendor[0] == '\0' && attributes.category[0] == '\0' && attributes.os[0] == '\0';
}

bool IsComplete(const ByodDeviceAttribute& attributes) {
  return attributes.vendor[0] != '\0' && attributes.category[0] != '\0' && attributes.os[0] != '\0';
}

}  // namespace

RuleSearch::RuleSearch(const ByodFingerPrint& fingerprint) : fingerprint_(fingerprint) {
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT) break;
    methods_[method_count_++] = slot;
  }
}

bool RuleSearch::HasAddress() const {
  return net::LoadMac(fingerprint_.mac) != 0;
}

Match RuleSearch::SearchOptions() {
  if (fingerprint_.option_length == 0) return {};
  if (BYOD_data_GetDhcpOption55String(fingerprint_.option_length, fingerprint_.options,
                                      sizeof option_text_, option_text_) != 0) {
    return {.lookup = Lookup::kTooLong};
  }
  const ByodDhcpOptionRule* const rule = BYOD_data_FindDhcpOptionRule(option_text_);
  Match match = MatchOf(rule);
  if (rule != nullptr) match.text = rule->text;
  return match;
}

Match RuleSearch::SearchUserAgents() const {
  if (fingerprint_.user_agent[0] == '\0') return {};
  const ByodUserAgentRule* const rule = data::FirstMatchInLibrary(fingerprint_.user_agent);
  Match match = MatchOf(rule);
  if (rule != nullptr) match.text = rule->keyword;
  return match;
}

Match RuleSearch::SearchBlocks() const {
  ByodMacRule probe = {};
  std::memcpy(probe.mac, fingerprint_.mac, sizeof probe.mac);
  MAC_BroadcastAddr(probe.mask);
  const ByodMacRule* const rule = BYOD_data_FindMacRule(&probe);
  Match match = MatchOf(rule);
  match.block = rule;
  return match;
}

const Match& RuleSearch::Of(uint32_t method) {
  std::optional<Match>& match = matches_[method];
  if (!match) {
    match = method == BYOD_METHOD_DHCP        ? SearchOptions()
            : method == BYOD_METHOD_USERAGENT ? SearchUserAgents()
                                              : SearchBlocks();
  }
  return *match;
}

/// What a method looks up, as the log shows it.
const void* RuleSearch::KeyOf(uint32_t method) const {
  if (method == BYOD_METHOD_DHCP) return option_text_;
  if (method == BYOD_METHOD_USERAGENT) return fingerprint_.user_agent;
  return fingerprint_.mac;
}

const AttributeAnswer& RuleSearch::FindAttributes() {
  if (attributes_) return *attributes_;
  AttributeAnswer& found = attributes_.emplace();
  for (const uint32_t method : methods()) {
    found.result = BYOD_ERR_FAILED;
    // No address is no fingerprint here, while the search for the name looks it up.
    if (method == BYOD_METHOD_MAC && !HasAddress()) continue;
    const Match& match = Of(method);
    if (match.lookup != Lookup::kRuleMatched) continue;
    found.result = 0;
    byod_data_MergeDeviceInfo(match.predefined, match.configured, &found.values);
    data::LogAttributes(method, KeyOf(method), found.values);
    if (IsComplete(found.values)) break;
  }
  if (!IsEmpty(found.values)) found.result = 0;
  return found;
}

const NameAnswer& RuleSearch::FindName() {
  if (name_) return *name_;
  NameAnswer& found = name_.emplace();
  for (const uint32_t method : methods()) {
    const Match& match = Of(method);
    if (match.lookup != Lookup::kRuleMatched) continue;
    found.result = byod_data_SelectDeviceName(match.predefined, match.configured, sizeof found.text,
                                              found.text);
    if (found.result != 0) continue;
    data::LogName(method, found.text, KeyOf(method));
    break;
  }
  return found;
}

uint32_t RuleSearch::FindDerivedVendor(char (&vendor)[BYOD_ATTR_SIZE]) {
  const NameAnswer& name = FindName();
  if (name.result != 0) return name.result;
  char lowered[BYOD_DEVNAME_SIZE];
  CopyText(lowered, name.text);
  CopyText(vendor, data::VendorOfType(lowercase(lowered)));
  return 0;
}

}  // namespace byod::explain
