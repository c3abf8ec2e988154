// SPDX-License-Identifier: Apache-2.0
// A rule that was accepted was dropped at the next start, with a line in the log, when the registry
// had gained a block around it, or the limit had been lowered. Now every stored rule stays
// stored and listed, whatever the rule files and the limit say, and takes effect when it can.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "byod_db.h"
#include "lauth_dbm_admin.h"
#include "tests/lauthd/backups.h"

namespace byod::test {
namespace {

constexpr char kHead[] = "expression,name,vendor,category,os\n";
constexpr char kMacHead[] = "mac,mask,name,vendor,category,os\n";
constexpr Verdict kDone = {0, 0};

struct Block {
  uint8_t mac[6];
  int bits;

  std::string Text() const {
    char text[32];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x/%d", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5], bits);
    return text;
  }
};

class IdleRules : public testing::Test {
 protected:
  void SetUp() override {
    WriteMac({});
    daemon_.WriteRules("user-agent.csv", std::string(kHead) + "iPhone,,Apple,,\n");
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  }

  /// Makes these the predefined MAC rules of the next start or reload.
  void WriteMac(const std::vector<Block>& blocks) {
    std::string rows = kMacHead;
    for (const Block& block : blocks)
      rows += block.Text() + ",,,Registry,,\n";
    daemon_.WriteRules("mac.csv", rows);
  }

  static void AppendKey(Appender& append, const Block& block) {
    uint8_t mask[6] = {};
    for (int bit = 0; bit < block.bits; ++bit)
      mask[bit / 8] = static_cast<uint8_t>(mask[bit / 8] | 0x80 >> bit % 8);
    append.Address(BYOD_TLV_MAC, block.mac);
    append.Address(BYOD_TLV_MACMASK, mask);
  }

  Verdict SetMac(const Block& block, const char* name = "mine") {
    return VerdictOf(Client(daemon_).Ask(BYOD_OP_SET, BYOD_MSG_MACRULE, [&](Appender& append) {
      AppendKey(append, block);
      append.Text(BYOD_TLV_DEVNAME, name);
    }));
  }
  Verdict UnsetMac(const Block& block) {
    return VerdictOf(Client(daemon_).Ask(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE,
                                         [&](Appender& append) { AppendKey(append, block); }));
  }
  Verdict SetText(const char* keyword) {
    return VerdictOf(Client(daemon_).Ask(BYOD_OP_SET, BYOD_MSG_UARULE, [&](Appender& append) {
      append.Text(BYOD_TLV_USERAGENT, keyword).Text(BYOD_TLV_DEVNAME, keyword);
    }));
  }
  Verdict UnsetText(const char* keyword) {
    return VerdictOf(Client(daemon_).Ask(BYOD_OP_UNDO, BYOD_MSG_UA_VALUE, [&](Appender& append) {
      append.Text(BYOD_TLV_USERAGENT, keyword);
    }));
  }
  Verdict Reload() { return VerdictOf(Client(daemon_).Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD)); }
  void Restart() { ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL)); }

  static std::string KeyIn(const Message& rule) {
    const uintptr_t at = TLV_GetIteratorByType(rule.get(), BYOD_TLV_MAC);
    if (at == 0) return TextOf(rule, BYOD_TLV_USERAGENT) + TextOf(rule, BYOD_TLV_DHCPOPT);
    Block block = {};
    uint8_t mask[6] = {};
    TLV_GetValueByIterator(rule.get(), at, sizeof block.mac, block.mac);
    TLV_GetValueByIterator(rule.get(), TLV_GetIteratorByType(rule.get(), BYOD_TLV_MACMASK),
                           sizeof mask, mask);
    for (int bit = 0; bit < 48; ++bit)
      block.bits += (mask[bit / 8] >> (7 - bit % 8)) & 1;
    return block.Text();
  }

  /// The rules that are stored but not in effect, with the reasons.
  std::map<std::string, std::string> Idle() {
    std::map<std::string, std::string> idle;
    Client client(daemon_);
    EXPECT_EQ(client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_IDLE_RULES),
                               [&](const Message& reply) {
                                 for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE))
                                   idle[KeyIn(rule)] = TextOf(rule, BYOD_EXT_REASON);
                               }),
              0u);
    uint32_t counted = 0;
    const Message status = client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS);
    for (const Message& table : NestedIn(status, BYOD_EXT_TABLE))
      counted += NumberOf(table, BYOD_EXT_IDLE, 99);
    EXPECT_EQ(counted, idle.size());
    return idle;
  }

  /// The administrator's rules that are in effect.
  std::set<std::string> Custom() {
    std::set<std::string> custom;
    Client client(daemon_);
    for (const uint32_t kind : {BYOD_MSG_MAC_LIST, BYOD_MSG_UA_LIST}) {
      client.AskSeries(MakeRequest(BYOD_OP_GET, kind), [&](const Message& reply) {
        for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE))
          if (NumberOf(rule, BYOD_TLV_RULESRC) == BYOD_RULE_CUSTOM) custom.insert(KeyIn(rule));
      });
    }
    return custom;
  }

  /// Changes the limit of the next start.
  void SetLimit(size_t limit) { daemon_.SetOption("--rule-limit", std::to_string(limit)); }

  void SetCarvedLimit(size_t limit) { daemon_.SetOption("--carved-limit", std::to_string(limit)); }

  DaemonProcess daemon_;
};

