// SPDX-License-Identifier: Apache-2.0
#include "tests/lauthd/configuration_model.h"

#include <algorithm>
#include <cstring>

namespace byod::test {
namespace {

constexpr uint32_t kAttributes[] = {BYOD_ATTR_VENDOR, BYOD_ATTR_CATEGORY, BYOD_ATTR_OS};
constexpr uint8_t kOnes[6] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
constexpr uint8_t kBlock[6] = {0xff, 0xff, 0xff, 0, 0, 0};
constexpr const char* kPredefinedName = "built in";

bool IsPredefined(int key) {
  return key % 3 == 0;
}

// Half of the addresses are blocks of them.
const uint8_t* MaskOf(int key) {
  return key % 2 == 0 ? kOnes : kBlock;
}

std::array<uint8_t, 6> MacOf(int key) {
  return {2, 0, static_cast<uint8_t>(key), 0, 0, 0};
}

// The last one is as long as a text can be.
std::string TextOf(uint32_t table, int key) {
  std::string text = (table == 1 ? "key 9," : "9,") + std::to_string(key + 1);
  if (key == kKeys - 1) {
    while (text.size() + 2 < BYOD_RULETEXT_SIZE)
      text += ",1";
  }
  return text;
}

int KeyOf(const std::string& text) {
  return std::stoi(text.substr(text.find(',') + 1)) - 1;
}

uint32_t ApplyOrder(Configuration& configuration, const Change& change) {
  const std::vector<uint32_t> wanted = change.set ? change.order : std::vector<uint32_t>{0, 1, 2};
  if (change.set && wanted == configuration.order) return BYOD_ERR_NOCHANGE;
  configuration.order = wanted;
  return 0;
}

uint32_t SetAttributes(AttributeList& present, const AttributeList& given) {
  const AttributeList before = present;
  // The values of a name that is given go, and all that are given come in their place.
  std::vector<std::string> done;
  for (const auto& [name, first_value] : given) {
    if (std::find(done.begin(), done.end(), name) != done.end()) continue;
    done.push_back(name);
    const auto named = [&](const auto& pair) { return pair.first == name; };
    const auto at = std::find_if(present.begin(), present.end(), named) - present.begin();
    std::erase_if(present, named);
    AttributeList values;
    std::copy_if(given.begin(), given.end(), std::back_inserter(values), named);
    present.insert(present.begin() + at, values.begin(), values.end());
  }
  return present == before ? uint32_t{BYOD_ERR_NOCHANGE} : 0;
}

uint32_t ApplyAuthorization(Configuration& configuration, const Change& change) {
  auto& sets = configuration.sets;
  const auto place = std::make_pair(change.group, change.category.empty() ? "*" : change.category);
  if (change.set) return SetAttributes(sets[place], change.attributes);
  if (change.attributes.empty()) {
    const size_t gone = std::erase_if(sets, [&](const auto& set) {
      return set.first.first == change.group &&
             (change.category.empty() || set.first.second == change.category);
    });
    return gone > 0 ? 0 : uint32_t{BYOD_ERR_FAILED};
  }
  const auto set = sets.find(place);
  if (set == sets.end()) return BYOD_ERR_FAILED;
  const size_t gone = std::erase_if(set->second, [&](const auto& pair) {
    return std::any_of(change.attributes.begin(), change.attributes.end(),
                       [&](const auto& name) { return name.first == pair.first; });
  });
  if (set->second.empty()) sets.erase(set);
  return gone > 0 ? 0 : uint32_t{BYOD_ERR_FAILED};
}

uint32_t ApplyRule(Configuration& configuration, const Change& change) {
  const auto place = std::make_pair(change.table, change.key);
  auto rule = configuration.rules.find(place);
  const bool missing = rule == configuration.rules.end();
  if (missing && !change.set) return BYOD_ERR_FAILED;
  if (missing) rule = configuration.rules.emplace(place, RuleState{true, {}}).first;
  if (change.action == Action::kValue) {
    if (change.set) return missing ? 0 : uint32_t{BYOD_ERR_NOCHANGE};
    if (rule->second.custom) {
      configuration.rules.erase(rule);
      return 0;
    }
    if (!rule->second.Modified()) return BYOD_ERR_NOCHANGE;
    rule->second.texts = {};
    return 0;
  }
  std::string& text = rule->second.texts[change.action == Action::kName ? 0 : change.attribute];
  const std::string wanted = change.set ? change.text : "";
  if (text == wanted && !missing) return BYOD_ERR_NOCHANGE;
  text = wanted;
  // The last attribute takes a custom rule with it; a name does not.
  const auto& texts = rule->second.texts;
  const bool empty =
      std::all_of(texts.begin(), texts.end(), [](const auto& one) { return one.empty(); });
  if (empty && rule->second.custom && change.action == Action::kAttribute) {
    configuration.rules.erase(rule);
  }
  return 0;
}

ByodOrder OrderOf(const Change& change) {
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  std::copy(change.order.begin(), change.order.end(), order.slots);
  return order;
}

// Texts beyond their fields would be cut.
ByodDeviceInfo InfoOf(const Change& change) {
  return Info("", change.text.c_str(), change.text.c_str(), change.text.c_str());
}

uint32_t RequestValue(const Change& change) {
  const std::string text = TextOf(change.table, change.key);
  switch (change.table) {
    case 0:
      return BYOD_cfgmsg_SetDhcpOptValue(change.set, text.c_str());
    case 1:
      return BYOD_cfgmsg_SetUAValue(change.set, text.c_str());
    default:
      return BYOD_cfgmsg_SetMacValue(change.set, MacOf(change.key).data(), MaskOf(change.key));
  }
}

uint32_t RequestName(const Change& change) {
  const std::string text = TextOf(change.table, change.key);
  const char* const name = change.set ? change.text.c_str() : nullptr;
  ByodDhcpOptionRule option = {};
  ByodUserAgentRule agent = {};
  ByodMacRule mac = {};
  switch (change.table) {
    case 0:
      std::strcpy(option.text, text.c_str());
      return BYOD_cfgmsg_SetDhcpOptionRule(change.set, name, &option);
    case 1:
      std::strcpy(agent.keyword, text.c_str());
      return BYOD_cfgmsg_SetUserAgentRule(change.set, name, &agent);
    default:
      std::memcpy(mac.mac, MacOf(change.key).data(), sizeof mac.mac);
      std::memcpy(mac.mask, MaskOf(change.key), sizeof mac.mask);
      return BYOD_cfgmsg_SetMacRule(change.set, name, &mac);
  }
}

uint32_t RequestAttribute(const Change& change) {
  const std::string text = TextOf(change.table, change.key);
  const ByodDeviceInfo info = InfoOf(change);
  const uint32_t kind = kAttributes[change.attribute - 1];
  switch (change.table) {
    case 0:
      return BYOD_cfgmsg_SetDhcpOptDevAttr(change.set, text.c_str(), &info, kind);
    case 1:
      return BYOD_cfgmsg_SetUADevAttr(change.set, text.c_str(), &info, kind);
    default:
      return BYOD_cfgmsg_SetMacDevAttr(change.set, MacOf(change.key).data(), MaskOf(change.key),
                                       &info, kind);
  }
}

void AppendKey(Appender& append, const Change& change) {
  const std::string text = TextOf(change.table, change.key);
  if (change.table == 0) append.Text(BYOD_TLV_DHCPOPT, text.c_str());
  if (change.table == 1) append.Text(BYOD_TLV_USERAGENT, text.c_str());
  if (change.table == 2) {
    append.Address(BYOD_TLV_MAC, MacOf(change.key).data());
    append.Address(BYOD_TLV_MACMASK, MaskOf(change.key));
  }
}

void AppendAuthorization(Appender& append, const Change& change) {
  append.Text(BYOD_EXT_GROUP, change.group.c_str());
  append.PresentText(BYOD_TLV_DEVTYPE, change.category.c_str());
  for (const auto& [name, value] : change.attributes) {
    append.Text(BYOD_EXT_ATTR_NAME, name.c_str());
    if (change.set) append.Text(BYOD_EXT_ATTR_VALUE, value.c_str());
  }
}

// What the daemon told of its rules, by the requests of its own that tell most.
void ReadRules(Client& client, uint32_t table, Configuration& configuration) {
  const Message request =
      MakeRequest(BYOD_OP_GET, BYOD_MSG_DHCPOPT_LIST + table,
                  [](Appender& append) { append.Number(BYOD_TLV_QUERYARG2, 1); });
  EXPECT_EQ(
      client.AskSeries(
          request,
          [&](const Message& reply) {
            for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE)) {
              RuleState state;
              state.custom = NumberOf(rule, BYOD_TLV_RULESRC) == 1;
              state.texts = {test::TextOf(rule, BYOD_TLV_DEVNAME),
                             test::TextOf(rule, BYOD_TLV_VENDOR),
                             test::TextOf(rule, BYOD_TLV_DEVTYPE), test::TextOf(rule, BYOD_TLV_OS)};
              EXPECT_EQ(NumberOf(rule, BYOD_TLV_RULEWORD), state.Modified() ? 1u : 0u);
              uint8_t mac[6] = {};
              BYOD_tlv_GetMacValueByType(rule.get(), BYOD_TLV_MAC, 6, mac);
              const int key = table == 2
                                  ? mac[2]
                                  : KeyOf(test::TextOf(
                                        rule, table == 0 ? BYOD_TLV_DHCPOPT : BYOD_TLV_USERAGENT));
              const bool first = configuration.rules.emplace(std::pair(table, key), state).second;
              EXPECT_TRUE(first) << "told twice";
            }
          }),
      0u);
}

