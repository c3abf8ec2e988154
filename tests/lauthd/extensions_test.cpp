// SPDX-License-Identifier: Apache-2.0
// What our own front end asks beyond the configuration messages.
#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

constexpr char kUserAgents[] =
    "expression,name,vendor,category,os\n"
    "iPhone,Apple iPhone,Apple,phone,iOS\n"
    "Printer,,,printer,\n";
constexpr char kOptions[] =
    "options,name,vendor,category,os\n"
    "\"1,3,6\",,Acme,,\n";

Message Fingerprint(uint32_t kind, const char* ua, const std::vector<uint8_t>& options = {},
                    const char* group = nullptr) {
  return MakeRequest(BYOD_OP_GET, kind, [&](Appender& append) {
    if (!options.empty()) {
      append.Bytes(BYOD_TLV_OPTION55, static_cast<uint32_t>(options.size()), options.data());
    }
    append.PresentText(BYOD_TLV_USERAGENT, ua);
    if (group != nullptr) append.Text(BYOD_EXT_GROUP, group);
  });
}

Message Authorization(uint32_t operation, const char* group, const char* category,
                      const std::vector<std::pair<const char*, const char*>>& pairs = {}) {
  return MakeRequest(operation, BYOD_EXT_MSG_AUTHORIZATION, [&](Appender& append) {
    if (group != nullptr) append.Text(BYOD_EXT_GROUP, group);
    if (category != nullptr) append.Text(BYOD_TLV_DEVTYPE, category);
    for (const auto& [name, value] : pairs) {
      append.Text(BYOD_EXT_ATTR_NAME, name);
      if (value != nullptr) append.Text(BYOD_EXT_ATTR_VALUE, value);
    }
  });
}

Message Phase(uint32_t kind, uint32_t phase, const std::function<void(Appender&)>& fill = {}) {
  return MakeRequest(BYOD_OP_SET, kind, [&](Appender& append) {
    append.Number(BYOD_EXT_PHASE, phase);
    if (fill) fill(append);
  });
}

Message Value(uint32_t operation, const char* keyword) {
  return MakeRequest(operation, BYOD_MSG_UA_VALUE,
                     [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, keyword); });
}

/// All sets as "group/category name=value ...".
std::vector<std::string> Sets(Client& client) {
  std::vector<std::string> sets;
  client.AskSeries(Authorization(BYOD_OP_GET, nullptr, nullptr), [&](const Message& reply) {
    for (const Message& set : NestedIn(reply, BYOD_EXT_AUTHORIZATION)) {
      std::string text = TextOf(set, BYOD_EXT_GROUP) + "/" + TextOf(set, BYOD_TLV_DEVTYPE);
      for (uintptr_t at = TLV_GetFirst(set.get()); at != 0; at = TLV_GetNext(set.get(), at)) {
        char value[256] = "";
        const uint16_t type = TLV_GetTypeByIterator(set.get(), at);
        TLV_GetValueByIterator(set.get(), at, TLV_GetLenByIterator(set.get(), at), value);
        if (type == BYOD_EXT_ATTR_NAME) text += std::string(" ") + value;
        if (type == BYOD_EXT_ATTR_VALUE) text += std::string("=") + value;
      }
      sets.push_back(text);
    }
  });
  return sets;
}

Message CategoryOf(uint32_t operation, const char* keyword, const char* category) {
  return MakeRequest(operation, BYOD_MSG_UA_DEVATTR, [&](Appender& append) {
    append.Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_CATEGORY).Text(BYOD_TLV_USERAGENT, keyword);
    append.Text(BYOD_TLV_DEVTYPE, category);
  });
}

/// What the rules answer, as it comes.
std::vector<std::string> Categories(Client& client) {
  std::vector<std::string> categories;
  EXPECT_EQ(client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_CATEGORIES),
                             [&](const Message& reply) {
                               for (uintptr_t at = TLV_GetFirst(reply.get()); at != 0;
                                    at = TLV_GetNext(reply.get(), at)) {
                                 if (TLV_GetTypeByIterator(reply.get(), at) != BYOD_TLV_DEVTYPE)
                                   continue;
                                 char text[BYOD_ATTR_SIZE] = "";
                                 TLV_GetValueByIterator(
                                     reply.get(), at, TLV_GetLenByIterator(reply.get(), at), text);
                                 categories.emplace_back(text);
                               }
                             }),
            0u);
  return categories;
}

constexpr Verdict kDone = {0, 0};

