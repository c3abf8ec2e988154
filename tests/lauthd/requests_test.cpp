// SPDX-License-Identifier: Apache-2.0
// Every kind of request and its refusals, asked by the library's own client functions, and by hand
// where they cannot ask so.
#include "mac.h"
#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

constexpr char kUserAgents[] =
    "expression,name,vendor,category,os\n"
    "Android&&Mobile,Android phone,,phone,Android\n"
    "iPhone,Apple iPhone,Apple,phone,iOS\n";
constexpr char kOptions[] =
    "options,name,vendor,category,os\n"
    "\"1,3,6\",Printer X,Acme,printer,\n";
constexpr char kMacs[] =
    "mac,mask,name,vendor,category,os\n"
    "00:11:22/24,,,Cimsys,,\n";

const uint8_t kMac[6] = {0x00, 0x11, 0x22, 0, 0, 0};
const uint8_t kInside[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
const uint8_t kOther[6] = {0x0a, 0x0b, 0x0c, 0, 0, 0};
const uint8_t kPrefix[6] = {0xff, 0xff, 0xff, 0, 0, 0};
const uint8_t kFull[6] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

struct UserAgentDeleter {
  void operator()(ByodUserAgentRule* rule) const { BYOD_data_FreeUserAgentRule(rule); }
};
using UserAgentPtr = std::unique_ptr<ByodUserAgentRule, UserAgentDeleter>;

UserAgentPtr GetUserAgent(const char* keyword, uint32_t selector = 0, uint32_t mode = 2) {
  return UserAgentPtr(BYOD_cfgmsg_GetUserAgentRule(keyword, BYOD_OP_GET, selector, mode));
}

struct MacDeleter {
  void operator()(ByodMacRule* rule) const { BYOD_data_FreeMacRule(rule); }
};
using MacPtr = std::unique_ptr<ByodMacRule, MacDeleter>;

uint32_t SetName(uint32_t add, const char* keyword, const char* name) {
  ByodUserAgentRule rule = {};
  std::strcpy(rule.keyword, keyword);
  return BYOD_cfgmsg_SetUserAgentRule(add, name, &rule);
}

std::string Vendor(const ByodFingerPrint& fp) {
  const int connection = BYOD_Init();
  ByodDeviceAttribute attributes = {};
  BYOD_GetDeviceAttributeByFingerPrint(connection, &fp, &attributes);
  BYOD_Fini(connection);
  return attributes.vendor;
}

class Requests : public testing::Test {
 protected:
  void SetUp() override {
    daemon_.WriteRules("user-agent.csv", kUserAgents);
    daemon_.WriteRules("dhcp-option.csv", kOptions);
    daemon_.WriteRules("mac.csv", kMacs);
    daemon_.AddOption("--rule-limit");
    daemon_.AddOption("3");
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  }

  DaemonProcess daemon_;
};

TEST_F(Requests, RuleIsMadeNamedAndUnnamed) {
  EXPECT_EQ(SetName(1, "Kindle", "Reader"), 0u);
  UserAgentPtr rule = GetUserAgent("Kindle");
  ASSERT_TRUE(rule);
  EXPECT_STREQ(rule->configured->name, "Reader");
  EXPECT_EQ(rule->origin, 1u);
  EXPECT_EQ(rule->modified, 0u);
  EXPECT_EQ(SetName(1, "Kindle", "Reader"), uint32_t{BYOD_ERR_NOCHANGE});
  EXPECT_EQ(SetName(0, "Kindle", nullptr), 0u);
  EXPECT_EQ(SetName(0, "Kindle", nullptr), uint32_t{BYOD_ERR_NOCHANGE});
  rule = GetUserAgent("Kindle");
  ASSERT_TRUE(rule) << "a custom rule stays when its name goes";
  EXPECT_STREQ(rule->configured->name, "");
  EXPECT_EQ(SetName(0, "Nobody", nullptr), uint32_t{BYOD_ERR_FAILED});
}

TEST_F(Requests, PredefinedRuleIsModifiedAndComesBack) {
  EXPECT_EQ(SetName(1, "IPHONE", "My phone"), 0u) << "case does not count";
  UserAgentPtr rule = GetUserAgent("iPhone");
  ASSERT_TRUE(rule);
  EXPECT_EQ(rule->origin, 0u);
  EXPECT_EQ(rule->modified, 1u);
  EXPECT_STREQ(rule->configured->name, "My phone");
  EXPECT_STREQ(rule->configured->vendor, "Apple");
  EXPECT_STREQ(GetUserAgent("iPhone", 0, 1)->configured->vendor, "") << "configured alone";
  EXPECT_STREQ(GetUserAgent("iPhone", 0, 0)->configured->name, "") << "the key alone";
  EXPECT_EQ(SetName(0, "iPhone", nullptr), 0u);
  rule = GetUserAgent("iPhone");
  EXPECT_EQ(rule->modified, 0u);
  EXPECT_STREQ(rule->configured->name, "Apple iPhone");
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(0, "iPhone"), uint32_t{BYOD_ERR_NOCHANGE});
}

