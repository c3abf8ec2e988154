// SPDX-License-Identifier: Apache-2.0
// Rules within rules: the longest prefix answers, whatever the table can hold.
#include "lauthd/state/mac_rule_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "lauth_avl.h"
#include "lauthd/state/rule_cursor.h"
#include "lauthd/state/rule_state.h"
#include "support/failing_allocator.h"

namespace byod::lauthd {
namespace {

using net::MakePrefix;
using net::Prefix;

struct ModelRule {
  std::string name;
  bool is_custom;
  bool operator==(const ModelRule&) const = default;
};

/// All rules by block: the longest that holds an address answers.
using Model = std::map<Prefix, ModelRule>;

std::string AnswerOf(const Model& model, uint64_t address) {
  for (unsigned bits = 48; bits > 0; --bits) {
    const auto rule = model.find(MakePrefix(address, bits));
    if (rule != model.end()) return rule->second.name;
  }
  return "";
}

ByodMacRule KeyOf(const Prefix& block) {
  ByodMacRule key = {};
  std::ranges::copy(block.Mac(), key.mac);
  std::ranges::copy(block.Mask(), key.mask);
  return key;
}

struct MacRuleSetTest : testing::Test {
  void SetUp() override { Begin(BYOD_NO_RULE_LIMIT); }
  void TearDown() override { End(); }

  void Begin(uint32_t rule_limit) {
    ASSERT_EQ(BYOD_data_GlobalInfoInit(rule_limit), 0u);
    rules_.SetLimit(MacRuleSet::kDefaultLimit);
    model_.clear();
  }
  void End() {
    rules_.Clear();
    BYOD_data_GlobalInfoFini();
  }

  void Predefine(const Prefix& block, const std::string& name) {
    ByodDeviceInfo info = {};
    CopyText(info.name, name.c_str());
    const ByodMacRule key = KeyOf(block);
    BYOD_data_AddFileMacRule(&key, &info);
    model_[block] = {name, false};
  }

  uint32_t Add(const Prefix& block, const std::string& name) {
    uint32_t err = 0;
    ByodMacRule* const rule = rules_.Add(KeyOf(block), err);
    if (rule == nullptr) return err;
    ExchangeInfo<MacKind>(*rule, OwnedInfo(BYOD_data_CreateDeviceInfo(name.c_str(), "", "", "")));
    model_[block] = {name, true};
    return 0;
  }

  void Remove(const Prefix& block) {
    ByodMacRule* const rule = rules_.Find(KeyOf(block));
    ASSERT_NE(rule, nullptr);
    EraseRule<MacKind>(rule);
    model_.erase(block);
  }

  static std::string Answer(uint64_t address) {
    const Prefix whole = {address, 48};
    char name[BYOD_DEVNAME_SIZE] = {};
    ByodFingerPrint fingerprint = {};
    std::ranges::copy(whole.Mac(), fingerprint.mac);
    BYOD_data_GetDevTypeByMac(fingerprint.mac, sizeof name, name);
    return name;
  }

  Model Listed() const {
    Model listed;
    for (const auto* rule = rules_.First(); rule != nullptr; rule = rules_.Next(*rule)) {
      const auto* const info = rule->configured != nullptr ? rule->configured : rule->predefined;
      const Prefix block = *BlockOf(*rule);
      EXPECT_TRUE(listed.empty() || std::prev(listed.end())->first < block);
      listed[block] = {info != nullptr ? info->name : "", rule->origin == BYOD_RULE_CUSTOM};
      EXPECT_EQ(rules_.Find(KeyOf(block)), rule);
    }
    return listed;
  }

  /// What the table itself holds, in order.
  static std::vector<Prefix> Table() {
    std::vector<Prefix> blocks;
    void* const tree = BYOD_data_GetMacRuleTbl()->tree;
    for (auto* rule = static_cast<ByodMacRule*>(AVL_GetLeftMost(tree)); rule != nullptr;
         rule = static_cast<ByodMacRule*>(AVL_GetNext(tree, rule)))
      blocks.push_back(*BlockOf(*rule));
    return blocks;
  }