class Extensions : public testing::Test {
 protected:
  void SetUp() override {
    daemon_.WriteRules("user-agent.csv", kUserAgents);
    daemon_.WriteRules("dhcp-option.csv", kOptions);
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  }
  uint32_t Count(Client& client) {
    return NumberOf(client.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT);
  }

  DaemonProcess daemon_;
};

TEST_F(Extensions, ExplanationTellsTheStepsOfBothSearches) {
  Client client(daemon_);
  client.Ask(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, [](Appender& append) {
    append.Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_OS).Text(BYOD_TLV_USERAGENT, "iPhone");
    append.Text(BYOD_TLV_OS, "iPhone OS");
  });
  const Message reply = client.Ask(Fingerprint(BYOD_EXT_MSG_EXPLAIN, "an iPhone", {1, 3, 6}));
  EXPECT_EQ(VerdictOf(reply), kDone);
  EXPECT_EQ(TextOf(reply, BYOD_TLV_VENDOR), "Acme");
  EXPECT_EQ(TextOf(reply, BYOD_TLV_OS), "iPhone OS");
  EXPECT_EQ(TextOf(reply, BYOD_EXT_DERIVED_VENDOR), "Apple");
  const auto steps = NestedIn(reply, BYOD_EXT_STEP);
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(NumberOf(steps[0], BYOD_EXT_METHOD), uint32_t{BYOD_METHOD_DHCP});
  EXPECT_EQ(TextOf(steps[0], BYOD_EXT_RULE_TEXT), "1,3,6");
  EXPECT_EQ(NumberOf(steps[0], BYOD_EXT_SUPPLIED), uint32_t{BYOD_FIELD_VENDOR});
  EXPECT_EQ(NumberOf(steps[1], BYOD_EXT_SUPPLIED), uint32_t{BYOD_FIELD_CATEGORY | BYOD_FIELD_OS});
  EXPECT_EQ(NumberOf(steps[1], BYOD_EXT_CONFIGURED), uint32_t{BYOD_FIELD_OS});
  EXPECT_EQ(TextOf(steps[1], BYOD_EXT_RULE_TEXT), "iPhone");
  EXPECT_EQ(NumberOf(steps[1], BYOD_EXT_NEXT), uint32_t{BYOD_NEXT_COMPLETE});
  const auto name_steps = NestedIn(reply, BYOD_EXT_NAME_STEP);
  ASSERT_EQ(name_steps.size(), 2u);
  EXPECT_EQ(NumberOf(name_steps[0], BYOD_EXT_SUPPLIED), 0u);
  EXPECT_EQ(TextOf(name_steps[1], BYOD_TLV_DEVNAME), "Apple iPhone");
  EXPECT_EQ(NumberOf(name_steps[1], BYOD_EXT_SUPPLIED), uint32_t{BYOD_FIELD_NAME});
  const Message nothing = client.Ask(Fingerprint(BYOD_EXT_MSG_EXPLAIN, "a toaster"));
  EXPECT_EQ(VerdictOf(nothing), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_UNIDENTIFIED}));
  const auto failed = NestedIn(nothing, BYOD_EXT_STEP);
  ASSERT_EQ(failed.size(), 3u);
  EXPECT_EQ(NumberOf(failed[0], BYOD_EXT_OUTCOME), uint32_t{BYOD_OUTCOME_NO_PART});
  EXPECT_EQ(NumberOf(failed[1], BYOD_EXT_OUTCOME), uint32_t{BYOD_OUTCOME_NO_RULE});
  EXPECT_EQ(NumberOf(failed[2], BYOD_EXT_NEXT), uint32_t{BYOD_NEXT_EXHAUSTED});
}

// The explanation said that a terminal without an address has nothing for the MAC rules, while the
// answer beside it held the name of the rule for the address of zeros.
TEST_F(Extensions, AnAddressOfZerosIsExplainedAsLookedUpForTheName) {
  daemon_.WriteRules("mac.csv", "mac,mask,name,vendor,category,os\n00:00:00/24,,Zero,V,C,O\n");
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart());
  Client client(daemon_);
  const Message reply = client.Ask(Fingerprint(BYOD_EXT_MSG_EXPLAIN, ""));
  EXPECT_EQ(VerdictOf(reply), kDone);
  EXPECT_EQ(TextOf(reply, BYOD_TLV_DEVNAME), "Zero");
  EXPECT_EQ(TextOf(reply, BYOD_TLV_VENDOR), "");
  EXPECT_EQ(NumberOf(NestedIn(reply, BYOD_EXT_STEP).at(2), BYOD_EXT_OUTCOME),
            uint32_t{BYOD_OUTCOME_NO_PART});
  EXPECT_EQ(TextOf(NestedIn(reply, BYOD_EXT_NAME_STEP).at(2), BYOD_EXT_RULE_TEXT),
            "00:00:00:00:00:00/24");
}

