// SPDX-License-Identifier: Apache-2.0
#include "lint/numbered_store.h"

#include <stdexcept>

#include "byod_data.h"
#include "byod_order.h"
#include "data/user_agent/match_link.h"
#include "rulefiles/load.h"

namespace byod::lint {
namespace {

template <typename Rule>
std::vector<Rule> Numbered(std::vector<Rule> rules) {
  for (size_t i = 0; i < rules.size(); ++i)
    rules[i].device = {std::to_string(i), {}, {}, {}};
  return rules;
}

size_t NumberIn(const char* name) {
  return static_cast<size_t>(std::stoul(name));
}

/// The result of a lookup by type. @param lookup  (size, out) -> status
template <typename Lookup>
std::optional<size_t> NumberOf(Lookup lookup) {
  char name[BYOD_DEVNAME_SIZE] = "";
  if (lookup(static_cast<uint32_t>(sizeof name), name) != 0) return std::nullopt;
  return NumberIn(name);
}

}  // namespace

NumberedStore::NumberedStore(const rulefiles::RuleSet& rules, rulefiles::Diagnostics& diagnostics) {
  if (BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT) != 0) {
    BYOD_data_GlobalInfoFini();
    throw std::runtime_error("no memory for the rules");
  }
  BYOD_order_Init();
  rulefiles::Load(
      {Numbered(rules.mac), Numbered(rules.user_agent), Numbered(rules.dhcp_option), {}},
      diagnostics);
}

NumberedStore::~NumberedStore() {
  BYOD_order_Fini();
  BYOD_data_GlobalInfoFini();
}

std::vector<size_t> NumberedStore::UserAgentRulesInMatchOrder() {
  std::vector<size_t> numbers;
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    numbers.push_back(NumberIn(data::RuleOfMatchLink(link)->predefined->name));
  }
  return numbers;
}

std::optional<size_t> NumberedStore::WinnerOnUserAgent(const std::string& user_agent) {
  const std::string kept = user_agent.substr(0, BYOD_USERAGENT_SIZE - 1);
  return NumberOf([&](uint32_t size, char* out) {
    return BYOD_data_GetDevTypeByUserAgent(kept.c_str(), size, out);
  });
}

std::optional<size_t> NumberedStore::WinnerOnOptions(const std::string& options) {
  return NumberOf([&](uint32_t size, char* out) {
    return BYOD_data_GetDevTypeByDhcpOption(options.c_str(), size, out);
  });
}

std::optional<size_t> NumberedStore::WinnerOnAddress(const net::MacAddress& mac) {
  return NumberOf(
      [&](uint32_t size, char* out) { return BYOD_data_GetDevTypeByMac(mac.data(), size, out); });
}

}  // namespace byod::lint