  void ExpectModel() {
    ASSERT_EQ(Listed(), model_);
    ASSERT_EQ(rules_.Count(), model_.size());
    const auto custom =
        std::ranges::count_if(model_, [](const auto& rule) { return rule.second.is_custom; });
    ASSERT_EQ(Byod_GetCustomRuleCount(), static_cast<uint32_t>(custom));
    uint64_t end = 0;
    const auto table = Table();
    ASSERT_EQ(BYOD_data_GetMacRuleCount(), table.size());
    for (const Prefix& block : table) {
      ASSERT_GE(block.address, end) << "two rules of the table overlap";
      end = block.Last() + 1;
      ASSERT_EQ(Answer(block.address), AnswerOf(model_, block.address));
      ASSERT_EQ(Answer(block.Last()), AnswerOf(model_, block.Last()));
    }
    for (const auto& [block, rule] : model_) {
      for (const uint64_t address : {block.address - 1, block.address, block.Last() + 1})
        ASSERT_EQ(Answer(address & 0xFFFFFFFFFFFF), AnswerOf(model_, address & 0xFFFFFFFFFFFF));
    }
  }

  MacRuleSet& rules_ = MacRuleSet::Get();
  Model model_;
};

constexpr Prefix kVendor = {0x001122000000, 24};
constexpr Prefix kTerminal = {0x001122334455, 48};

TEST_F(MacRuleSetTest, AnAddressIsCutOutOfItsBlockAsTwentyFourPieces) {
  Predefine(kVendor, "vendor");
  ASSERT_EQ(Add(kTerminal, "desk"), 0u);
  ExpectModel();
  EXPECT_EQ(Table().size(), 25u);
  EXPECT_EQ(rules_.Count(), 2u);
  EXPECT_EQ(rules_.HolesIn(*rules_.Find(KeyOf(kVendor))), 1u);
  EXPECT_EQ(Answer(0x001122334455), "desk");
  EXPECT_EQ(Answer(0x001122334454), "vendor");
  Remove(kTerminal);
  ExpectModel();
  EXPECT_EQ(Table(), std::vector<Prefix>{kVendor}) << "whole again";
}

TEST_F(MacRuleSetTest, ARuleAroundOthersFillsTheGapsBetweenThem) {
  Predefine(kVendor, "vendor");
  Predefine({0x001130000000, 28}, "small");
  ASSERT_EQ(Add({0x001100000000, 16}, "mine"), 0u);
  ExpectModel();
  EXPECT_EQ(Answer(0x001199000000), "mine");
  EXPECT_EQ(Answer(0x001122000000), "vendor");
  EXPECT_EQ(rules_.HolesIn(*rules_.Find(KeyOf({0x001100000000, 16}))), 2u);
  Remove({0x001100000000, 16});
  ExpectModel();
  EXPECT_EQ(Table().size(), 2u);
}

TEST_F(MacRuleSetTest, AHoleInAHoleUsesTheSmallerBlock) {
  Predefine(kVendor, "vendor");
  ASSERT_EQ(Add(kTerminal, "desk"), 0u);
  ASSERT_EQ(Add({0x001122334000, 36}, "floor"), 0u);
  ASSERT_EQ(Add({0x001122334450, 45}, "room"), 0u);
  ExpectModel();
  Remove({0x001122334000, 36});
  ExpectModel();
  Remove(kTerminal);
  ExpectModel();
  Remove({0x001122334450, 45});
  ExpectModel();
  EXPECT_EQ(Table(), std::vector<Prefix>{kVendor});
}

TEST_F(MacRuleSetTest, TwoHolesBesideEachOtherLeaveNothingWhenTheyFillTheBlock) {
  Predefine(kVendor, "vendor");
  ASSERT_EQ(Add(kVendor.Half(false), "low"), 0u);
  ASSERT_EQ(Add(kVendor.Half(true), "high"), 0u);
  ExpectModel();
  EXPECT_EQ(Table().size(), 2u);
  EXPECT_EQ(rules_.Count(), 3u) << "the rule has no address left, and is listed all the same";
  Remove(kVendor.Half(false));
  ExpectModel();
  Remove(kVendor.Half(true));
  EXPECT_EQ(Table(), std::vector<Prefix>{kVendor});
}

TEST_F(MacRuleSetTest, AChangeOfACutRuleIsAChangeOfAllItsPieces) {
  Predefine(kVendor, "vendor");
  ASSERT_EQ(Add(kTerminal, "desk"), 0u);
  ExchangeInfo<MacKind>(*rules_.Find(KeyOf(kVendor)),
                        OwnedInfo(BYOD_data_CreateDeviceInfo("changed", "", "", "")));
  model_[kVendor].name = "changed";
  ExpectModel();
  ExchangeInfo<MacKind>(*rules_.Find(KeyOf(kVendor)), nullptr);
  model_[kVendor].name = "vendor";
  ExpectModel();
}

TEST_F(MacRuleSetTest, ACutRuleIsWhatAnswersForAnAddressInIt) {
  Predefine(kVendor, "vendor");
  ASSERT_EQ(Add(kTerminal, "desk"), 0u);
  const auto* const covering = rules_.Covering(KeyOf({0x001122334454, 48}));
  EXPECT_EQ(covering, rules_.Find(KeyOf(kVendor)));
  EXPECT_EQ(rules_.Covering(KeyOf(kTerminal)), rules_.Find(KeyOf(kTerminal)));
}

TEST_F(MacRuleSetTest, ALimitRefusesMoreRulesWithinOthers) {
  Predefine(kVendor, "vendor");
  rules_.SetLimit(2);
  ASSERT_EQ(Add({0x001122000001, 48}, "a"), 0u);
  ASSERT_EQ(Add({0x001122000002, 48}, "b"), 0u);
  EXPECT_EQ(Add({0x001122000003, 48}, "c"), kErrCarvedLimit);
  EXPECT_EQ(Add({0x001100000000, 16}, "around"), kErrCarvedLimit);
  ExpectModel();
  EXPECT_EQ(Add({0x001123000000, 48}, "beside"), 0u) << "it lies in nothing";
  Remove({0x001122000001, 48});
  EXPECT_EQ(Add({0x001122000003, 48}, "c"), 0u);
  ExpectModel();
}

TEST_F(MacRuleSetTest, TheLimitOfCustomRulesCountsRulesNotPieces) {
  End();
  Begin(2);
  Predefine(kVendor, "vendor");
  ASSERT_EQ(Add({0x001100000000, 16}, "around"), 0u);
  ASSERT_EQ(Add(kTerminal, "desk"), 0u);
  EXPECT_EQ(Add({0x001122000001, 48}, "more"), BYOD_ERR_RULE_LIMIT);
  EXPECT_EQ(Add({0x550000000000, 48}, "elsewhere"), BYOD_ERR_RULE_LIMIT);
  ExpectModel();
  Remove(kTerminal);
  EXPECT_EQ(Add({0x001122000001, 48}, "more"), 0u);
  Remove({0x001100000000, 16});
  ExpectModel();
}

TEST_F(MacRuleSetTest, AListingGoesOnWhereItWasWhileRulesAreCutAndPutTogether) {
  Predefine(kVendor, "vendor");
  Predefine({0x001123000000, 24}, "next");
  RuleCursor<MacKind> cursor;
  ASSERT_EQ(Add(kTerminal, "desk"), 0u);
  EXPECT_EQ(BlockOf(*cursor.Here()), kVendor);
  cursor.Advance();
  EXPECT_EQ(BlockOf(*cursor.Here()), kTerminal);
  Remove(kTerminal);
  EXPECT_EQ(BlockOf(*cursor.Here()), (Prefix{0x001123000000, 24}));
  cursor.Advance();
  EXPECT_EQ(cursor.Here(), nullptr);
}

TEST_F(MacRuleSetTest, ARuleInsideOneWhoseMaskIsNoPrefixIsRefused) {
  ByodMacRule odd = {};
  odd.mac[0] = 0x55;
  odd.mask[0] = 0xFF;
  odd.mask[2] = 0xFF;
  const ByodDeviceInfo info = {};
  BYOD_data_AddFileMacRule(&odd, &info);
  uint32_t err = 0;
  EXPECT_EQ(rules_.Add(KeyOf({0x550000000001, 48}), err), nullptr);
  EXPECT_EQ(err, uint32_t{kErrBadBlock});
}

/// A block near the others, of any length.
Prefix RandomBlock(std::mt19937& random) {
  constexpr unsigned kLengths[] = {8, 16, 20, 23, 24, 24, 25, 28, 28, 36, 40, 44, 46, 47, 48, 48};
  const uint64_t address = 0x001100000000 | uint64_t{random() % 4} << 24 |
                           uint64_t{random() % 3} << 20 | uint64_t{random() % 3} << 12 |
                           random() % 8;
  return MakePrefix(address, kLengths[random() % std::size(kLengths)]);
}

TEST_F(MacRuleSetTest, RandomHistoriesAnswerByTheLongestPrefixAndEndAsTheyBegan) {
  std::mt19937 random(17);
  for (int round = 0; round < 60; ++round) {
    End();
    Begin(BYOD_NO_RULE_LIMIT);
    for (size_t left = random() % 12; left > 0; --left) {
      const Prefix block = RandomBlock(random);
      if (std::ranges::none_of(model_,
                               [&](const auto& rule) { return rule.first.Overlaps(block); }))
        Predefine(block, "predefined " + net::ToString(block));
    }
    const std::vector<Prefix> before = Table();
    std::vector<Prefix> custom;
    for (int change = 0; change < 60; ++change) {
      const Prefix block = RandomBlock(random);
      if (!custom.empty() && random() % 3 == 0) {
        const auto gone = custom.begin() + static_cast<ptrdiff_t>(random() % custom.size());
        ASSERT_NO_FATAL_FAILURE(Remove(*gone));
        custom.erase(gone);
      } else if (!model_.contains(block)) {
        ASSERT_EQ(Add(block, "custom " + net::ToString(block)), 0u);
        custom.push_back(block);
      }
      ASSERT_NO_FATAL_FAILURE(ExpectModel()) << "round " << round << ", change " << change;
    }
    std::ranges::shuffle(custom, random);
    for (const Prefix& block : custom)
      ASSERT_NO_FATAL_FAILURE(Remove(block));
    ASSERT_EQ(Table(), before) << "round " << round;
  }
}

TEST_F(MacRuleSetTest, WithoutMemoryNothingHasChanged) {
  std::mt19937 random(18);
  Predefine(kVendor, "vendor");
  Predefine({0x001100000000, 24}, "other");
  for (int change = 0; change < 60; ++change) {
    const Prefix block = RandomBlock(random);
    if (model_.contains(block)) continue;
    for (uint32_t n = 1;; ++n) {
      const auto table = Table();
      const int64_t live = support::LiveAllocations();
      uint32_t err = 0;
      support::FailingAllocation failing(n);
      ByodMacRule* const rule = rules_.Add(KeyOf(block), err);
      failing.Disarm();
      if (rule != nullptr) {
        model_[block] = {"", true};
        break;
      }
      ASSERT_TRUE(failing.Failed());
      ASSERT_EQ(err, uint32_t{BYOD_ERR_FAILED});
      ASSERT_EQ(support::LiveAllocations(), live);
      ASSERT_EQ(Table(), table);
      ASSERT_NO_FATAL_FAILURE(ExpectModel());
    }
    ASSERT_NO_FATAL_FAILURE(ExpectModel());
  }
}

TEST_F(MacRuleSetTest, RemovalAsksForNoMemory) {
  Predefine(kVendor, "vendor");
  for (const Prefix block : {kTerminal, Prefix{0x001122330000, 32}, Prefix{0x001100000000, 16}})
    ASSERT_EQ(Add(block, "mine"), 0u);
  for (const Prefix block : {Prefix{0x001122330000, 32}, kTerminal, Prefix{0x001100000000, 16}}) {
    ByodMacRule* const rule = rules_.Find(KeyOf(block));
    support::FailingAllocation failing(1);
    EraseRule<MacKind>(rule);
    failing.Disarm();
    EXPECT_FALSE(failing.Failed());
    model_.erase(block);
    ExpectModel();
  }
}

}  // namespace
}  // namespace byod::lauthd
