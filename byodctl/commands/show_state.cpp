// SPDX-License-Identifier: Apache-2.0
// byodctl show order, show counts, show status
#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "byod_order.h"
#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/daemon/client.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/rules/rule.h"
#include "byodctl/text/counted.h"
#include "byodctl/text/order_text.h"
#include "byodctl/text/properties.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

int ShowOrder(bool json, const Settings& settings) {
  Client client(settings);
  const tlv::Message reply = client.Ask(Request(BYOD_OP_GET, BYOD_MSG_ORDER));
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  BYOD_tlv_GetOrder(reply.get(), order.slots);
  const auto names = NamesOf(order);
  Properties properties(FormOf(json), {"PLACE", "METHOD"});
  properties.AddForPrograms("order", names);
  for (size_t i = 0; i < names.size(); ++i)
    properties.AddForPeople(std::to_string(i + 1), names[i]);
  properties.Write();
  return kExitSuccess;
}

int ShowCounts(bool json, const Settings& settings) {
  Client client(settings);
  Properties properties(FormOf(json), {"KIND", "RULES"});
  uint64_t total = 0;
  for (const uint32_t kind : kRuleKindsInOrder) {
    const tlv::Message reply =
        client.Ask(Request(BYOD_OP_GET, rulekinds::kByMethod[kind].messages.count));
    const uint32_t count = Fields(reply).Number(BYOD_TLV_COUNT);
    properties.Add(kRuleKindNames[kind], kRuleKindNames[kind], count);
    total += count;
  }
  properties.Add("total", "total", total);
  properties.Write();
  return kExitSuccess;
}

/// A number of the status.
struct StatusNumber {
  const char* key;
  const char* label;
  uint16_t type;
  bool is_counter;  // of 64 bits
};
constexpr StatusNumber kStatusNumbers[] = {
    {"requests", "requests answered", BYOD_EXT_REQUESTS, true},
    {"refused", "requests refused", BYOD_EXT_REFUSED, true},
    {"identifications", "identifications", BYOD_EXT_IDENTIFICATIONS, true},
    {"unknowns", "of these unknown", BYOD_EXT_UNKNOWNS, true},
    {"changes", "changes", BYOD_EXT_CHANGES, true},
    {"reloads", "rule files read", BYOD_EXT_RELOADS, true},
    {"connections", "connections", BYOD_EXT_CONNECTIONS, false},
    {"connection_limit", "connections allowed", BYOD_EXT_CONNECTION_LIMIT, false},
    {"watchers", "connections that watch", BYOD_EXT_WATCHERS, false},
};

const char* DatabaseText(uint32_t state) {
  if (state == BYOD_DATABASE_OPEN) return "open";
  return state == BYOD_DATABASE_FAILING ? "failing" : "none";
}

std::string UptimeText(uint64_t seconds) {
  const auto two = [](uint64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
  };
  std::string text = seconds >= 86400 ? std::to_string(seconds / 86400) + " d " : "";
  return text + two(seconds / 3600 % 24) + ':' + two(seconds / 60 % 60) + ':' + two(seconds % 60);
}

/// The rules of one kind: all, added by an administrator, changed by one.
struct TableCounts {
  uint32_t rules = 0;
  uint32_t custom = 0;
  uint32_t modified = 0;
  uint32_t idle = 0;  ///< stored, but not in effect
};

std::map<uint32_t, TableCounts> TablesIn(const Fields& status) {
  std::map<uint32_t, TableCounts> tables;
  status.ForEachNested(BYOD_EXT_TABLE, [&](const Fields& table) {
    tables[table.Number(BYOD_EXT_METHOD)] = {
        table.Number(BYOD_TLV_COUNT), table.Number(BYOD_EXT_CUSTOM),
        table.Number(BYOD_EXT_MODIFIED), table.Number(BYOD_EXT_IDLE)};
  });
  return tables;
}

void AddTables(Properties& properties, const Fields& status) {
  auto tables = TablesIn(status);
  Json rules;
  for (const uint32_t kind : kRuleKindsInOrder) {
    const TableCounts& counts = tables[kind];
    rules.Set(kRuleKindNames[kind], {{"rules", counts.rules},
                                     {"custom", counts.custom},
                                     {"modified", counts.modified},
                                     {"not_in_effect", counts.idle}});
    const std::string idle =
        counts.idle > 0 ? "; " + std::to_string(counts.idle) + " not in effect" : "";
    properties.AddForPeople(std::string{kRuleKindNames[kind]} + " rules",
                            std::to_string(counts.rules) + " (" + std::to_string(counts.custom) +
                                " custom, " + std::to_string(counts.modified) + " modified" + idle +
                                ")",
                            counts.idle > 0 ? Emphasis::kAlarm : Emphasis::kNone);
  }
  properties.AddForPrograms("rules", rules);
}

constexpr uint64_t kMicrosecondsOfDay = uint64_t{86400} * 1000000;
constexpr uint64_t kDaysOfYear = 365;
constexpr size_t kDateLength = 10;

