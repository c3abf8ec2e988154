// The MAC rules against a plain model, over many random steps: a map in the order of masked
// addresses while no rules overlap, and else the set of the rules that are there.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "lauth_avl.h"
#include "support/failing_allocator.h"
#include "support/model_info.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

constexpr int kSteps = 15000;
constexpr uint64_t kAllBits = 0xFFFFFFFFFFFF;

struct Key {
  uint64_t mac;
  uint64_t mask;

  bool Overlaps(const Key& other) const { return ((mac ^ other.mac) & mask & other.mask) == 0; }
  ByodMacRule Probe() const {
    ByodMacRule probe = {};
    for (unsigned i = 0; i < 6; ++i) {
      probe.mac[i] = static_cast<uint8_t>(mac >> (40 - 8 * i));
      probe.mask[i] = static_cast<uint8_t>(mask >> (40 - 8 * i));
    }
    return probe;
  }
};

uint64_t Prefix(int bits) {
  return kAllBits << (48 - bits) & kAllBits;
}

std::vector<ByodMacRule*> InTree() {
  std::vector<ByodMacRule*> rules;
  void* const tree = BYOD_data_GetMacRuleTbl()->tree;
  for (void* rule = AVL_GetLeftMost(tree); rule != nullptr; rule = AVL_GetNext(tree, rule)) {
    rules.push_back(static_cast<ByodMacRule*>(rule));
    if (rules.size() > 100000) break;
  }
  return rules;
}

struct State {
  ByodMacRule* rule;
  Key key;
  uint32_t origin;
  uint16_t modified;
  std::optional<ModelInfo> predefined, configured;
};

class MacRuleTableModel : public RuleStoreTest {
 protected:
  void Run(uint32_t seed, uint32_t limit) {
    Reopen(limit);
    limit_ = limit;
    random_.seed(seed);
    for (int step = 0; step < kSteps; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      Step();
      ASSERT_NO_FATAL_FAILURE(ExpectSame());
      if (HasFailure()) return;
    }
    ASSERT_GT(rules_.size(), 30u);  // there was something to compare
    rules_.clear();
  }

 private:
  size_t Below(size_t bound) { return random_() % bound; }

  /// One of a few hundred rules that do not overlap, with any address bits outside the mask.
  Key RandomKey() {
    const uint64_t oui = 0x001000 + Below(60);
    const int bits[] = {24, 28, 36, 48};
    const int length = bits[oui % 4];
    const uint64_t within = length == 24 ? 0 : (Below(8) + 1) << (48 - length);
    const uint64_t mask = Prefix(length);
    const uint64_t outside = (uint64_t{random_()} << 16 ^ random_()) & ~mask & kAllBits;
    return {oui << 24 | within | outside, mask};
  }

  Key RandomAddress() {
    Key key = RandomKey();
    if (Below(4) == 0) key.mac ^= uint64_t{1} << Below(30);
    key.mask = kAllBits;
    return key;
  }

  /// Mostly a rule of its own; at times a wider one that may overlap several.
  Key RandomNewKey() {
    Key key = RandomKey();
    if (Below(8) == 0) key.mask = Prefix(20 + static_cast<int>(Below(28)));
    return key;
  }

  /// One that a rule covers, by its address and at times by its mask.
  Key RandomProbe() { return Below(2) == 0 ? RandomKey() : RandomAddress(); }