TEST_F(Extensions, StatusCountsWhatHappened) {
  Client client(daemon_);
  client.Ask(Value(BYOD_OP_SET, "one"));
  client.Ask(Fingerprint(BYOD_MSG_DEVATTR_BY_FP, "an iPhone"));
  client.Ask(Fingerprint(BYOD_MSG_DEVATTR_BY_FP, "a toaster"));
  const Message status = client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS);
  EXPECT_EQ(CounterOf(status, BYOD_EXT_REQUESTS), 4u) << "the fixture asked once";
  EXPECT_EQ(CounterOf(status, BYOD_EXT_REFUSED), 1u);
  EXPECT_EQ(CounterOf(status, BYOD_EXT_IDENTIFICATIONS), 2u);
  EXPECT_EQ(CounterOf(status, BYOD_EXT_UNKNOWNS), 1u);
  EXPECT_EQ(CounterOf(status, BYOD_EXT_CHANGES), 1u);
  EXPECT_EQ(NumberOf(status, BYOD_EXT_DATABASE, 9), uint32_t{BYOD_DATABASE_OPEN});
  EXPECT_EQ(NumberOf(status, BYOD_EXT_RULE_LIMIT), BYOD_NO_RULE_LIMIT);
  const auto tables = NestedIn(status, BYOD_EXT_TABLE);
  ASSERT_EQ(tables.size(), 3u);
  EXPECT_EQ(NumberOf(tables[1], BYOD_TLV_COUNT), 3u);
  EXPECT_EQ(NumberOf(tables[1], BYOD_EXT_CUSTOM), 1u);
}

TEST_F(Extensions, UnknownFingerprintsAreKeptTheLastSeenFirst) {
  Client client(daemon_);
  for (int i = 0; i < 300; ++i)
    client.Ask(Fingerprint(BYOD_MSG_DEVTYPE_BY_FP, ("toaster " + std::to_string(i)).c_str()));
  client.Ask(Fingerprint(BYOD_MSG_VENDOR_BY_FP, "toaster 200"));
  client.Ask(Fingerprint(BYOD_MSG_DEVTYPE_BY_FP, "Printer"));  // matched, only without a name
  std::vector<std::string> texts;
  std::vector<uint64_t> seen;
  const auto take = [&](const Message& reply) {
    for (const Message& one : NestedIn(reply, BYOD_EXT_UNKNOWN)) {
      texts.push_back(TextOf(one, BYOD_TLV_USERAGENT));
      seen.push_back(CounterOf(one, BYOD_EXT_SEEN));
    }
  };
  EXPECT_EQ(client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_UNKNOWN), take), 0u);
  ASSERT_EQ(texts.size(), 256u);
  EXPECT_EQ(texts[0], "toaster 200");
  EXPECT_EQ(seen[0], 2u);
  EXPECT_EQ(texts[1], "toaster 299");
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_UNDO, BYOD_EXT_MSG_UNKNOWN)), kDone);
  texts.clear();
  client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_UNKNOWN), take);
  EXPECT_TRUE(texts.empty());
}

