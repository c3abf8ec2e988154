// SPDX-License-Identifier: Apache-2.0
// A rule for one terminal was refused as soon as the registry knew the vendor of its address. Now
// the longest prefix answers, over every change, registry, restart and restore.
#include <algorithm>
#include <bit>
#include <map>
#include <random>

#include "net/prefix.h"
#include "tests/lauthd/backups.h"

namespace byod::test {
namespace {

using net::MakePrefix;
using net::Prefix;

constexpr Verdict kDone = {0, 0};
constexpr uint64_t kAddresses = uint64_t{1} << 48;

using Names = std::map<Prefix, std::string>;

/// @return the name of the longest prefix around an address; empty when there is none
const std::string& LongestPrefix(const Names& rules, uint64_t address) {
  static const std::string kNone;
  for (unsigned bits = 48; bits > 0; --bits) {
    const auto rule = rules.find(MakePrefix(address, bits));
    if (rule != rules.end()) return rule->second;
  }
  return kNone;
}

class RulesWithinRules : public testing::Test {
 protected:
  void SetUp() override {
    WriteRegistry({});
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  }

  /// Makes these the predefined rules of the next start or reload.
  void WriteRegistry(const std::vector<Prefix>& blocks) {
    std::string rows = "mac,mask,name,vendor,category,os\n";
    predefined_.clear();
    for (const Prefix& block : blocks) {
      const std::string text = net::ToString(block);
      rows += text + ",,registry " + text + ",,,\n";
      predefined_[block] = "registry " + text;
    }
    daemon_.WriteRules("mac.csv", rows);
  }

  static void AppendKey(Appender& append, const Prefix& block) {
    append.Address(BYOD_TLV_MAC, block.Mac().data());
    append.Address(BYOD_TLV_MACMASK, block.Mask().data());
  }

  Verdict Set(const Prefix& block, const std::string& name) {
    const Verdict verdict =
        VerdictOf(Client(daemon_).Ask(BYOD_OP_SET, BYOD_MSG_MACRULE, [&](Appender& append) {
          AppendKey(append, block);
          append.Text(BYOD_TLV_DEVNAME, name.c_str());
        }));
    if (verdict == kDone) custom_[block] = name;
    return verdict;
  }

  void Unset(const Prefix& block) {
    EXPECT_EQ(VerdictOf(Client(daemon_).Ask(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE,
                                            [&](Appender& append) { AppendKey(append, block); })),
              kDone);
    custom_.erase(block);
  }

  /// All rules as they are to answer: the administrator's over the registry's.
  Names Wanted() const {
    Names rules = custom_;
    rules.insert(predefined_.begin(), predefined_.end());
    return rules;
  }

  static std::string Answer(Client& client, uint64_t address) {
    return TextOf(client.Ask(BYOD_OP_GET, BYOD_MSG_DEVTYPE_BY_FP,
                             [&](Appender& append) {
                               append.Address(BYOD_TLV_MAC, Prefix{address, 48}.Mac().data());
                             }),
                  BYOD_TLV_DEVNAME);
  }

  void ExpectLongestPrefixes(std::mt19937_64& random, size_t questions) {
    const Names rules = Wanted();
    std::vector<Prefix> blocks;
    for (const auto& [block, name] : rules)
      blocks.push_back(block);
    Client client(daemon_);
    for (size_t i = 0; i < questions; ++i) {
      const Prefix& block = blocks[random() % blocks.size()];
      const uint64_t inside = block.address | (random() & (block.Last() ^ block.address));
      const uint64_t addresses[] = {block.address, block.Last(), inside,
                                    (block.address + kAddresses - 1) % kAddresses,
                                    (block.Last() + 1) % kAddresses};
      const uint64_t address = addresses[random() % std::size(addresses)];
      ASSERT_EQ(Answer(client, address), LongestPrefix(rules, address))
          << net::ToString(Prefix{address, 48});
    }
  }

  /// Every rule is listed once, whatever the table makes of it.
  void ExpectListed() {
    Names listed;
    Client client(daemon_);
    client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_MSG_MAC_LIST), [&](const Message& reply) {
      for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE)) {
        uint64_t mac = 0;
        unsigned bits = 0;
        for (const uint16_t type : {BYOD_TLV_MAC, BYOD_TLV_MACMASK}) {
          uint8_t bytes[6] = {};
          TLV_GetValueByIterator(rule.get(), TLV_GetIteratorByType(rule.get(), type), 6, bytes);
          for (const uint8_t byte : bytes) {
            if (type == BYOD_TLV_MAC) mac = mac << 8 | byte;
            if (type == BYOD_TLV_MACMASK) bits += static_cast<unsigned>(std::popcount(byte));
          }
        }
        const bool is_new =
            listed.try_emplace(Prefix{mac, bits}, TextOf(rule, BYOD_TLV_DEVNAME)).second;
        EXPECT_TRUE(is_new) << net::ToString(Prefix{mac, bits});
      }
    });
    EXPECT_EQ(listed, Wanted());
    EXPECT_EQ(NumberOf(client.Ask(BYOD_OP_GET, BYOD_MSG_MAC_COUNT), BYOD_TLV_COUNT), listed.size());
  }

  Verdict Reload() { return VerdictOf(Client(daemon_).Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD)); }

  DaemonProcess daemon_;
  Names predefined_;
  Names custom_;
};

