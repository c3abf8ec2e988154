// Thousands of random changes, and a daemon that is killed again and again: every change that was
// answered is there, and at most the one on its way may be or not.
#include <array>
#include <map>
#include <random>

#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

constexpr int kChanges = 5000;
constexpr int kRestarts = 200;
constexpr int kKeys = 24;        // of each kind; every third is predefined
constexpr uint64_t kSeed = 416;  // of changes and kills

struct RuleState {
  bool custom = false;
  std::array<std::string, 4> texts;  // configured: name, vendor, category, os

  bool Modified() const {
    return !custom && std::any_of(texts.begin(), texts.end(),
                                  [](const std::string& text) { return !text.empty(); });
  }
  bool operator==(const RuleState&) const = default;
};

struct Model {
  std::map<std::pair<uint32_t, int>, RuleState> rules;  // by kind of list and key
  std::vector<uint32_t> order = {0, 1, 2};
  bool operator==(const Model&) const = default;
};

enum class Action { kValue, kName, kAttribute, kOrder };

struct Change {
  Action action;
  bool set;
  uint32_t table;  // 0 DHCP option, 1 User-Agent, 2 MAC
  int key;
  uint32_t attribute;
  std::string text;
  std::vector<uint32_t> order;
};

constexpr uint32_t kAttributes[] = {BYOD_ATTR_VENDOR, BYOD_ATTR_CATEGORY, BYOD_ATTR_OS};

bool IsPredefined(int key) {
  return key % 3 == 0;
}

/// What the daemon is to answer, and what it is to make of the model.
uint32_t Apply(Model& model, const Change& change) {
  if (change.action == Action::kOrder) {
    const std::vector<uint32_t> wanted = change.set ? change.order : std::vector<uint32_t>{0, 1, 2};
    if (change.set && wanted == model.order) return BYOD_ERR_NOCHANGE;
    model.order = wanted;
    return 0;
  }
  const auto place = std::make_pair(change.table, change.key);
  auto rule = model.rules.find(place);
  const bool missing = rule == model.rules.end();
  if (missing && !change.set) return BYOD_ERR_FAILED;
  if (missing) rule = model.rules.emplace(place, RuleState{true, {}}).first;
  if (change.action == Action::kValue) {
    if (change.set) return missing ? 0 : uint32_t{BYOD_ERR_NOCHANGE};
    if (rule->second.custom) {
      model.rules.erase(rule);
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
  return 0;
}

void AppendKey(Appender& append, uint32_t table, int key) {
  const std::string text = "9," + std::to_string(key + 1);
  const uint8_t mac[6] = {2, 0, 0, 0, 0, static_cast<uint8_t>(key)};
  const uint8_t mask[6] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  if (table == 0) append.Text(BYOD_TLV_DHCPOPT, text.c_str());
  if (table == 1) append.Text(BYOD_TLV_USERAGENT, ("key " + text).c_str());
  if (table == 2) append.Address(BYOD_TLV_MAC, mac).Address(BYOD_TLV_MACMASK, mask);
}

Message Encode(const Change& change) {
  const uint32_t operation = change.set ? BYOD_OP_SET : BYOD_OP_UNDO;
  switch (change.action) {
    case Action::kOrder:
      return MakeRequest(operation, BYOD_MSG_ORDER, [&](Appender& append) {
        for (const uint32_t method : change.order)
          append.Number(BYOD_TLV_ORDER, method);
      });
    case Action::kValue:
      return MakeRequest(operation, BYOD_MSG_DHCPOPT_VALUE + change.table,
                         [&](Appender& append) { AppendKey(append, change.table, change.key); });
    case Action::kName:
      return MakeRequest(operation, BYOD_MSG_DHCPOPTRULE + change.table, [&](Appender& append) {
        AppendKey(append, change.table, change.key);
        if (change.set) append.Text(BYOD_TLV_DEVNAME, change.text.c_str());
      });
    case Action::kAttribute:
      break;
  }
  return MakeRequest(operation, BYOD_MSG_DHCPOPT_DEVATTR + change.table, [&](Appender& append) {
    ByodDeviceInfo info = {};
    std::strcpy(info.vendor, change.text.c_str());
    std::strcpy(info.category, change.text.c_str());
    std::strcpy(info.os, change.text.c_str());
    append.Number(BYOD_TLV_ATTRKIND, kAttributes[change.attribute - 1]);
    AppendKey(append, change.table, change.key);
    append.Combine(
        BYOD_tlv_EncapDevAttr(append.message(), kAttributes[change.attribute - 1], &info));
  });
}

Change RandomChange(std::mt19937_64& random) {
  Change change;
  change.action = random() % 20 == 0 ? Action::kOrder : static_cast<Action>(random() % 3);
  change.set = random() % 3 != 0;
  change.table = static_cast<uint32_t>(random() % 3);
  change.key = static_cast<int>(random() % kKeys);
  change.attribute = static_cast<uint32_t>(1 + random() % 3);
  change.text = "text " + std::to_string(random() % 4);
  change.order = {0, 1, 2};
  std::shuffle(change.order.begin(), change.order.end(), random);
  change.order.resize(1 + random() % 3);
  return change;
}

int KeyOf(const Message& rule, uint32_t table) {
  if (table == 2) {
    uint8_t mac[6] = {};
    BYOD_tlv_GetMacValueByType(rule.get(), BYOD_TLV_MAC, sizeof mac, mac);
    return mac[5];
  }
  const std::string text =
      table == 0 ? TextOf(rule, BYOD_TLV_DHCPOPT) : TextOf(rule, BYOD_TLV_USERAGENT).substr(4);
  return std::stoi(text.substr(2)) - 1;
}

/// Reads everything that the daemon holds.
Model ReadAll(const DaemonProcess& daemon) {
  Client client(daemon);
  Model model;
  for (uint32_t table = 0; table < 3; ++table) {
    const Message request =
        MakeRequest(BYOD_OP_GET, BYOD_MSG_DHCPOPT_LIST + table,
                    [](Appender& append) { append.Number(BYOD_TLV_QUERYARG2, 1); });
    EXPECT_EQ(client.AskSeries(
                  request,
                  [&](const Message& reply) {
                    for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE)) {
                      RuleState state;
                      state.custom = NumberOf(rule, BYOD_TLV_RULESRC) == 1;
                      state.texts = {TextOf(rule, BYOD_TLV_DEVNAME), TextOf(rule, BYOD_TLV_VENDOR),
                                     TextOf(rule, BYOD_TLV_DEVTYPE), TextOf(rule, BYOD_TLV_OS)};
                      EXPECT_EQ(NumberOf(rule, BYOD_TLV_RULEWORD), state.Modified() ? 1u : 0u);
                      model.rules[{table, KeyOf(rule, table)}] = state;
                    }
                  }),
              0u);
  }
  model.order.clear();
  const Message order = client.Ask(BYOD_OP_GET, BYOD_MSG_ORDER);
  for (uintptr_t at = TLV_GetFirst(order.get()); at != 0; at = TLV_GetNext(order.get(), at)) {
    if (TLV_GetTypeByIterator(order.get(), at) == BYOD_TLV_ORDER)
      model.order.push_back(TLV_GetUINTByIterator(order.get(), at));
  }
  return model;
}