// An option list or a User-Agent that no rule knew was missing when any other part was known.
TEST_F(Extensions, APartThatNoRuleMatchesIsKeptWhateverTheRestSays) {
  constexpr uint32_t kOptionList = 1u << BYOD_METHOD_DHCP;
  constexpr uint32_t kAgent = 1u << BYOD_METHOD_USERAGENT;
  constexpr uint32_t kAddress = 1u << BYOD_METHOD_MAC;
  constexpr uint8_t kMac[6] = {0x00, 0x99, 0x88, 0x77, 0x66, 0x55};
  Client client(daemon_);
  const auto ask = [&](const char* ua, const std::vector<uint8_t>& options, bool with_address) {
    const Message request = Fingerprint(BYOD_MSG_DEVATTR_BY_FP, ua, options);
    if (with_address) TLV_Append_Data(request.get(), BYOD_TLV_MAC, sizeof kMac, kMac);
    client.Ask(request);
  };
  using Parts = std::pair<std::string, uint32_t>;
  const auto take = [&] {
    std::vector<Parts> unknown;
    client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_UNKNOWN), [&](const Message& reply) {
      for (const Message& one : NestedIn(reply, BYOD_EXT_UNKNOWN)) {
        unknown.emplace_back(TextOf(one, BYOD_TLV_USERAGENT),
                             NumberOf(one, BYOD_EXT_UNMATCHED, 99));
      }
    });
    const Verdict none = {BYOD_ERR_NOCHANGE, BYOD_REFUSAL_NO_CHANGE};
    EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_UNDO, BYOD_EXT_MSG_UNKNOWN)),
              unknown.empty() ? none : kDone);
    return unknown;
  };
  ask("an iPhone", {1, 3, 6}, false);
  ask("an iPhone", {1, 3, 6}, true);
  ask("an iPhone", {}, true);
  EXPECT_EQ(take(), std::vector<Parts>()) << "a new address of a known terminal is nothing special";
  ask("an iPhone", {9, 9}, false);
  ask("a toaster", {1, 3, 6}, true);
  ask("a toaster", {9, 9}, true);
  ask("", {}, true);
  EXPECT_EQ(take(), (std::vector<Parts>{{"", kAddress},
                                        {"a toaster", kOptionList | kAgent | kAddress},
                                        {"a toaster", kAgent | kAddress},
                                        {"an iPhone", kOptionList}}));
  const Message status = client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS);
  EXPECT_EQ(CounterOf(status, BYOD_EXT_UNKNOWNS), 2u) << "of which nothing at all was known";

  const ByodOrder order = {{BYOD_METHOD_DHCP, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  ASSERT_EQ(BYOD_cfgmsg_SetOrder(1, &order), 0u);
  ask("a toaster", {1, 3, 6}, true);
  EXPECT_EQ(take(), std::vector<Parts>()) << "parts that are not looked at are not missed";
}

TEST_F(Extensions, WatchTellsIdentificationsUntilTheClientMoves) {
  Client watcher(daemon_);
  EXPECT_EQ(BYOD_tlv_GetErrorCode(watcher.Ask(BYOD_OP_GET, BYOD_EXT_MSG_WATCH).get()),
            uint32_t{BYOD_ERR_CONTINUE});
  Client client(daemon_);
  client.Ask(Fingerprint(BYOD_MSG_DEVATTR_BY_FP, "an iPhone"));
  client.Ask(Fingerprint(BYOD_EXT_MSG_IDENTIFY, "a toaster"));
  std::vector<Message> events;
  while (events.size() < 2) {
    const Message reply = watcher.Receive();
    ASSERT_TRUE(reply);
    for (Message& event : NestedIn(reply, BYOD_EXT_EVENT))
      events.push_back(std::move(event));
  }
  EXPECT_EQ(TextOf(events[0], BYOD_TLV_USERAGENT), "an iPhone");
  EXPECT_EQ(TextOf(events[0], BYOD_TLV_VENDOR), "Apple");
  EXPECT_EQ(NumberOf(events[0], BYOD_EXT_CLIENT, 1), getuid());
  EXPECT_EQ(NumberOf(events[1], BYOD_TLV_MSGTYPE), uint32_t{BYOD_EXT_MSG_IDENTIFY});
  EXPECT_EQ(NumberOf(events[1], BYOD_TLV_ERRCODE), uint32_t{BYOD_ERR_FAILED});
  watcher.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  EXPECT_EQ(BYOD_tlv_GetErrorCode(watcher.Receive().get()), 0u);
  EXPECT_EQ(NumberOf(watcher.Receive(), BYOD_TLV_COUNT), 2u);
}

// A watch that was asked for before the daemon took the connection in ended at once.
TEST_F(Extensions, WatchGoesOnWhenTheRequestCameFirst) {
  daemon_.Signal(SIGSTOP);
  Client watcher(daemon_);
  ASSERT_TRUE(watcher.Send(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_WATCH)));
  daemon_.Signal(SIGCONT);
  EXPECT_EQ(BYOD_tlv_GetErrorCode(watcher.Receive().get()), uint32_t{BYOD_ERR_CONTINUE});
  Client client(daemon_);
  client.Ask(Fingerprint(BYOD_MSG_DEVATTR_BY_FP, "an iPhone"));
  EXPECT_EQ(NestedIn(watcher.Receive(), BYOD_EXT_EVENT).size(), 1u);
}

TEST_F(Extensions, WatcherThatDoesNotReadLosesEventsAndIsTold) {
  Client watcher(daemon_);
  watcher.Ask(BYOD_OP_GET, BYOD_EXT_MSG_WATCH);
  Client client(daemon_);
  const Message question = Fingerprint(BYOD_MSG_DEVATTR_BY_FP, std::string(250, 'x').c_str());
  for (int i = 0; i < 6000; ++i)
    ASSERT_TRUE(client.Ask(question));
  uint64_t events = 0;
  uint64_t lost = 0;
  while (lost == 0) {
    const Message reply = watcher.Receive();
    ASSERT_TRUE(reply) << "after " << events << " events";
    events += NestedIn(reply, BYOD_EXT_EVENT).size();
    protocol::GetCounter(reply.get(), BYOD_EXT_LOST, lost);
  }
  EXPECT_GT(events, 0u);
  EXPECT_LE(events + lost, 6000u);
}