void ReadSets(Client& client, Configuration& configuration) {
  const Message request = MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_AUTHORIZATION);
  EXPECT_EQ(client.AskSeries(request,
                             [&](const Message& reply) {
                               for (const Message& set : NestedIn(reply, BYOD_EXT_AUTHORIZATION)) {
                                 AttributeList attributes;
                                 for (uintptr_t at = TLV_GetFirst(set.get()); at != 0;
                                      at = TLV_GetNext(set.get(), at)) {
                                   char text[BYOD_EXT_ATTR_VALUE_SIZE] = "";
                                   TLV_GetValueByIterator(
                                       set.get(), at, TLV_GetLenByIterator(set.get(), at), text);
                                   const uint16_t type = TLV_GetTypeByIterator(set.get(), at);
                                   if (type == BYOD_EXT_ATTR_NAME)
                                     attributes.emplace_back(text, "");
                                   if (type == BYOD_EXT_ATTR_VALUE) attributes.back().second = text;
                                 }
                                 configuration.sets[{test::TextOf(set, BYOD_EXT_GROUP),
                                                     test::TextOf(set, BYOD_TLV_DEVTYPE)}] =
                                     attributes;
                               }
                             }),
            0u);
}

// What the library's listings tell: rules with their informations merged.
std::map<std::pair<uint32_t, int>, std::array<std::string, 4>> listed;