  std::map<uint64_t, State>::iterator Overlapping(const Key& key) {
    return std::find_if(rules_.begin(), rules_.end(),
                        [&](const auto& entry) { return entry.second.key.Overlaps(key); });
  }
  size_t CountOverlapping(const Key& key) const {
    return static_cast<size_t>(std::count_if(rules_.begin(), rules_.end(), [&](const auto& entry) {
      return entry.second.key.Overlaps(key);
    }));
  }
  ByodMacRule* ModelFind(const Key& key) {
    const auto found = Overlapping(key);
    return found != rules_.end() ? found->second.rule : nullptr;
  }
  ByodMacRule* ModelSetFind(const Key& key) {
    const auto found = rules_.find(key.mac & key.mask);
    if (found == rules_.end() || found->second.key.mask != key.mask) return nullptr;
    return found->second.rule;
  }
  uint32_t Custom() const {
    return static_cast<uint32_t>(std::count_if(rules_.begin(), rules_.end(), [](const auto& entry) {
      return entry.second.origin == BYOD_RULE_CUSTOM;
    }));
  }
  uint32_t ExpectedResult(const Key& key, uint32_t origin) {
    if (origin == BYOD_RULE_CUSTOM && limit_ != BYOD_NO_RULE_LIMIT && Custom() >= limit_) {
      return kRuleLimit;
    }
    return Overlapping(key) != rules_.end() ? AVL_ERR_EXISTS : 0;
  }
  void Insert(ByodMacRule* rule, const Key& key, uint32_t origin,
              std::optional<ModelInfo> predefined) {
    rules_[key.mac & key.mask] = {rule, key, origin, 0, std::move(predefined), std::nullopt};
  }

  void Step() {
    const size_t kind = rules_.size() > 200 ? 3 + Below(10) : Below(13);
    const auto origin = static_cast<uint32_t>(Below(2));
    switch (kind) {
      case 0:
        return AddFile(RandomNewKey());
      case 1:
        return FindOrNew(RandomNewKey(), origin);
      case 2:
        return Add(RandomNewKey(), origin);
      case 3:
        return Delete(RandomProbe());
      case 4:
        return DeletePart(RandomProbe());
      case 5:
        if (rules_.size() > 100) Erase();
        return;
      case 6:
      case 7:
        return Update(RandomKey());
      case 8:
        if (!rules_.empty()) SetModified();
        return;
      default:
        return Ask();
    }
  }

  void AddFile(const Key& key) {
    const ModelInfo info = ModelInfo::Random(random_);
    const ByodMacRule probe = key.Probe();
    const ByodDeviceInfo plain = info.Plain();
    BYOD_data_AddFileMacRule(&probe, &plain);
    if (ExpectedResult(key, BYOD_RULE_PREDEFINED) != 0) return;
    Insert(BYOD_data_SetFindMacRule(&probe), key, BYOD_RULE_PREDEFINED, info);
  }

  void FindOrNew(const Key& key, uint32_t origin) {
    const ByodMacRule probe = key.Probe();
    uint16_t created = 77;
    uint32_t err = 77;
    ByodMacRule* const rule = BYOD_data_FindOrNewMacRule(&probe, origin, &created, &err);
    if (ByodMacRule* const there = ModelSetFind(key)) {
      ASSERT_EQ(rule, there);
      ASSERT_EQ(created, 0);
      ASSERT_EQ(err, 0u);
      return;
    }
    const uint32_t expected = ExpectedResult(key, origin);
    ASSERT_EQ(err, expected);
    ASSERT_EQ(rule != nullptr, expected == 0);
    ASSERT_EQ(created, expected == 0 ? 1 : 0);
    if (rule != nullptr) Insert(rule, key, origin, std::nullopt);
  }

  void Add(const Key& key, uint32_t origin) {
    const ByodMacRule probe = key.Probe();
    ByodMacRule* const rule = BYOD_data_AllocMacRule();
    std::memcpy(rule->mac, probe.mac, sizeof rule->mac);
    std::memcpy(rule->mask, probe.mask, sizeof rule->mask);
    rule->origin = origin;
    const uint32_t expected = ExpectedResult(key, origin);
    ASSERT_EQ(Byod_AddMacRule(rule), expected);
    if (expected != 0) return BYOD_data_FreeMacRule(rule);
    Insert(rule, key, origin, std::nullopt);
  }

  void Update(const Key& key) {
    const ModelInfo info = ModelInfo::Random(random_);
    ByodMacRuleShowRec record = {};
    record.info = info.Plain();
    const ByodMacRule probe = key.Probe();
    ByodMacRule* const rule = BYOD_data_FindMacRule(&probe);
    const auto found = rules_.find(key.mac & key.mask);
    if (found == rules_.end() || found->second.rule != rule) return;
    ASSERT_EQ(BYOD_data_UpdateMacRule(&record, rule), 0u);
    LayOver(found->second.configured, info);
  }