TEST_F(Extensions, AuthorizationIsLaidOverTakenAwayAndSurvivesARestart) {
  Client client(daemon_);
  EXPECT_EQ(VerdictOf(client.Ask(
                Authorization(BYOD_OP_SET, "staff", "phone", {{"vlan", "20"}, {"acl", "3000"}}))),
            kDone);
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "staff", "phone",
                                               {{"vlan", "21"}, {"user-profile", "p"}}))),
            kDone);
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "staff", nullptr, {{"vlan", "99"}}))),
            kDone);
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "guests", "phone", {{"vlan", "7"}}))),
            kDone);
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "guests", "phone", {{"vlan", "7"}}))),
            (Verdict{BYOD_ERR_NOCHANGE, BYOD_REFUSAL_NO_CHANGE}));
  const std::vector<std::string> all = {"guests/phone vlan=7", "staff/* vlan=99",
                                        "staff/phone vlan=21 acl=3000 user-profile=p"};
  EXPECT_EQ(Sets(client), all);
  client.Close();
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  Client again(daemon_);
  EXPECT_EQ(Sets(again), all);
  EXPECT_EQ(VerdictOf(again.Ask(Authorization(BYOD_OP_UNDO, "staff", "phone", {{"acl", nullptr}}))),
            kDone);
  EXPECT_EQ(VerdictOf(again.Ask(Authorization(BYOD_OP_UNDO, "guests", nullptr))), kDone);
  EXPECT_EQ(VerdictOf(again.Ask(Authorization(BYOD_OP_UNDO, "guests", nullptr))),
            (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_NOT_FOUND}));
  const std::vector<std::string> rest = {"staff/* vlan=99", "staff/phone vlan=21 user-profile=p"};
  EXPECT_EQ(Sets(again), rest);
  again.Close();
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart());
  Client last(daemon_);
  EXPECT_EQ(Sets(last), rest);
  const std::string long_name(33, 'g');
  EXPECT_EQ(
      VerdictOf(last.Ask(Authorization(BYOD_OP_SET, long_name.c_str(), "phone", {{"a", "b"}}))),
      (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}));
  EXPECT_EQ(
      VerdictOf(last.Ask(Authorization(BYOD_OP_SET, long_name.c_str() + 1, "phone", {{"a", "b"}}))),
      kDone);
}

TEST_F(Extensions, ANameOfASetKeepsAllItsValuesInTheirOrder) {
  Client client(daemon_);
  const auto set = [&](const std::vector<std::pair<const char*, const char*>>& pairs) {
    return VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "staff", "phone", pairs)));
  };
  EXPECT_EQ(set({{"av", "b"}, {"vlan", "20"}, {"av", "a"}, {"av", "b"}}), kDone);
  EXPECT_EQ(Sets(client), (std::vector<std::string>{"staff/phone av=b av=a av=b vlan=20"}));
  EXPECT_EQ(set({{"av", "b"}, {"av", "a"}, {"av", "b"}}),
            (Verdict{BYOD_ERR_NOCHANGE, BYOD_REFUSAL_NO_CHANGE}));
  EXPECT_EQ(set({{"acl", "1"}, {"av", "c"}, {"av", "d"}}), kDone);
  const std::vector<std::string> all = {"staff/phone av=c av=d vlan=20 acl=1"};
  EXPECT_EQ(Sets(client), all);
  client.Close();
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  Client again(daemon_);
  EXPECT_EQ(Sets(again), all);
  EXPECT_EQ(VerdictOf(again.Ask(Authorization(BYOD_OP_UNDO, "staff", "phone", {{"av", nullptr}}))),
            kDone);
  EXPECT_EQ(Sets(again), (std::vector<std::string>{"staff/phone vlan=20 acl=1"}));
}