TEST_F(Requests, AttributeIsSetAndClearedOneByOne) {
  const ByodDeviceInfo info = Info("", "Amazon", "reader");
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Kindle", &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Kindle", &info, BYOD_ATTR_CATEGORY), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Kindle", &info, BYOD_ATTR_CATEGORY),
            uint32_t{BYOD_ERR_NOCHANGE});
  EXPECT_EQ(Vendor(UserAgent("a Kindle")), "Amazon");
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(0, "Kindle", &info, BYOD_ATTR_VENDOR), 0u);
  const UserAgentPtr rule = GetUserAgent("Kindle");
  EXPECT_STREQ(rule->configured->vendor, "");
  EXPECT_STREQ(rule->configured->category, "reader");
  const ByodDeviceInfo empty = {};
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Kindle", &empty, BYOD_ATTR_OS), uint32_t{BYOD_ERR_FAILED});
  const ByodDeviceInfo os = Info("", "", "", "own");
  EXPECT_EQ(BYOD_cfgmsg_SetDhcpOptDevAttr(1, "1,3,6", &os, BYOD_ATTR_OS), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacDevAttr(1, kMac, kPrefix, &os, BYOD_ATTR_OS), 0u);
  MacPtr mac(BYOD_cfgmsg_GetMacRule(kInside, BYOD_OP_GET, 0));
  ASSERT_TRUE(mac) << "an address asks for the rule that covers it";
  EXPECT_EQ(mac->modified, 1u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacDevAttr(0, kMac, kPrefix, &os, BYOD_ATTR_OS), 0u);
  mac.reset(BYOD_cfgmsg_GetMacRule(kInside, BYOD_OP_GET, 0));
  EXPECT_EQ(mac->modified, 0u);
}