TEST(Restart, EveryChangeThatWasAnsweredIsThereAfterEveryKill) {
  DaemonProcess daemon;
  std::string user_agents = "expression,name,vendor,category,os\n";
  std::string options = "options,name,vendor,category,os\n";
  std::string macs = "mac,mask,name,vendor,category,os\n";
  Model model;
  for (int key = 0; key < kKeys; ++key) {
    if (!IsPredefined(key)) continue;
    const std::string number = std::to_string(key + 1);
    user_agents += "\"key 9," + number + "\",built in,,,\n";
    options += "\"9," + number + "\",built in,,,\n";
    char mac[64];
    std::snprintf(mac, sizeof mac, "02:00:00:00:00:%02x,,built in,,,\n", key);
    macs += mac;
    for (uint32_t table = 0; table < 3; ++table)
      model.rules[{table, key}] = {};
  }
  daemon.WriteRules("user-agent.csv", user_agents);
  daemon.WriteRules("dhcp-option.csv", options);
  daemon.WriteRules("mac.csv", macs);
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  ASSERT_EQ(ReadAll(daemon), model);

  std::mt19937_64 random(kSeed);
  int lost = 0;
  for (int restart = 0; restart < kRestarts; ++restart) {
    {
      Client client(daemon);
      for (int i = 0; i < kChanges / kRestarts - 1; ++i) {
        const Change change = RandomChange(random);
        const Message reply = client.Ask(Encode(change));
        ASSERT_EQ(BYOD_tlv_GetErrorCode(reply.get()), Apply(model, change));
      }
      // One more is on its way when the daemon is killed.
      const Change open = RandomChange(random);
      ASSERT_TRUE(client.Send(Encode(open)));
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 1500));
      ASSERT_EQ(daemon.Kill(SIGKILL), -SIGKILL);
      const Message reply = client.Receive();
      Model with_open = model;
      const uint32_t code = Apply(with_open, open);
      ASSERT_NO_FATAL_FAILURE(daemon.Start());
      const Model found = ReadAll(daemon);
      if (reply) {
        ASSERT_EQ(BYOD_tlv_GetErrorCode(reply.get()), code);
        ASSERT_EQ(found, with_open) << "an answered change is lost, restart " << restart;
      } else {
        ASSERT_TRUE(found == model || found == with_open) << "restart " << restart;
        if (found != with_open) ++lost;
      }
      model = found;
    }
  }
  RecordProperty("changes_on_their_way_that_were_lost", lost);
}

}  // namespace
}  // namespace byod::test