TEST_F(Extensions, ValuesThatFillASetAreKeptAndOneMoreIsRefused) {
  Client client(daemon_);
  const std::string value(200, 'v');
  std::vector<std::pair<const char*, const char*>> pairs(26, {"av", value.c_str()});
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "staff", "phone", pairs))), kDone);
  const std::vector<std::string> full = Sets(client);
  ASSERT_EQ(full.size(), 1u);
  EXPECT_GT(full[0].size(), pairs.size() * value.size());
  pairs.insert(pairs.end(), 2, {"av", value.c_str()});
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "staff", "phone", pairs))),
            (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}));
  pairs.erase(pairs.begin(), pairs.end() - 2);
  pairs[0].first = pairs[1].first = "other";
  EXPECT_EQ(VerdictOf(client.Ask(Authorization(BYOD_OP_SET, "staff", "phone", pairs))),
            (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}));
  EXPECT_EQ(Sets(client), full);
}

TEST_F(Extensions, CategoriesAreThoseThatRulesAnswerNow) {
  Client client(daemon_);
  EXPECT_EQ(Categories(client), (std::vector<std::string>{"phone", "printer"}));
  client.Ask(CategoryOf(BYOD_OP_SET, "iPhone", "Phone"));
  client.Ask(CategoryOf(BYOD_OP_SET, "Printer", "Phone"));
  client.Ask(CategoryOf(BYOD_OP_SET, "toaster", "kitchen"));
  client.Ask(Value(BYOD_OP_SET, "says nothing"));
  EXPECT_EQ(Categories(client), (std::vector<std::string>{"Phone", "kitchen"}));
  client.Ask(CategoryOf(BYOD_OP_UNDO, "iPhone", "Phone"));
  client.Ask(Value(BYOD_OP_UNDO, "toaster"));
  EXPECT_EQ(Categories(client), (std::vector<std::string>{"Phone", "phone"}));
}

TEST_F(Extensions, MoreCategoriesThanAReplyHoldsAreEachGivenOnce) {
  std::string rules = "options,name,vendor,category,os\n";
  std::vector<std::string> expected = {"phone", "printer"};
  for (int i = 1; i <= 2000; ++i) {
    const std::string category = "kind " + std::string(50, 'k') + std::to_string(i % 1000);
    rules += "\"1," + std::to_string(i % 250 + 1) + "," + std::to_string(i / 250 + 1) + "\",,," +
             category + ",\n";
    if (i <= 1000) expected.push_back(category);
  }
  daemon_.WriteRules("dhcp-option.csv", rules);
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart());
  Client client(daemon_);
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(Categories(client), expected);
}

TEST_F(Extensions, IdentifyTellsTheSetThatServesTheTerminal) {
  Client client(daemon_);
  client.Ask(Authorization(BYOD_OP_SET, "staff", "phone", {{"vlan", "20"}}));
  client.Ask(Authorization(BYOD_OP_SET, "staff", "*", {{"vlan", "99"}}));
  const auto vlan = [&](const char* ua, const char* group) {
    const Message reply = client.Ask(Fingerprint(BYOD_EXT_MSG_IDENTIFY, ua, {}, group));
    const auto sets = NestedIn(reply, BYOD_EXT_AUTHORIZATION);
    return sets.empty() ? "none" : TextOf(sets[0], BYOD_EXT_ATTR_VALUE);
  };
  EXPECT_EQ(vlan("an iPhone", "staff"), "20");
  EXPECT_EQ(vlan("a Printer", "staff"), "99");
  EXPECT_EQ(vlan("a toaster", "staff"), "99");
  EXPECT_EQ(vlan("an iPhone", "guests"), "none");
  EXPECT_EQ(vlan("an iPhone", nullptr), "none");
  const Message reply = client.Ask(Fingerprint(BYOD_EXT_MSG_IDENTIFY, "an iPhone"));
  EXPECT_EQ(TextOf(reply, BYOD_TLV_DEVNAME), "Apple iPhone");
  EXPECT_EQ(TextOf(reply, BYOD_TLV_DEVTYPE), "phone");
}