// An empty rule stayed behind, which matched and said nothing.
TEST_F(Requests, TheLastAttributeTakesACustomRuleWithoutANameWithIt) {
  const ByodDeviceInfo info = Info("", "Amazon", "reader");
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Kindle", &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Kindle", &info, BYOD_ATTR_CATEGORY), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(0, "Kindle", &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_TRUE(GetUserAgent("Kindle"));
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(0, "Kindle", &info, BYOD_ATTR_CATEGORY), 0u);
  EXPECT_FALSE(GetUserAgent("Kindle"));
  EXPECT_EQ(BYOD_cfgmsg_SetDhcpOptDevAttr(1, "9", &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetDhcpOptDevAttr(0, "9", &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacDevAttr(1, kOther, kPrefix, &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacDevAttr(0, kOther, kPrefix, &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(SetName(1, "Nook", "Reader"), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(1, "Nook", &info, BYOD_ATTR_VENDOR), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUADevAttr(0, "Nook", &info, BYOD_ATTR_VENDOR), 0u);
  const auto counts = [] {
    std::vector<uint32_t> numbers(3);
    for (uint32_t kind = 0; kind < 3; ++kind)
      BYOD_cfgmsg_GetRulesCountByType(kind, &numbers[kind]);
    return numbers;
  };
  EXPECT_EQ(counts(), (std::vector<uint32_t>{1, 3, 1})) << "the one with a name stays";
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  EXPECT_EQ(counts(), (std::vector<uint32_t>{1, 3, 1}));
}

// The first rule of the tree was given for it, whatever that was.
TEST_F(Requests, AnAddressOfZerosIsAnAddressLikeOthers) {
  const uint8_t zeros[6] = {};
  EXPECT_FALSE(MacPtr(BYOD_cfgmsg_GetMacRule(zeros, BYOD_OP_GET, 0)));
  ASSERT_EQ(BYOD_cfgmsg_SetMacValue(1, zeros, kPrefix), 0u);
  MacPtr rule(BYOD_cfgmsg_GetMacRule(zeros, BYOD_OP_GET, 0));
  ASSERT_TRUE(rule);
  EXPECT_EQ(std::memcmp(rule->mac, zeros, 6), 0);
  EXPECT_EQ(std::memcmp(rule->mask, kPrefix, 6), 0);
  rule.reset(BYOD_cfgmsg_GetMacRule(kInside, BYOD_OP_GET, 0));
  ASSERT_TRUE(rule);
  EXPECT_EQ(std::memcmp(rule->mac, kMac, 6), 0);
}

TEST_F(Requests, PagingByAddressAndMaskGetsPastARuleForTheAddressOfZeros) {
  const uint8_t zeros[6] = {};
  ASSERT_EQ(BYOD_cfgmsg_SetMacValue(1, zeros, kPrefix), 0u);
  uint8_t mac[6] = {};
  uint8_t mask[6] = {};
  std::vector<std::string> addresses;
  while (addresses.size() < 10) {
    const MacPtr rule(
        BYOD_cfgmsg_GetMacRuleNetconf(mac, mask, BYOD_OP_GET, BYOD_MSG_MACRULE, 1, 2));
    if (!rule) break;
    std::memcpy(mac, rule->mac, sizeof mac);
    std::memcpy(mask, rule->mask, sizeof mask);
    char text[32];
    MAC_ToStringForMode(mac, sizeof text, text);
    addresses.emplace_back(text);
  }
  EXPECT_EQ(addresses, (std::vector<std::string>{"byod-mac-0", "byod-mac-001122"}));
}

TEST_F(Requests, WhatHoldsASelectorIsAQueryAndChangesNothing) {
  for (const uint32_t operation : {BYOD_OP_UNDO, BYOD_OP_SET}) {
    EXPECT_FALSE(UserAgentPtr(BYOD_cfgmsg_GetUserAgentRule("new", operation, 0, 2)));
    EXPECT_FALSE(MacPtr(BYOD_cfgmsg_GetMacRule(kOther, operation, 0)));
    EXPECT_FALSE(MacPtr(
        BYOD_cfgmsg_GetMacRuleNetconf(kOther, kPrefix, operation, BYOD_MSG_MAC_VALUE, 0, 2)));
    Client client(daemon_);
    for (const uint16_t selector : {BYOD_TLV_QUERYARG, BYOD_TLV_QUERYARG2}) {
      EXPECT_EQ(VerdictOf(client.Ask(operation, BYOD_MSG_DHCPOPT_VALUE,
                                     [&](Appender& append) {
                                       append.Number(selector, 0).Text(BYOD_TLV_DHCPOPT, "7");
                                     })),
                (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}));
    }
  }
  EXPECT_FALSE(GetUserAgent("new"));
  EXPECT_FALSE(MacPtr(BYOD_cfgmsg_GetMacRule(kOther, BYOD_OP_GET, 0)));
  EXPECT_FALSE(BYOD_cfgmsg_GetDhcpOptionRule("7", BYOD_OP_GET, 0));
}

// It was read as 0: as "undo", as the kind of DHCP option rules, as the first phase.
TEST_F(Requests, ANumberOfAnotherSizeThanFourBytesIsRefused) {
  Client client(daemon_);
  const uint8_t bytes[8] = {0, 0, 0, 1, 0, 0, 0, 1};
  const auto ask = [&](uint16_t type, uint32_t size) {
    const Message request(TLV_Create());
    Appender append(request.get());
    const auto number = [&](uint16_t one, uint32_t value) {
      if (one != type) {
        append.Number(one, value);
      } else {
        append.Bytes(one, size, bytes);
      }
    };
    number(BYOD_TLV_OPTYPE, BYOD_OP_SET);
    number(BYOD_TLV_MSGTYPE, BYOD_MSG_UA_DEVATTR);
    number(BYOD_TLV_RULESRC, 1);
    number(BYOD_TLV_ATTRKIND, BYOD_ATTR_VENDOR);
    number(BYOD_TLV_ORDER, 1);
    number(BYOD_EXT_PHASE, 1);
    append.Text(BYOD_TLV_USERAGENT, "iPhone").Text(BYOD_TLV_VENDOR, "mine");
    return VerdictOf(client.Ask(request));
  };
  for (const uint16_t type :
       std::vector<uint16_t>{BYOD_TLV_OPTYPE, BYOD_TLV_MSGTYPE, BYOD_TLV_RULESRC, BYOD_TLV_ATTRKIND,
                             BYOD_TLV_ORDER, BYOD_EXT_PHASE}) {
    for (const uint32_t size : {0, 1, 2, 3, 5, 8}) {
      EXPECT_EQ(ask(type, size), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}))
          << type << " with " << size << " bytes";
    }
  }
  for (const uint16_t type : {BYOD_TLV_QUERYARG, BYOD_TLV_QUERYARG2}) {
    EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_GET, BYOD_MSG_UA_LIST,
                                   [&](Appender& append) { append.Bytes(type, 2, bytes); })),
              (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}));
  }
  EXPECT_EQ(GetUserAgent("iPhone")->modified, 0u);
  EXPECT_EQ(ask(0, 0), (Verdict{0, 0})) << "the same with numbers of 4 bytes";
}