/// Whole days until now; 0 when the time is still to come.
uint64_t DaysSince(uint64_t microseconds) {
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  const auto now = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(since_1970).count());
  return now > microseconds ? (now - microseconds) / kMicrosecondsOfDay : 0;
}

/// The date of the registry, and a warning when terminals of today are missing in it.
void AddRegistry(Properties& properties, const Fields& status) {
  if (!status.Has(BYOD_EXT_REGISTRY_TIME)) {
    properties.AddForPrograms("registry_time", {});
    return properties.AddForPrograms("registry_age_days", {});
  }
  const uint64_t time = status.Counter(BYOD_EXT_REGISTRY_TIME);
  const uint64_t days = DaysSince(time);
  const bool is_old = days > kDaysOfYear;
  properties.AddForPrograms("registry_time", TimeText(time));
  properties.AddForPrograms("registry_age_days", days);
  const std::string date = TimeText(time).substr(0, kDateLength);
  properties.AddForPeople("address registry",
                          "of " + date + ", " + Counted(days, "day") + " old" +
                              (is_old ? "; byod-update-registry replaces it" : ""),
                          is_old ? Emphasis::kAlarm : Emphasis::kNone);
}

/// How many modifications have lost their rules, and how many of them a rebind moves.
void AddBindings(Properties& properties, const Fields& status) {
  const uint32_t gone = status.Number(BYOD_EXT_GONE);
  const uint32_t movable = status.Number(BYOD_EXT_MOVABLE);
  properties.AddForPrograms("modifications_without_rule", gone);
  properties.AddForPrograms("modifications_with_successor", movable);
  if (gone == 0) return;
  properties.AddForPeople(
      "modifications whose rules are gone",
      std::to_string(gone) + " (" + std::to_string(movable) + " can move to a successor)",
      Emphasis::kAlarm);
}

int ShowStatus(bool json, const Settings& settings) {
  Client client(settings);
  const tlv::Message reply = client.Ask(Request(BYOD_OP_GET, BYOD_EXT_MSG_STATUS));
  const Fields status(reply);
  Properties properties(FormOf(json));
  properties.Add("version", "version", status.Text(BYOD_EXT_VERSION));
  const uint64_t uptime = status.Counter(BYOD_EXT_UPTIME);
  properties.Add("uptime_s", "up for", uptime, UptimeText(uptime));
  AddTables(properties, status);
  AddBindings(properties, status);
  const uint32_t limit = status.Number(BYOD_EXT_RULE_LIMIT, BYOD_NO_RULE_LIMIT);
  if (limit == BYOD_NO_RULE_LIMIT) {
    properties.Add("rule_limit", "custom rules allowed", {}, "any number");
  } else {
    properties.Add("rule_limit", "custom rules allowed", limit);
  }
  for (const StatusNumber& row : kStatusNumbers) {
    properties.Add(row.key, row.label,
                   row.is_counter ? status.Counter(row.type) : status.Number(row.type));
  }
  const uint32_t database = status.Number(BYOD_EXT_DATABASE);
  properties.Add("database", "database", DatabaseText(database), DatabaseText(database),
                 database == BYOD_DATABASE_FAILING ? Emphasis::kAlarm : Emphasis::kNone);
  if (status.Has(BYOD_EXT_RELOAD_FAILURE)) {
    const std::string failure = status.Text(BYOD_EXT_RELOAD_FAILURE);
    properties.Add("reload_failure", "last reload failed", failure, failure, Emphasis::kAlarm);
  } else {
    properties.AddForPrograms("reload_failure", {});
  }
  AddRegistry(properties, status);
  properties.Write();
  return kExitSuccess;
}

Run DefineShow(Parser& parser, const Settings& settings, int (*show)(bool, const Settings&),
               const std::string& keys) {
  const auto json = std::make_shared<bool>(false);
  AddJsonOption(parser, *json, keys);
  return [json, show, &settings] { return show(*json, settings); };
}

std::string StatusKeys() {
  std::string keys =
      "version, uptime_s, rules (by kind) {rules, custom, modified, not_in_effect}, "
      "modifications_without_rule, modifications_with_successor, rule_limit (or null)";
  for (const StatusNumber& row : kStatusNumbers)
    keys += std::string{", "} + row.key;
  return keys +
         ", database (open, failing or none), reload_failure (or null), registry_time "
         "(or null), registry_age_days (or null)";
}

}  // namespace

Run DefineShowOrder(Parser& parser, const Settings& settings) {
  return DefineShow(parser, settings, &ShowOrder, "order (the names of the methods)");
}

Run DefineShowCounts(Parser& parser, const Settings& settings) {
  return DefineShow(parser, settings, &ShowCounts, "mac, user-agent, dhcp-option, total");
}

Run DefineShowStatus(Parser& parser, const Settings& settings) {
  return DefineShow(parser, settings, &ShowStatus, StatusKeys());
}

}  // namespace byod::ctl