void Take(uint32_t table, int key, const ByodDeviceInfo* info) {
  std::array<std::string, 4> texts;
  if (info != nullptr) texts = {info->name, info->vendor, info->category, info->os};
  EXPECT_TRUE(listed.emplace(std::pair(table, key), texts).second) << "listed twice";
}

void CheckListings(const Configuration& configuration) {
  listed.clear();
  EXPECT_EQ(BYOD_cfgmsg_GetAndShowDhcpOtionRules([](const void* bytes) {
              const auto& rule = *static_cast<const ByodDhcpOptionRule*>(bytes);
              Take(0, KeyOf(rule.text), rule.configured);
              return 0u;
            }),
            0u);
  EXPECT_EQ(BYOD_cfgmsg_GetAndShowUserAgentRules([](const void* bytes) {
              const auto& rule = *static_cast<const ByodUserAgentRule*>(bytes);
              Take(1, KeyOf(rule.keyword), rule.configured);
              return 0u;
            }),
            0u);
  EXPECT_EQ(BYOD_cfgmsg_GetAndShowMacRules([](const void* bytes) {
              const auto& rule = *static_cast<const ByodMacRule*>(bytes);
              EXPECT_EQ(std::memcmp(rule.mask, MaskOf(rule.mac[2]), sizeof rule.mask), 0);
              Take(2, rule.mac[2], rule.configured);
              return 0u;
            }),
            0u);
  decltype(listed) expected;
  for (const auto& [place, rule] : configuration.rules) {
    auto texts = rule.texts;
    if (!rule.custom && texts[0].empty()) texts[0] = kPredefinedName;
    expected[place] = texts;
  }
  EXPECT_EQ(listed, expected);
}

}  // namespace

bool RuleState::Modified() const {
  return !custom && std::any_of(texts.begin(), texts.end(),
                                [](const std::string& text) { return !text.empty(); });
}

void PrintTo(const Configuration& configuration, std::ostream* out) {
  for (const auto& [place, rule] : configuration.rules) {
    *out << "\n  " << place.first << '/' << place.second << (rule.custom ? " custom" : "");
    for (const std::string& text : rule.texts)
      *out << " \"" << text << '"';
  }
  *out << "\n  order";
  for (const uint32_t method : configuration.order)
    *out << ' ' << method;
  for (const auto& [place, attributes] : configuration.sets) {
    *out << "\n  " << place.first << '/' << place.second;
    for (const auto& [name, value] : attributes)
      *out << ' ' << name << '=' << value;
  }
}