/// A block of one of a few vendors, of the lengths that the registry gives out.
Prefix RegistryBlock(std::mt19937_64& random) {
  constexpr unsigned kLengths[] = {24, 24, 28, 36};
  const uint64_t address = 0x001100000000 | (random() & 0x00000F777000);
  return MakePrefix(address, kLengths[random() % std::size(kLengths)]);
}

std::vector<Prefix> Registry(std::mt19937_64& random) {
  std::vector<Prefix> blocks;
  for (size_t count = 10 + random() % 60; count > 0; --count) {
    const Prefix block = RegistryBlock(random);
    if (std::ranges::none_of(blocks, [&](const Prefix& other) { return other.Overlaps(block); }))
      blocks.push_back(block);
  }
  return blocks;
}

/// A block somewhere among those, with an address that no other rule begins at.
Prefix CustomBlock(std::mt19937_64& random) {
  constexpr unsigned kLengths[] = {20, 26, 30, 34, 40, 44, 48, 48, 48, 48};
  const uint64_t address = 0x001100000000 | (random() & 0x00000FFFFFFF);
  return MakePrefix(address, kLengths[random() % std::size(kLengths)]);
}

TEST_F(RulesWithinRules, TheLongestPrefixAnswersOverEveryRegistryRestartAndRestore) {
  std::mt19937_64 random(2);
  constexpr int kEditions = 12;
  Bytes backup;
  Names backed_up;
  for (int edition = 0; edition < kEditions; ++edition) {
    SCOPED_TRACE(edition);
    WriteRegistry(Registry(random));
    const Verdict reloaded = Reload();
    ASSERT_EQ(reloaded, kDone);
    for (int change = 0; change < 12; ++change) {
      const Prefix block = CustomBlock(random);
      if (custom_.contains(block) || predefined_.contains(block)) continue;
      ASSERT_EQ(Set(block, "custom " + net::ToString(block)), kDone);
    }
    if (edition % 3 == 2) Unset(std::next(custom_.begin(), random() % custom_.size())->first);
    ASSERT_NO_FATAL_FAILURE(ExpectLongestPrefixes(random, 300));
    ASSERT_NO_FATAL_FAILURE(ExpectListed());
    if (edition == 4) {
      Client client(daemon_);
      backup = TakeBackup(client);
      backed_up = custom_;
    }
    if (edition == 8) {
      Client client(daemon_);
      ASSERT_EQ(RestoreBackup(client, backup), kDone);
      custom_ = backed_up;
    }
    if (edition % 2 == 1) {
      ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectLongestPrefixes(random, 300));
    ASSERT_NO_FATAL_FAILURE(ExpectListed());
  }
  while (!custom_.empty())
    Unset(std::next(custom_.begin(), random() % custom_.size())->first);
  ASSERT_NO_FATAL_FAILURE(ExpectListed());
  ASSERT_NO_FATAL_FAILURE(ExpectLongestPrefixes(random, 300));
}

TEST_F(RulesWithinRules, ABulkThatIsAbortedLeavesEveryRuleWhole) {
  WriteRegistry({{0x001122000000, 24}});
  ASSERT_EQ(Reload(), kDone);
  ASSERT_EQ(Set({0x001122330000, 32}, "kept"), kDone);
  Client client(daemon_);
  const auto phase = [&](uint32_t number, const std::vector<Message>& changes) {
    return VerdictOf(client.Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK, [&](Appender& append) {
      append.Number(BYOD_EXT_PHASE, number);
      for (const Message& change : changes)
        append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, change.get()));
    }));
  };
  const auto change = [](uint32_t operation, const Prefix& block) {
    return MakeRequest(operation, BYOD_MSG_MAC_VALUE,
                       [&](Appender& append) { AppendKey(append, block); });
  };
  std::vector<Message> changes;
  changes.push_back(change(BYOD_OP_SET, {0x001122334455, 48}));
  changes.push_back(change(BYOD_OP_SET, {0x001100000000, 16}));
  changes.push_back(change(BYOD_OP_UNDO, {0x001122330000, 32}));
  changes.push_back(change(BYOD_OP_SET, {0x001122000000, 25}));
  ASSERT_EQ(phase(BYOD_PHASE_BEGIN, {}), kDone);
  ASSERT_EQ(phase(BYOD_PHASE_MORE, changes), kDone);
  ASSERT_EQ(phase(BYOD_PHASE_ABORT, {}), kDone);
  ExpectListed();
  std::mt19937_64 random(3);
  ASSERT_NO_FATAL_FAILURE(ExpectLongestPrefixes(random, 100));
}

TEST_F(RulesWithinRules, TwoThatBeginAtOneAddressAreBothStored) {
  WriteRegistry({{0x001122000000, 24}});
  ASSERT_EQ(Reload(), kDone);
  ASSERT_EQ(Set({0x001122000000, 32}, "larger"), kDone);
  ASSERT_EQ(Set({0x001122000000, 40}, "smaller"), kDone);
  ASSERT_EQ(Set({0x001122000000, 24}, "modified"), kDone);
  predefined_.clear();  // all of it is the administrator's now
  std::mt19937_64 random(4);
  for (int round = 0; round < 2; ++round) {
    ASSERT_NO_FATAL_FAILURE(ExpectListed());
    ASSERT_NO_FATAL_FAILURE(ExpectLongestPrefixes(random, 60));
    ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  }
  Unset({0x001122000000, 40});
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
  ASSERT_NO_FATAL_FAILURE(ExpectListed());
}

}  // namespace
}  // namespace byod::test