TEST_F(Extensions, BytesOfAnIdentificationAreThoseOfTheDescription) {
  daemon_.WriteRules("user-agent.csv", "expression,name,vendor,category,os\niPhone,,,phone,\n");
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart());
  Client client(daemon_);
  client.Ask(Authorization(BYOD_OP_SET, "staff", "phone", {{"vlan", "20"}}));
  const Message request = MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_IDENTIFY, [](Appender& append) {
    append.Text(BYOD_TLV_USERAGENT, "iPhone").Text(BYOD_EXT_GROUP, "staff");
  });
  const std::vector<uint8_t> asked = {
      0xF9, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x2D, 0x00, 0x01, 0x00, 0x04, 0x00, 0x00, 0x00,
      0x02, 0x00, 0x02, 0x00, 0x04, 0x00, 0x00, 0x03, 0xED, 0x00, 0x05, 0x00, 0x07, 'i',  'P',
      'h',  'o',  'n',  'e',  0x00, 0x03, 0xF2, 0x00, 0x06, 's',  't',  'a',  'f',  'f',  0x00};
  const std::vector<uint8_t> answered = {
      0xF9, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x4A, 0x00, 0x0C, 0x00, 0x04, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x12, 0x00, 0x06, 'p',  'h',  'o',  'n',  'e',  0x00, 0x04, 0x1A, 0x00, 0x2C,
      0xF9, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x2C, 0x03, 0xF2, 0x00, 0x06, 's',  't',  'a',
      'f',  'f',  0x00, 0x00, 0x12, 0x00, 0x06, 'p',  'h',  'o',  'n',  'e',  0x00, 0x04, 0x1B,
      0x00, 0x05, 'v',  'l',  'a',  'n',  0x00, 0x04, 0x1C, 0x00, 0x03, '2',  '0',  0x00};
  EXPECT_EQ(BytesOf(request), asked);
  EXPECT_EQ(BytesOf(client.Ask(request)), answered);
}

TEST_F(Extensions, BulkIsKeptWholeOrTakenBackWhole) {
  Client client(daemon_);
  client.Ask(Value(BYOD_OP_SET, "before"));
  client.Ask(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, [](Appender& append) {
    append.Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_OS).Text(BYOD_TLV_USERAGENT, "before");
    append.Text(BYOD_TLV_OS, "kept");
  });
  const auto some = [&](Appender& append) {
    const std::vector<Message> changes = [] {
      std::vector<Message> made;
      made.push_back(Value(BYOD_OP_SET, "new"));
      made.push_back(Value(BYOD_OP_SET, "new"));
      made.push_back(Value(BYOD_OP_UNDO, "before"));
      made.push_back(MakeRequest(BYOD_OP_SET, BYOD_MSG_ORDER,
                                 [](Appender& order) { order.Number(BYOD_TLV_ORDER, 2); }));
      made.push_back(Authorization(BYOD_OP_SET, "g", "t", {{"a", "b"}}));
      made.push_back(MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD));
      return made;
    }();
    for (const Message& change : changes)
      append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, change.get()));
  };
  const std::vector<uint32_t> expected = {0, BYOD_ERR_NOCHANGE, 0, 0, 0, BYOD_ERR_FAILED};
  for (const uint32_t end : {BYOD_PHASE_ABORT, BYOD_PHASE_COMMIT}) {
    ASSERT_EQ(VerdictOf(client.Ask(Phase(BYOD_EXT_MSG_BULK, BYOD_PHASE_BEGIN))), kDone);
    const Message reply = client.Ask(Phase(BYOD_EXT_MSG_BULK, BYOD_PHASE_MORE, some));
    std::vector<uint32_t> codes;
    for (uintptr_t at = TLV_GetFirst(reply.get()); at != 0; at = TLV_GetNext(reply.get(), at)) {
      if (TLV_GetTypeByIterator(reply.get(), at) == BYOD_EXT_RESULT)
        codes.push_back(TLV_GetUINTByIterator(reply.get(), at));
    }
    EXPECT_EQ(codes, expected);
    EXPECT_EQ(Count(client), 3u) << "one came, one went";
    EXPECT_EQ(VerdictOf(client.Ask(Phase(BYOD_EXT_MSG_BULK, end))), kDone);
    const Message before = client.Ask(BYOD_OP_GET, BYOD_MSG_UA_VALUE, [](Appender& append) {
      append.Text(BYOD_TLV_USERAGENT, "before");
    });
    const bool aborted = end == BYOD_PHASE_ABORT;
    EXPECT_EQ(TextOf(before, BYOD_TLV_OS), aborted ? "kept" : "");
    EXPECT_EQ(Sets(client).size(), aborted ? 0u : 1u);
    EXPECT_EQ(NumberOf(client.Ask(BYOD_OP_GET, BYOD_MSG_ORDER), BYOD_TLV_ORDER), aborted ? 0u : 2u);
  }
  client.Close();
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  Client again(daemon_);
  EXPECT_EQ(Sets(again).size(), 1u);
  EXPECT_EQ(Count(again), 3u);
}