Change RandomChange(std::mt19937_64& random) {
  Change change;
  const auto number = random() % 20;
  change.action = number == 0  ? Action::kOrder
                  : number < 4 ? Action::kAuthorization
                               : static_cast<Action>(random() % 3);
  change.set = random() % 3 != 0;
  change.table = static_cast<uint32_t>(random() % 3);
  change.key = static_cast<int>(random() % kKeys);
  change.attribute = static_cast<uint32_t>(1 + random() % 3);
  change.text = "text " + std::to_string(random() % 4);
  if (random() % 8 == 0) change.text.resize(BYOD_ATTR_SIZE - 1, '.');
  change.order = {0, 1, 2};
  std::shuffle(change.order.begin(), change.order.end(), random);
  change.order.resize(1 + random() % 3);
  change.group = "group " + std::to_string(random() % 3);
  if (random() % 3 != 0) change.category = "category " + std::to_string(random() % 3);
  const auto count = change.set ? 1 + random() % 3 : random() % 2;
  for (uint64_t i = 0; i < count; ++i) {
    change.attributes.emplace_back("name " + std::to_string(random() % 3),
                                   std::string(random() % 250, 'v') + std::to_string(random() % 4));
  }
  return change;
}

uint32_t Apply(Configuration& configuration, const Change& change) {
  switch (change.action) {
    case Action::kOrder:
      return ApplyOrder(configuration, change);
    case Action::kAuthorization:
      return ApplyAuthorization(configuration, change);
    default:
      return ApplyRule(configuration, change);
  }
}

uint32_t Request(const Change& change) {
  switch (change.action) {
    case Action::kValue:
      return RequestValue(change);
    case Action::kName:
      return RequestName(change);
    case Action::kAttribute:
      return RequestAttribute(change);
    case Action::kOrder: {
      const ByodOrder order = OrderOf(change);
      return BYOD_cfgmsg_SetOrder(change.set, &order);
    }
    case Action::kAuthorization:
      break;
  }
  return Byod_SendAndGetResult(Encode(change).get());
}

Message Encode(const Change& change) {
  const uint32_t operation = change.set ? BYOD_OP_SET : BYOD_OP_UNDO;
  switch (change.action) {
    case Action::kOrder:
      return MakeRequest(operation, BYOD_MSG_ORDER, [&](Appender& append) {
        for (const uint32_t method : change.order)
          append.Number(BYOD_TLV_ORDER, method);
      });
    case Action::kAuthorization:
      return MakeRequest(operation, BYOD_EXT_MSG_AUTHORIZATION,
                         [&](Appender& append) { AppendAuthorization(append, change); });
    case Action::kValue:
      return MakeRequest(operation, BYOD_MSG_DHCPOPT_VALUE + change.table,
                         [&](Appender& append) { AppendKey(append, change); });
    case Action::kName:
      return MakeRequest(operation, BYOD_MSG_DHCPOPTRULE + change.table, [&](Appender& append) {
        AppendKey(append, change);
        if (change.set) append.Text(BYOD_TLV_DEVNAME, change.text.c_str());
      });
    case Action::kAttribute:
      break;
  }
  return MakeRequest(operation, BYOD_MSG_DHCPOPT_DEVATTR + change.table, [&](Appender& append) {
    const ByodDeviceInfo info = InfoOf(change);
    const uint32_t kind = kAttributes[change.attribute - 1];
    append.Number(BYOD_TLV_ATTRKIND, kind);
    AppendKey(append, change);
    append.Combine(BYOD_tlv_EncapDevAttr(append.message(), kind, &info));
  });
}

Configuration WritePredefined(DaemonProcess& daemon) {
  std::string user_agents = "expression,name,vendor,category,os\n";
  std::string options = "options,name,vendor,category,os\n";
  std::string macs = "mac,mask,name,vendor,category,os\n";
  Configuration configuration;
  for (int key = 0; key < kKeys; ++key) {
    if (!IsPredefined(key)) continue;
    const std::string rest = std::string(",") + kPredefinedName + ",,,\n";
    user_agents += '"' + TextOf(1, key) + '"' + rest;
    options += '"' + TextOf(0, key) + '"' + rest;
    char mac[64];
    std::snprintf(mac, sizeof mac, "02:00:%02x:00:00:00/%d,", key, key % 2 == 0 ? 48 : 24);
    macs += mac + rest;
    for (uint32_t table = 0; table < 3; ++table)
      configuration.rules[{table, key}] = {};
  }
  daemon.WriteRules("user-agent.csv", user_agents);
  daemon.WriteRules("dhcp-option.csv", options);
  daemon.WriteRules("mac.csv", macs);
  return configuration;
}

Configuration ReadAll(const DaemonProcess& daemon) {
  Client client(daemon);
  Configuration configuration;
  for (uint32_t table = 0; table < 3; ++table)
    ReadRules(client, table, configuration);
  ReadSets(client, configuration);
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  EXPECT_EQ(BYOD_cfgmsg_GetOrder(&order), 0u);
  configuration.order.clear();
  for (const uint32_t slot : order.slots) {
    if (slot != BYOD_ORDER_NO_SLOT) configuration.order.push_back(slot);
  }
  CheckListings(configuration);
  return configuration;
}

}  // namespace byod::test