using Reasons = std::map<std::string, std::string>;
using Keys = std::set<std::string>;

const Block kOne = {{2, 2, 2, 0x10, 0, 0}, 28};
const Block kOther = {{2, 2, 3, 0, 0, 0}, 24};
const Block kAround = {{2, 2, 2, 0, 0, 0}, 24};

const char kCarvedLimit[] = "the rules within the blocks of others have reached their limit";

TEST_F(IdleRules, ARuleThatTheRegistryPutsABlockAroundIsKeptAndComesBack) {
  SetCarvedLimit(0);
  ASSERT_NO_FATAL_FAILURE(Restart());
  ASSERT_EQ(SetMac(kOne), kDone);
  ASSERT_EQ(SetMac(kOther), kDone);
  WriteMac({kAround});
  ASSERT_EQ(Reload(), kDone);
  const Reasons expected = {{kOne.Text(), kCarvedLimit}};
  EXPECT_EQ(Idle(), expected);
  EXPECT_EQ(Custom(), Keys{kOther.Text()});
  EXPECT_TRUE(daemon_.Logged("the stored MAC rule 02:02:02:10:00:00/28 is not in effect: " +
                             std::string(kCarvedLimit)));
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), expected);
  EXPECT_EQ(Custom(), Keys{kOther.Text()});
  WriteMac({});
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Idle(), Reasons());
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), kOther.Text()}));
  WriteMac({kAround});
  ASSERT_EQ(Reload(), kDone);
  SetCarvedLimit(1);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), Reasons());
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), kOther.Text()}));
}

TEST_F(IdleRules, ARuleThatIsNotInEffectCanBeChangedAndDeleted) {
  SetCarvedLimit(0);
  ASSERT_NO_FATAL_FAILURE(Restart());
  ASSERT_EQ(SetMac(kOne), kDone);
  WriteMac({kAround});
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(SetMac(kOne), (Verdict{BYOD_ERR_NOCHANGE, BYOD_REFUSAL_NO_CHANGE}));
  EXPECT_EQ(SetMac(kOne, "another name"), kDone);
  EXPECT_EQ(Idle().size(), 1u);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(UnsetMac(kOther), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_NOT_FOUND}));
  EXPECT_EQ(UnsetMac(kOne), kDone);
  EXPECT_EQ(Idle(), Reasons());
  WriteMac({});
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), Reasons());
  EXPECT_EQ(Custom(), Keys());
}

TEST_F(IdleRules, NoNewRuleIsStoredInThePlaceOfOneThatIsNotInEffect) {
  SetCarvedLimit(0);
  ASSERT_NO_FATAL_FAILURE(Restart());
  const Block inside = {{2, 2, 2, 0, 0, 0}, 28};
  ASSERT_EQ(SetMac(kAround), kDone);
  WriteMac({inside});
  ASSERT_EQ(Reload(), kDone);
  ASSERT_EQ(Idle().size(), 1u);
  // The database knows both by their address: the second one gets another.
  EXPECT_EQ(SetMac(inside), kDone);
  EXPECT_EQ(SetMac(kOther), kDone);
  // A whole address has no bits to spare.
  EXPECT_EQ(SetMac({{2, 2, 2, 0, 0, 0}, 48}), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_CONFLICT}));
  SetCarvedLimit(2);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), Reasons());
  EXPECT_EQ(Custom(), (Keys{kAround.Text(), kOther.Text()}));
  WriteMac({});
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Idle(), (Reasons{{inside.Text(), "its rule is not in the catalogue"}}));
  EXPECT_EQ(UnsetMac(kAround), kDone);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), (Reasons{{inside.Text(), "its rule is not in the catalogue"}}));
  EXPECT_EQ(Custom(), Keys{kOther.Text()});
}

