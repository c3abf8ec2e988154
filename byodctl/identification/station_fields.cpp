// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/station_fields.h"

#include <arpa/inet.h>

#include <iterator>
#include <utility>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/text/method_names.h"
#include "net/mac_text.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

constexpr const char* kCauses[] = {"address",   "dhcp",  "user-agent", "vendor-class",
                                   "host-name", "rules", "time"};

bool IsIp(const std::string& text) {
  in6_addr scratch;
  return inet_pton(AF_INET, text.c_str(), &scratch) == 1 ||
         inet_pton(AF_INET6, text.c_str(), &scratch) == 1;
}

Json TimeOrNull(const Fields& fields, uint16_t type) {
  return fields.Has(type) ? Json(TimeText(fields.Counter(type))) : Json();
}

Json AnswerJson(const Fields& answer) {
  return {{"vendor", answer.Text(BYOD_TLV_VENDOR)},
          {"category", answer.Text(BYOD_TLV_DEVTYPE)},
          {"os", answer.Text(BYOD_TLV_OS)},
          {"name", answer.Text(BYOD_TLV_DEVNAME)}};
}

Json AddressesJson(const Fields& station) {
  Json addresses = Json::EmptyArray();
  station.ForEachNested(BYOD_EXT_ADDRESS, [&](const Fields& address) {
    addresses.Append({{"address", address.Text(BYOD_EXT_IP)},
                      {"lease_end", TimeOrNull(address, BYOD_EXT_LEASE_END)},
                      {"last", TimeText(address.Counter(BYOD_EXT_TIME))},
                      {"feed", address.Text(BYOD_EXT_FEED)}});
  });
  return addresses;
}

std::string AddressesText(const Fields& station) {
  std::string text;
  station.ForEachNested(BYOD_EXT_ADDRESS, [&](const Fields& address) {
    text += (text.empty() ? "" : " ") + address.Text(BYOD_EXT_IP);
  });
  return text;
}

/// The option lists, or the User-Agents.
Json SeenJson(const Fields& station, uint16_t type) {
  Json all = Json::EmptyArray();
  station.ForEachNested(type, [&](const Fields& seen) {
    const bool is_list = type == BYOD_EXT_SEEN_LIST;
    const FingerprintText text = FingerprintIn(seen);
    Json object = {{is_list ? "options" : "user_agent", is_list ? text.options : text.user_agent},
                   {"chosen", seen.Number(BYOD_EXT_CHOSEN) == 1}};
    if (!is_list) object.Set("background", seen.Number(BYOD_EXT_BACKGROUND) == 1);
    object.Set("answer", AnswerJson(seen));
    object.Set("seen", seen.Counter(BYOD_EXT_SEEN));
    object.Set("first", TimeText(seen.Counter(BYOD_EXT_FIRST_TIME)));
    object.Set("last", TimeText(seen.Counter(BYOD_EXT_TIME)));
    object.Set("feed", seen.Text(BYOD_EXT_FEED));
    all.Append(std::move(object));
  });
  return all;
}

Json MethodsJson(const Fields& station) {
  Json methods = Json::EmptyObject();
  station.ForEachNested(BYOD_EXT_METHOD_ANSWER, [&](const Fields& answer) {
    const uint32_t method = answer.Number(BYOD_EXT_METHOD);
    if (method < BYOD_METHOD_COUNT) methods.Set(kMethodNames[method], AnswerJson(answer));
  });
  return methods;
}

Json HistoryJson(const Fields& station) {
  Json changes = Json::EmptyArray();
  station.ForEachNested(BYOD_EXT_CHANGE,
                        [&](const Fields& change) { changes.Append(ChangeJson(change)); });
  return changes;
}

Json NestedAnswerJson(const Fields& change, uint16_t type) {
  Json answer;
  change.ForEachNested(type, [&](const Fields& nested) { answer = AnswerJson(nested); });
  return answer;
}

}  // namespace

void AddStationKey(Request& request, const std::string& key) {
  if (const auto mac = net::ParseMac(key)) {
    request.Bytes(BYOD_TLV_MAC, mac->data(), mac->size());
  } else {
    request.Text(BYOD_EXT_IP, key);
  }
}

std::string FaultOfStationKey(const std::string& key) {
  if (net::ParseMac(key) || IsIp(key)) return {};
  return "\"" + key + "\" is neither a MAC nor an IP address";
}

const char* CauseName(uint32_t cause) {
  return cause < std::size(kCauses) ? kCauses[cause] : "unknown";
}

std::string CauseText(const Fields& change) {
  const FingerprintText text = FingerprintIn(change);
  if (!text.options.empty()) return text.options;
  if (!text.user_agent.empty()) return text.user_agent;
  const std::string vendor_class = change.Text(BYOD_EXT_VENDOR_CLASS);
  return vendor_class.empty() ? change.Text(BYOD_EXT_HOST_NAME) : vendor_class;
}

std::string AnswerText(const Fields& fields) {
  const Answer answer = AnswerIn(fields);
  std::string text;
  for (const std::string* part : {&answer.vendor, &answer.category, &answer.os}) {
    if (!part->empty()) text += (text.empty() ? "" : ", ") + *part;
  }
  if (!answer.name.empty()) text += (text.empty() ? "" : ", ") + ("name " + answer.name);
  return text.empty() ? "-" : text;
}

Json ChangeJson(const Fields& change) {
  return {{"time", TimeText(change.Counter(BYOD_EXT_TIME))},
          {"from", NestedAnswerJson(change, BYOD_EXT_FROM)},
          {"to", NestedAnswerJson(change, BYOD_EXT_TO)},
          {"cause", CauseName(change.Number(BYOD_EXT_CAUSE))},
          {"because", CauseText(change)},
          {"feed", change.Text(BYOD_EXT_FEED)}};
}

Item StationItem(const Fields& station) {
  const FingerprintText text = FingerprintIn(station);
  const Answer answer = AnswerIn(station);
  const uint32_t flags = station.Number(BYOD_EXT_STATION_FLAGS);
  const bool is_local = IsLocallyAdministered(text.mac);
  return {{"mac", text.mac, Flagged(text.mac, is_local)},
          {"vendor", answer.vendor},
          {"category", answer.category},
          {"os", answer.os},
          {"name", answer.name},
          {"contradicting", (flags & BYOD_STATION_CONTRADICTING) != 0},
          {"shared", (flags & BYOD_STATION_SHARED) != 0},
          {"identified", (flags & BYOD_STATION_UNKNOWN) == 0},
          {"locally_administered", is_local},
          {"host_name", station.Text(BYOD_EXT_HOST_NAME)},
          {"access_device", station.Text(BYOD_EXT_ACCESS_DEVICE)},
          {"port", station.Text(BYOD_EXT_PORT)},
          {"session", station.Text(BYOD_EXT_SESSION)},
          {"addresses", AddressesJson(station), AddressesText(station)},
          {"first", TimeText(station.Counter(BYOD_EXT_FIRST_TIME))},
          {"last", TimeText(station.Counter(BYOD_EXT_TIME))},
          {"changed", TimeOrNull(station, BYOD_EXT_CHANGED)}};
}

Json StationJson(const Fields& station) {
  Json object = JsonOf(StationItem(station));
  object.Set("vendor_class", station.Text(BYOD_EXT_VENDOR_CLASS));
  object.Set("methods", MethodsJson(station));
  object.Set("option_lists", SeenJson(station, BYOD_EXT_SEEN_LIST));
  object.Set("user_agents", SeenJson(station, BYOD_EXT_SEEN_AGENT));
  object.Set("history", HistoryJson(station));
  return object;
}

}  // namespace byod::ctl