TEST_F(Extensions, ChangesOfOthersWaitForTheEndOfABulk) {
  Client bulk(daemon_);
  Client other(daemon_);
  ASSERT_EQ(VerdictOf(bulk.Ask(Phase(BYOD_EXT_MSG_BULK, BYOD_PHASE_BEGIN))), kDone);
  ASSERT_EQ(VerdictOf(bulk.Ask(Value(BYOD_OP_SET, "in the bulk"))), kDone);
  ASSERT_TRUE(other.Send(Value(BYOD_OP_SET, "of the other")));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  char byte;
  EXPECT_LT(recv(other.socket(), &byte, 1, MSG_DONTWAIT | MSG_PEEK), 0);
  Client reader(daemon_);
  EXPECT_EQ(Count(reader), 3u) << "questions do not wait";
  bulk.Close();
  EXPECT_EQ(VerdictOf(other.Receive()), kDone);
  EXPECT_EQ(Count(reader), 3u) << "the bulk was taken back";
}

TEST_F(Extensions, BackupIsRestoredWholeOrNotAtAll) {
  Client client(daemon_);
  client.Ask(Value(BYOD_OP_SET, "in the backup"));
  client.Ask(Authorization(BYOD_OP_SET, "g", "t", {{"a", "b"}}));
  std::vector<uint8_t> file;
  uint64_t total = 0;
  ASSERT_EQ(
      client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP),
                       [&](const Message& reply) {
                         protocol::GetCounter(reply.get(), BYOD_EXT_TOTAL, total);
                         const uintptr_t at = TLV_GetIteratorByType(reply.get(), BYOD_EXT_DATA);
                         std::vector<uint8_t> piece(TLV_GetLenByIterator(reply.get(), at));
                         TLV_GetValueByIterator(reply.get(), at,
                                                static_cast<uint16_t>(piece.size()), piece.data());
                         file.insert(file.end(), piece.begin(), piece.end());
                       }),
      0u);
  ASSERT_EQ(file.size(), total);
  client.Ask(Value(BYOD_OP_UNDO, "in the backup"));
  client.Ask(Value(BYOD_OP_SET, "after the backup"));
  client.Ask(BYOD_OP_SET, BYOD_MSG_ORDER, [](Appender& order) { order.Number(BYOD_TLV_ORDER, 1); });
  const auto restore = [&](const std::vector<uint8_t>& bytes) {
    Verdict verdict =
        VerdictOf(client.Ask(Phase(BYOD_EXT_MSG_RESTORE, BYOD_PHASE_BEGIN, [&](Appender& append) {
          append.Combine(protocol::AppendCounter(append.message(), BYOD_EXT_TOTAL, bytes.size()));
        })));
    for (size_t at = 0; at < bytes.size() && verdict == kDone; at += BYOD_EXT_DATA_MAX) {
      verdict =
          VerdictOf(client.Ask(Phase(BYOD_EXT_MSG_RESTORE, BYOD_PHASE_MORE, [&](Appender& append) {
            append.Bytes(
                BYOD_EXT_DATA,
                static_cast<uint32_t>(std::min<size_t>(BYOD_EXT_DATA_MAX, bytes.size() - at)),
                bytes.data() + at);
          })));
    }
    if (verdict != kDone) return verdict;
    return VerdictOf(client.Ask(Phase(BYOD_EXT_MSG_RESTORE, BYOD_PHASE_COMMIT)));
  };
  const auto has = [&](const char* keyword) {
    return VerdictOf(client.Ask(BYOD_OP_GET, BYOD_MSG_UARULE, [&](Appender& append) {
             append.Text(BYOD_TLV_USERAGENT, keyword);
           })) == kDone;
  };
  std::vector<uint8_t> damaged = file;
  damaged[damaged.size() / 2] ^= 0xff;
  EXPECT_EQ(restore(damaged), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_BAD_DATA}));
  EXPECT_EQ(restore(std::vector<uint8_t>(5000, 'x')),
            (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_BAD_DATA}));
  EXPECT_TRUE(has("after the backup"));
  EXPECT_EQ(VerdictOf(client.Ask(Value(BYOD_OP_SET, "still kept"))), kDone);
  EXPECT_EQ(restore(file), kDone);
  EXPECT_TRUE(has("in the backup"));
  EXPECT_FALSE(has("after the backup"));
  EXPECT_EQ(NumberOf(client.Ask(BYOD_OP_GET, BYOD_MSG_ORDER), BYOD_TLV_ORDER, 9), 0u);
  EXPECT_EQ(Sets(client).size(), 1u);
  EXPECT_EQ(VerdictOf(client.Ask(Value(BYOD_OP_SET, "after the restore"))), kDone);
  client.Close();
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  Client again(daemon_);
  EXPECT_EQ(Count(again), 4u);
  for (const auto& entry : std::filesystem::directory_iterator(daemon_.state()))
    EXPECT_FALSE(entry.path().filename().string().starts_with(".lauthd-")) << entry.path();
}

}  // namespace
}  // namespace byod::test