TEST_F(IdleRules, TheLimitLeavesRulesOutUntilThereIsRoom) {
  ASSERT_EQ(SetMac(kOne), kDone);
  for (const char* const keyword : {"aaa", "bbb", "ccc"})
    ASSERT_EQ(SetText(keyword), kDone);
  SetLimit(2);
  ASSERT_NO_FATAL_FAILURE(Restart());
  const char* const limit = "the custom rules have reached their limit";
  EXPECT_EQ(Idle(), (Reasons{{"bbb", limit}, {"ccc", limit}}));
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), "aaa"}));
  EXPECT_TRUE(
      daemon_.Logged("the stored User-Agent rule \"bbb\" is not in effect: the custom rules "
                     "have reached their limit"));
  ASSERT_EQ(Reload(), (Verdict{BYOD_ERR_NOCHANGE, BYOD_REFUSAL_NO_CHANGE}));
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), "aaa"})) << "as after a restart";
  EXPECT_EQ(SetText("ddd"), (Verdict{BYOD_ERR_RULE_LIMIT, BYOD_REFUSAL_LIMIT}));
  EXPECT_EQ(UnsetText("aaa"), kDone);
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), "bbb"}));
  EXPECT_EQ(Idle(), (Reasons{{"ccc", limit}}));
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), "bbb"}));
  SetLimit(10);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Custom(), (Keys{kOne.Text(), "bbb", "ccc"}));
  EXPECT_EQ(Idle(), Reasons());
}

TEST_F(IdleRules, AModificationWaitsForItsRule) {
  ASSERT_EQ(SetText("iPhone"), kDone);
  const auto name = [&] {
    return TextOf(
        Client(daemon_).Ask(BYOD_OP_GET, BYOD_MSG_UARULE,
                            [](Appender& append) { append.Text(BYOD_TLV_USERAGENT, "iPhone"); }),
        BYOD_TLV_DEVNAME);
  };
  ASSERT_EQ(name(), "iPhone");
  const Reasons expected = {{"iPhone", "its rule is not in the catalogue"}};
  daemon_.WriteRules("user-agent.csv", std::string(kHead) + "Android,,,,\n");
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Idle(), expected);
  EXPECT_EQ(Custom(), Keys()) << "it is not a rule of its own";
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), expected);
  EXPECT_EQ(Custom(), Keys());
  daemon_.WriteRules("user-agent.csv", std::string(kHead) + "iPhone,,Apple,,\n");
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Idle(), Reasons());
  EXPECT_EQ(name(), "iPhone");
  daemon_.WriteRules("user-agent.csv", std::string(kHead) + "Android,,,,\n");
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(UnsetText("iPhone"), kDone);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Idle(), Reasons());
}

TEST_F(IdleRules, ACustomRuleThatWasPredefinedForATimeIsOneAgain) {
  ASSERT_EQ(SetMac(kOther), kDone);
  WriteMac({kOther});
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Custom(), Keys());
  WriteMac({});
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Custom(), Keys{kOther.Text()});
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Custom(), Keys{kOther.Text()});
}

/// What other programs have written into the database.
class ForeignRecords : public IdleRules {
 protected:
  template <typename Write>
  void WriteDatabase(Write write) {
    daemon_.Kill(SIGTERM);
    LAUTH_db_SetDirectory(daemon_.state().c_str());
    ASSERT_EQ(BYOD_db_OpenCfgDBM(), 0u);
    write();
    BYOD_db_CloseCfgDBM();
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  }

  static ByodMacRuleShowRec MacRecord(const char* address) {
    ByodMacRuleShowRec record = {};
    std::strncpy(record.mac_text, address, sizeof record.mac_text - 1);
    std::memset(record.mask, 0xff, sizeof record.mask);
    std::strcpy(record.info.name, "stored");
    return record;
  }
};