  void Delete(const Key& key) {
    if (CountOverlapping(key) > 1) return;  // any of them would do
    const ByodMacRule probe = key.Probe();
    BYOD_data_DelMacRule(&probe);
    const auto found = Overlapping(key);
    if (found == rules_.end()) return;
    if (found->second.origin == BYOD_RULE_CUSTOM) {
      rules_.erase(found);
    } else {
      found->second.configured.reset();
    }
  }

  void DeletePart(const Key& key) {
    if (CountOverlapping(key) > 1) return;
    const auto mode = static_cast<uint32_t>(Below(3));
    const auto remove = static_cast<uint16_t>(Below(3));
    const ByodMacRule probe = key.Probe();
    BYOD_data_DelDeviceInfoFromMacRule(mode, remove, &probe);
    const auto found = Overlapping(key);
    if (found == rules_.end()) return;
    State& state = found->second;
    if (byod::test::DeletePart(state.configured, state.origin, mode, remove)) rules_.erase(found);
  }

  void Erase() {
    const auto entry = std::next(rules_.begin(), static_cast<ptrdiff_t>(Below(rules_.size())));
    BYOD_DeleteMacRule(entry->second.rule);
    rules_.erase(entry);
  }

  void SetModified() {
    auto entry = std::next(rules_.begin(), static_cast<ptrdiff_t>(Below(rules_.size())));
    entry->second.modified ^= 1;
    entry->second.rule->modified = entry->second.modified;
  }

  void Ask() {
    const Key address = RandomAddress(), key = RandomNewKey();
    const ByodMacRule by_address = address.Probe(), by_key = key.Probe();
    ByodMacRule* const covering = ModelFind(address);
    ASSERT_EQ(BYOD_data_FindMacRule(&by_address), covering);
    ASSERT_EQ(BYOD_data_SetFindMacRule(&by_key), ModelSetFind(key));
    if (CountOverlapping(key) <= 1) {
      ASSERT_EQ(BYOD_data_FindMacRule(&by_key), ModelFind(key));
    } else {
      ASSERT_NE(BYOD_data_FindMacRule(&by_key), nullptr);
    }

    ByodMacRule* const first = rules_.empty() ? nullptr : rules_.begin()->second.rule;
    ByodMacRule* next = first;  // also for an address that no rule covers, wherever it is
    ByodMacRule* before = nullptr;
    ByodMacRule* configured = nullptr;
    bool behind = false;
    for (auto entry = rules_.begin(); entry != rules_.end(); ++entry) {
      const State& state = entry->second;
      const auto after = std::next(entry);
      if (state.rule == covering) {
        next = after != rules_.end() ? after->second.rule : nullptr;
        before = entry != rules_.begin() ? std::prev(entry)->second.rule : nullptr;
      }
      behind = behind || state.key.mac > address.mac;
      if (behind && configured == nullptr && (state.origin == 1 || state.modified == 1)) {
        configured = state.rule;
      }
    }
    ASSERT_EQ(BYOD_FindRuleFromMacAvlNext(&by_address), next);
    ASSERT_EQ(BYOD_ProcGetNextMacByConfig(&by_address), configured);
    if (covering != nullptr) {
      ASSERT_EQ(BYOD_FindRuleFromMacAvlPre(covering), before);
    }
    const ByodMacRule zero = {};
    ASSERT_EQ(BYOD_FindRuleFromMacAvlNext(&zero), first);
  }

  void ExpectSame() {
    ASSERT_EQ(BYOD_data_GetMacRuleCount(), rules_.size());
    ASSERT_EQ(BYOD_data_GetMacRuleTbl()->custom_count, Custom());
    const std::vector<ByodMacRule*> in_tree = InTree();
    ASSERT_EQ(in_tree.size(), rules_.size());
    size_t n = 0;
    for (const auto& [masked, state] : rules_) {
      ByodMacRule* const rule = in_tree[n++];
      ASSERT_EQ(rule, state.rule);
      const ByodMacRule probe = state.key.Probe();
      ASSERT_EQ(std::memcmp(rule->mac, probe.mac, 6), 0);
      ASSERT_EQ(std::memcmp(rule->mask, probe.mask, 6), 0);
      ASSERT_EQ(rule->origin, state.origin);
      ASSERT_EQ(rule->modified, state.modified);
      ASSERT_EQ(Told(rule->predefined), Told(state.predefined));
      ASSERT_EQ(Told(rule->configured), Told(state.configured));
    }
  }