TEST_F(Requests, OfRepeatedKeysAndNamesTheLastCounts) {
  Client client(daemon_);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_UARULE,
                                 [](Appender& append) {
                                   append.Text(BYOD_TLV_USERAGENT, "first")
                                       .Text(BYOD_TLV_DEVNAME, "one")
                                       .Text(BYOD_TLV_USERAGENT, "last")
                                       .Text(BYOD_TLV_DEVNAME, "two");
                                 })),
            (Verdict{0, 0}));
  EXPECT_FALSE(GetUserAgent("first"));
  const UserAgentPtr last = GetUserAgent("last");
  ASSERT_TRUE(last);
  EXPECT_STREQ(last->configured->name, "two");
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_MAC_DEVATTR,
                                 [](Appender& append) {
                                   append.Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_VENDOR)
                                       .Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_OS)
                                       .Address(BYOD_TLV_MAC, kMac)
                                       .Address(BYOD_TLV_MACMASK, kPrefix)
                                       .Address(BYOD_TLV_MAC, kOther)
                                       .Text(BYOD_TLV_OS, "one")
                                       .Text(BYOD_TLV_OS, "two");
                                 })),
            (Verdict{0, 0}));
  const MacPtr mac(BYOD_cfgmsg_GetMacRule(kOther, BYOD_OP_GET, 0));
  ASSERT_TRUE(mac);
  EXPECT_STREQ(mac->configured->os, "two");
  EXPECT_EQ(VerdictOf(client.Ask(
                BYOD_OP_UNDO, BYOD_MSG_UA_VALUE,
                [](Appender& append) {
                  append.Text(BYOD_TLV_USERAGENT, "first").Text(BYOD_TLV_USERAGENT, "last");
                })),
            (Verdict{0, 0}));
  EXPECT_FALSE(GetUserAgent("last"));
}

TEST_F(Requests, AShortAddressIsRefusedWhereverItStands) {
  Client client(daemon_);
  for (const uint16_t type : {BYOD_TLV_MAC, BYOD_TLV_MACMASK}) {
    EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_MAC_VALUE,
                                   [&](Appender& append) {
                                     append.Address(BYOD_TLV_MAC, kOther)
                                         .Address(BYOD_TLV_MACMASK, kPrefix)
                                         .Bytes(type, 5, kOther);
                                   })),
              (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED}));
  }
}

TEST_F(Requests, MacRuleIsDeletedByItsVeryAddressAndMaskOnly) {
  EXPECT_EQ(BYOD_cfgmsg_SetMacValue(1, kOther, kPrefix), 0u);
  const uint8_t inside[6] = {0x0a, 0x0b, 0x0c, 1, 2, 3};
  EXPECT_EQ(BYOD_cfgmsg_SetMacValue(0, inside, kFull), uint32_t{BYOD_ERR_FAILED});
  EXPECT_EQ(BYOD_cfgmsg_SetMacValue(1, inside, kFull), 0u);
  uint32_t count = 0;
  BYOD_cfgmsg_GetRulesCountByType(2, &count);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacValue(0, inside, kFull), 0u);
  BYOD_cfgmsg_GetRulesCountByType(2, &count);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacValue(0, kOther, kPrefix), 0u);
  BYOD_cfgmsg_GetRulesCountByType(2, &count);
  EXPECT_EQ(count, 1u);
}