TEST_F(ForeignRecords, AnIncompleteAddressMakesNoRuleAndIsReported) {
  // It became a rule for 00:11:22:00:00:00 that no request could delete.
  ASSERT_EQ(SetMac(kOther), kDone);
  ASSERT_NO_FATAL_FAILURE(WriteDatabase([] {
    for (const char* const address : {"0011-22", "no address", "020A-0B0C-0D0E"}) {
      const ByodMacRuleShowRec record = MacRecord(address);
      EXPECT_EQ(BYOD_db_AddMacValue(&record), 0u);
    }
  }));
  EXPECT_EQ(Custom(), (Keys{kOther.Text(), "02:0a:0b:0c:0d:0e/48"}));
  for (const char* const address : {"\"0011-22\"", "\"no address\""}) {
    EXPECT_TRUE(daemon_.Logged(std::string("whose address ") + address + " is not a complete one"))
        << daemon_.Log();
  }
  // One that is only spelt otherwise is like any other.
  EXPECT_EQ(UnsetMac({{2, 10, 11, 12, 13, 14}, 48}), kDone);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Custom(), Keys{kOther.Text()});
}

TEST_F(ForeignRecords, WhatIsStoredUnderALongGroupNameIsRemovedWithItsShortOne) {
  const std::string full(40, 'g');
  const std::string name = full.substr(0, 32);
  ASSERT_NO_FATAL_FAILURE(WriteDatabase([&] {
    const Message attributes(TLV_Create());
    Appender append(attributes.get());
    append.Text(BYOD_EXT_ATTR_NAME, "vlan").Text(BYOD_EXT_ATTR_VALUE, "7");
    EXPECT_EQ(BYOD_db_AddDeviceTypeAuthorAttr(full.c_str(), "Tablet", attributes.get()), 0u);
  }));
  const auto ask = [&](uint32_t operation, const std::string& group) {
    Client client(daemon_);
    const Message request =
        MakeRequest(operation, BYOD_EXT_MSG_AUTHORIZATION, [&](Appender& append) {
          append.Text(BYOD_EXT_GROUP, group.c_str());
          if (operation != BYOD_OP_SET) return;
          append.Text(BYOD_EXT_ATTR_NAME, "vlan").Text(BYOD_EXT_ATTR_VALUE, "8");
        });
    return operation == BYOD_OP_GET ? client.AskSeries(request, [](const Message&) {})
                                    : VerdictOf(client.Ask(request)).code;
  };
  EXPECT_EQ(ask(BYOD_OP_GET, name), 0u);
  EXPECT_EQ(ask(BYOD_OP_SET, name), 0u);
  EXPECT_NE(ask(BYOD_OP_SET, full), 0u) << "a name of more than 32 bytes is refused";
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(ask(BYOD_OP_GET, name), 0u);
  EXPECT_EQ(ask(BYOD_OP_UNDO, name), 0u);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_NE(ask(BYOD_OP_GET, name), 0u) << "it came back";
}

/// Ends a bulk that unsets one rule in effect and one that is not.
class IdleRulesInABulk : public IdleRules {
 protected:
  void Bulk(uint32_t end) {
    for (const char* const keyword : {"aaa", "bbb", "ccc", "ddd"})
      ASSERT_EQ(SetText(keyword), kDone);
    SetLimit(2);
    ASSERT_NO_FATAL_FAILURE(Restart());
    ASSERT_EQ(Custom(), (Keys{"aaa", "bbb"}));
    Client client(daemon_);
    const auto phase = [&](uint32_t number, const std::vector<const char*>& keywords) {
      return VerdictOf(client.Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK, [&](Appender& append) {
        append.Number(BYOD_EXT_PHASE, number);
        for (const char* const keyword : keywords) {
          const Message change = MakeRequest(BYOD_OP_UNDO, BYOD_MSG_UA_VALUE, [&](Appender& one) {
            one.Text(BYOD_TLV_USERAGENT, keyword);
          });
          append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, change.get()));
        }
      }));
    };
    ASSERT_EQ(phase(BYOD_PHASE_BEGIN, {}), kDone);
    ASSERT_EQ(phase(BYOD_PHASE_MORE, {"aaa", "ccc"}), kDone);
    ASSERT_EQ(phase(end, {}), kDone);
  }
};