  std::mt19937 random_;
  uint32_t limit_ = BYOD_NO_RULE_LIMIT;
  std::map<uint64_t, State> rules_;  // by masked address
};

TEST_F(MacRuleTableModel, AgreesWithTheTableAfterEveryStep) {
  Run(1, BYOD_NO_RULE_LIMIT);
}

TEST_F(MacRuleTableModel, AgreesWithTheTableUnderALimit) {
  Run(2, 20);
}

TEST_F(MacRuleTableModel, LeavesNothingAllocatedAfterFini) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  Run(3, BYOD_NO_RULE_LIMIT);
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(support::LiveAllocations(), before);
}

// With overlapping masks the order contradicts itself: a search may miss. No rule may be lost.
TEST_F(RuleStoreTest, LosesNoMacRuleWhenMasksOverlap) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  {
    std::mt19937 random(7);
    std::set<ByodMacRule*> rules;
    uint32_t custom = 0;
    const auto any_key = [&] {
      Key key = {0, 0};
      for (int i = 0; i < 6; ++i) {
        key.mac = key.mac << 8 | random() % 4;
        key.mask = key.mask << 8 | (random() % 3 == 0 ? random() & 0xFF : 0xFF);
      }
      return key;
    };
    const auto forget = [&](ByodMacRule* rule) {
      custom -= rule->origin == BYOD_RULE_CUSTOM;
      ASSERT_EQ(rules.erase(rule), 1u);
    };
    size_t most = 0, refused = 0;
    for (int step = 0; step < kSteps; ++step) {
      const ByodMacRule probe = any_key().Probe();
      const auto origin = static_cast<uint32_t>(random() % 2);
      if (random() % 3 != 0) {
        uint16_t created = 0;
        uint32_t err = 0;
        ByodMacRule* const rule = BYOD_data_FindOrNewMacRule(&probe, origin, &created, &err);
        if (created == 1) {
          ASSERT_TRUE(rules.insert(rule).second);
          custom += origin;
        } else {
          ASSERT_EQ(err, rule == nullptr ? AVL_ERR_EXISTS : 0u);
          ++refused;
        }
      } else if (random() % 2 == 0 && !rules.empty()) {
        ByodMacRule* const rule =
            *std::next(rules.begin(), static_cast<ptrdiff_t>(random() % rules.size()));
        ASSERT_NO_FATAL_FAILURE(forget(rule));
        BYOD_DeleteMacRule(rule);
      } else {
        ByodMacRule* const found = BYOD_data_FindMacRule(&probe);
        if (found != nullptr && found->origin == BYOD_RULE_CUSTOM) {
          ASSERT_NO_FATAL_FAILURE(forget(found));
        }
        BYOD_data_DelMacRule(&probe);
      }
      BYOD_FindRuleFromMacAvlNext(&probe);
      BYOD_ProcGetNextMacByConfig(&probe);
      most = std::max(most, rules.size());
      ASSERT_EQ(BYOD_data_GetMacRuleCount(), rules.size());
      ASSERT_EQ(BYOD_data_GetMacRuleTbl()->custom_count, custom);
      if (step % 8 == 0) {
        const auto in_tree = InTree();
        ASSERT_EQ(std::set<ByodMacRule*>(in_tree.begin(), in_tree.end()), rules);
        ASSERT_EQ(in_tree.size(), rules.size());
      }
    }
    EXPECT_GT(most, 30u);
    EXPECT_GT(refused, 100u);
  }
  BYOD_data_GlobalInfoFini();
  EXPECT_EQ(support::LiveAllocations(), before);
}

}  // namespace