TEST_F(Requests, ARuleThatCannotBeStoredBesideAnotherNamesIt) {
  const uint8_t first[6] = {0x00, 0x11, 0x22, 0, 0, 0};
  ByodMacRule modified = {};
  std::memcpy(modified.mac, first, sizeof modified.mac);
  std::memcpy(modified.mask, kPrefix, sizeof modified.mask);
  Client client(daemon_);
  EXPECT_EQ(BYOD_cfgmsg_SetMacRule(1, "modified", &modified), 0u);
  const Message reply = client.Ask(BYOD_OP_SET, BYOD_MSG_MAC_VALUE, [&](Appender& append) {
    append.Address(BYOD_TLV_MAC, first).Address(BYOD_TLV_MACMASK, kFull);
  });
  EXPECT_EQ(VerdictOf(reply), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_CONFLICT}));
  EXPECT_NE(TextOf(reply, BYOD_EXT_REASON).find("00:11:22:00:00:00/24"), std::string::npos);
}

TEST_F(Requests, LimitCountsAllTablesAndPredefinedRulesAreFree) {
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(1, "a"), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetDhcpOptValue(1, "9"), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetMacValue(1, kOther, kFull), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(1, "b"), uint32_t{BYOD_ERR_RULE_LIMIT});
  EXPECT_EQ(SetName(1, "iPhone", "modified"), 0u);
  EXPECT_FALSE(GetUserAgent("b"));
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(1, "a"), uint32_t{BYOD_ERR_NOCHANGE});
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(0, "a"), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(1, "b"), 0u);
}

TEST_F(Requests, OrderIsSetReadAndUndone) {
  const ByodOrder order = {{2, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  const ByodOrder twice = {{2, 2, 0}};
  const ByodOrder nothing = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(1, &twice), uint32_t{BYOD_ERR_FAILED});
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(1, &nothing), uint32_t{BYOD_ERR_FAILED});
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(1, &order), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(1, &order), uint32_t{BYOD_ERR_NOCHANGE});
  ByodOrder read = {{7, 7, 7}};
  EXPECT_EQ(BYOD_cfgmsg_GetOrder(&read), 0u);
  EXPECT_EQ(read.slots[0], 2u);
  EXPECT_EQ(read.slots[1], 7u) << "slots without a method are not told";
  EXPECT_EQ(Vendor(UserAgent("an iPhone")), "") << "only MAC addresses count now";
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(0, &order), 0u);
  EXPECT_EQ(BYOD_cfgmsg_SetOrder(0, &order), 0u);
  EXPECT_EQ(Vendor(UserAgent("an iPhone")), "Apple");
}

TEST_F(Requests, FingerprintIsIdentifiedThreeWays) {
  const int connection = BYOD_Init();
  const ByodFingerPrint fp = UserAgent("an iPhone");
  const ByodFingerPrint unknown = UserAgent("a toaster");
  char text[128];
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &fp, sizeof text, text), 0u);
  EXPECT_STREQ(text, "Apple iPhone");
  EXPECT_EQ(BYOD_GetVendorByFingerPrint(connection, &fp, sizeof text, text), 0u);
  EXPECT_STREQ(text, "Apple");
  ByodDeviceAttribute attributes;
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(connection, &fp, &attributes), 0u);
  EXPECT_STREQ(attributes.vendor, "Apple");
  EXPECT_STREQ(attributes.category, "phone");
  EXPECT_STREQ(attributes.os, "iOS");
  EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &unknown, sizeof text, text),
            uint32_t{BYOD_ERR_FAILED});
  EXPECT_EQ(BYOD_GetDeviceAttributeByFingerPrint(connection, &unknown, &attributes),
            uint32_t{BYOD_ERR_FAILED});
  BYOD_Fini(connection);
}