TEST_F(IdleRulesInABulk, AreDeletedAndGetItsRoomAtItsEnd) {
  ASSERT_NO_FATAL_FAILURE(Bulk(BYOD_PHASE_COMMIT));
  EXPECT_EQ(Custom(), (Keys{"bbb", "ddd"}));
  EXPECT_EQ(Idle(), Reasons());
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Custom(), (Keys{"bbb", "ddd"}));
  EXPECT_EQ(Idle(), Reasons());
}

TEST_F(IdleRulesInABulk, AreAsBeforeWhenItIsAborted) {
  ASSERT_NO_FATAL_FAILURE(Bulk(BYOD_PHASE_ABORT));
  EXPECT_EQ(Custom(), (Keys{"aaa", "bbb"}));
  EXPECT_EQ(Idle().size(), 2u);
  ASSERT_NO_FATAL_FAILURE(Restart());
  EXPECT_EQ(Custom(), (Keys{"aaa", "bbb"}));
  EXPECT_EQ(Idle().size(), 2u);
}

TEST_F(IdleRules, ARestoreBringsThoseOfTheBackup) {
  ASSERT_EQ(SetMac(kOne), kDone);
  Client client(daemon_);
  const Bytes backup = TakeBackup(client);
  ASSERT_EQ(UnsetMac(kOne), kDone);
  WriteMac({kAround});
  ASSERT_EQ(Reload(), kDone);
  ASSERT_EQ(RestoreBackup(client, backup), kDone);
  EXPECT_EQ(Custom(), Keys{kOne.Text()}) << "cut out of the block that the registry has now";
  WriteMac({});
  ASSERT_EQ(Reload(), kDone);
  EXPECT_EQ(Custom(), Keys{kOne.Text()});
}

/// Registries that gain, lose, split and merge blocks around stored rules, and limits.
TEST_F(IdleRules, EveryStoredRuleSurvivesEveryRegistryAndLimit) {
  std::mt19937 random(7);
  const auto random_block = [&] {
    Block block = {
        {2, static_cast<uint8_t>(random() % 3), static_cast<uint8_t>(random() % 3), 0, 0, 0}, 24};
    if (random() % 3 == 0) {
      block.mac[3] = static_cast<uint8_t>(random() % 3 << 4);
      block.bits = 28;
    } else if (random() % 5 == 0) {
      block.mac[2] = 0;
      block.bits = 16;
    }
    return block;
  };
  const auto overlap = [](const Block& a, const Block& b) {
    for (int bit = 0; bit < std::min(a.bits, b.bits); ++bit)
      if (((a.mac[bit / 8] ^ b.mac[bit / 8]) >> (7 - bit % 8)) & 1) return false;
    return true;
  };
  Keys stored;
  for (int i = 0; i < 60; ++i) {
    const Block block = random_block();
    if (SetMac(block) == kDone) stored.insert(block.Text());
  }
  ASSERT_GE(stored.size(), 4u);
  std::set<std::string> reasons;
  for (int edition = 0; edition < 40; ++edition) {
    SCOPED_TRACE(edition);
    std::vector<Block> registry;
    for (size_t count = random() % 8; count > 0; --count) {
      const Block block = random_block();
      if (std::ranges::none_of(registry, [&](const Block& b) { return overlap(b, block); })) {
        registry.push_back(block);
      }
    }
    WriteMac(registry);
    if (edition % 2 == 0) {
      SetLimit(random() % (stored.size() + 2));
      SetCarvedLimit(random() % 4 == 0 ? random() % 4 : 4096);
      ASSERT_NO_FATAL_FAILURE(Restart());
    } else {
      ASSERT_EQ(Reload(), kDone);
    }
    const Keys in_effect = Custom();
    const Reasons idle = Idle();
    // Those that have become predefined are modifications now.
    Keys found = in_effect;
    for (const auto& [key, reason] : idle) {
      found.insert(key);
      reasons.insert(reason.substr(0, 8));
    }
    for (const Block& block : registry)
      if (stored.contains(block.Text())) found.insert(block.Text());
    EXPECT_EQ(found, stored);
    ASSERT_NO_FATAL_FAILURE(Restart());
    EXPECT_EQ(Custom(), in_effect) << "a reload and a restart agree";
    EXPECT_EQ(Idle(), idle);
  }
  EXPECT_EQ(reasons, (std::set<std::string>{"the cust", "the rule"}));
}

}  // namespace
}  // namespace byod::test