TEST_F(Requests, QueriesPageThroughTablesAndThroughWhatIsConfigured) {
  ASSERT_EQ(BYOD_cfgmsg_SetUAValue(1, "Zune"), 0u);
  ASSERT_EQ(SetName(1, "iPhone", "mine"), 0u);
  EXPECT_STREQ(GetUserAgent("", 1)->keyword, "Android&&Mobile");
  EXPECT_STREQ(GetUserAgent("Android&&Mobile", 1)->keyword, "Zune");
  EXPECT_STREQ(GetUserAgent("deleted meanwhile", 1)->keyword, "iPhone");
  EXPECT_FALSE(GetUserAgent("iPhone", 1));
  EXPECT_STREQ(GetUserAgent("", 2)->keyword, "Zune");
  EXPECT_STREQ(GetUserAgent("Zune", 2)->keyword, "iPhone");
  const uint8_t none[6] = {};
  const MacPtr first(
      BYOD_cfgmsg_GetMacRuleNetconf(none, none, BYOD_OP_GET, BYOD_MSG_MACRULE, 1, 2));
  ASSERT_TRUE(first);
  EXPECT_EQ(std::memcmp(first->mac, kMac, 6), 0);
  const MacPtr next(
      BYOD_cfgmsg_GetMacRuleNetconf(kMac, kPrefix, BYOD_OP_GET, BYOD_MSG_MACRULE, 1, 2));
  EXPECT_FALSE(next);
  EXPECT_FALSE(GetUserAgent("", 3)) << "there is no such selector";
}

std::vector<std::string> listed;

uint32_t TakeUserAgent(const void* rule) {
  listed.emplace_back(static_cast<const ByodUserAgentRule*>(rule)->keyword);
  return 0;
}

TEST_F(Requests, ListingTellsTheTableInItsOrder) {
  listed.clear();
  EXPECT_EQ(BYOD_cfgmsg_GetAndShowUserAgentRules(TakeUserAgent), 0u);
  EXPECT_EQ(listed, (std::vector<std::string>{"Android&&Mobile", "iPhone"}));
}

TEST_F(Requests, WhatIsNoRequestIsRefusedAndTheConnectionGoesOn) {
  Client client(daemon_);
  const Verdict unknown = {BYOD_ERR_FAILED, BYOD_REFUSAL_UNKNOWN_KIND};
  const Verdict malformed = {BYOD_ERR_FAILED, BYOD_REFUSAL_MALFORMED};
  EXPECT_EQ(VerdictOf(client.Ask(Message(TLV_Create()))), unknown);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_GET, 10)), unknown);
  EXPECT_EQ(VerdictOf(client.Ask(7, BYOD_MSG_UARULE)), unknown);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_UA_LIST)), unknown);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_UARULE)), malformed);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_MAC_VALUE)), malformed);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_ORDER)), malformed);
  const std::string long_text(256, 'x');
  EXPECT_EQ(VerdictOf(client.Ask(
                BYOD_OP_SET, BYOD_MSG_UA_VALUE,
                [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, long_text.c_str()); })),
            malformed);
  EXPECT_EQ(VerdictOf(client.Ask(
                BYOD_OP_SET, BYOD_MSG_UA_VALUE,
                [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, long_text.c_str() + 1); })),
            (Verdict{0, 0}));
  const uint8_t holes[6] = {0xff, 0, 0xff, 0, 0, 0};
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_MAC_VALUE,
                                 [&](Appender& append) {
                                   append.Address(BYOD_TLV_MAC, kOther);
                                   append.Address(BYOD_TLV_MACMASK, holes);
                                 })),
            malformed);
  EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR,
                                 [&](Appender& append) {
                                   append.Number(BYOD_TLV_ATTRKIND, 4);
                                   append.Text(BYOD_TLV_USERAGENT, "x");
                                   append.Text(BYOD_TLV_VENDOR, "y");
                                 })),
            malformed);
}

TEST_F(Requests, SeveralRequestsInOnePieceAreAnsweredInOrder) {
  Client client(daemon_);
  std::vector<uint8_t> bytes;
  for (int i = 0; i < 100; ++i) {
    const auto one = BytesOf(MakeRequest(
        BYOD_OP_GET, i % 2 == 0 ? uint32_t{BYOD_MSG_UA_COUNT} : uint32_t{BYOD_MSG_MAC_COUNT}));
    bytes.insert(bytes.end(), one.begin(), one.end());
  }
  ASSERT_TRUE(client.SendBytes(bytes.data(), bytes.size()));
  for (int i = 0; i < 100; ++i)
    ASSERT_EQ(NumberOf(client.Receive(), BYOD_TLV_COUNT), i % 2 == 0 ? 2u : 1u);
}

}  // namespace
}  // namespace byod::test
