// SPDX-License-Identifier: Apache-2.0
// The MAC rules as a map in the order of masked addresses, which holds while no rules overlap, and
// random steps that are taken in the table and in the model alike.
#ifndef BYOD_TESTS_SUPPORT_MAC_RULE_TABLE_MODEL_H
#define BYOD_TESTS_SUPPORT_MAC_RULE_TABLE_MODEL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "lauth_avl.h"
#include "support/choices.h"
#include "support/model_info.h"
#include "support/rule_store_fixture.h"

namespace byod::test {

inline constexpr uint64_t kAllBits = 0xFFFFFFFFFFFF;

/// A rule's address and mask as numbers.
struct MacKey {
  uint64_t mac;
  uint64_t mask;

  bool Overlaps(const MacKey& other) const { return ((mac ^ other.mac) & mask & other.mask) == 0; }
  ByodMacRule Probe() const {
    ByodMacRule probe = {};
    for (unsigned i = 0; i < 6; ++i) {
      probe.mac[i] = static_cast<uint8_t>(mac >> (40 - 8 * i));
      probe.mask[i] = static_cast<uint8_t>(mask >> (40 - 8 * i));
    }
    return probe;
  }
};

inline uint64_t Prefix(int bits) {
  return kAllBits << (48 - bits) & kAllBits;
}

inline std::vector<ByodMacRule*> InTree() {
  std::vector<ByodMacRule*> rules;
  void* const tree = BYOD_data_GetMacRuleTbl()->tree;
  for (void* rule = AVL_GetLeftMost(tree); rule != nullptr; rule = AVL_GetNext(tree, rule)) {
    rules.push_back(static_cast<ByodMacRule*>(rule));
    if (rules.size() > 100000) break;
  }
  return rules;
}

struct MacRuleState {
  ByodMacRule* rule;
  MacKey key;
  uint32_t origin;
  uint16_t modified;
  std::optional<ModelInfo> predefined, configured;
};

/// Steps in the table and in its model. The store is empty at the beginning, and has the limit.
class MacRuleTableRun {
 public:
  static constexpr size_t kManyRules = 200;

  /// @param full  about how many rules there are at most
  MacRuleTableRun(Choices choices, uint32_t limit, size_t full = kManyRules)
      : choices_(std::move(choices)), limit_(limit), full_(full) {}

  const Choices& choices() const { return choices_; }
  size_t size() const { return rules_.size(); }

  void Step() {
    const size_t kind = rules_.size() > full_ ? 3 + choices_.Below(10) : choices_.Below(13);
    const auto origin = static_cast<uint32_t>(choices_.Below(2));
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
        if (rules_.size() > full_ / 2) Erase();
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
      ASSERT_EQ(InfoText(rule->predefined), InfoText(state.predefined));
      ASSERT_EQ(InfoText(rule->configured), InfoText(state.configured));
    }
  }

 private:
  /// One of a few hundred rules that do not overlap, with any address bits outside the mask.
  MacKey RandomKey() {
    const uint64_t oui = 0x001000 + choices_.Below(60);
    const int bits[] = {24, 28, 36, 48};
    const int length = bits[oui % 4];
    const uint64_t within = length == 24 ? 0 : (choices_.Below(8) + 1) << (48 - length);
    const uint64_t mask = Prefix(length);
    const uint64_t outside =
        (uint64_t{choices_.Number()} << 16 ^ choices_.Number()) & ~mask & kAllBits;
    return {oui << 24 | within | outside, mask};
  }

  MacKey RandomAddress() {
    MacKey key = RandomKey();
    if (choices_.Below(4) == 0) key.mac ^= uint64_t{1} << choices_.Below(30);
    key.mask = kAllBits;
    return key;
  }

  /// Mostly a separate rule; at times a wider one that may overlap several.
  MacKey RandomNewKey() {
    MacKey key = RandomKey();
    if (choices_.Below(8) == 0) key.mask = Prefix(20 + static_cast<int>(choices_.Below(28)));
    return key;
  }

  /// One that a rule covers, by its address and at times by its mask.
  MacKey RandomProbe() { return choices_.Below(2) == 0 ? RandomKey() : RandomAddress(); }

  std::map<uint64_t, MacRuleState>::iterator Overlapping(const MacKey& key) {
    return std::find_if(rules_.begin(), rules_.end(),
                        [&](const auto& entry) { return entry.second.key.Overlaps(key); });
  }
  size_t CountOverlapping(const MacKey& key) const {
    return static_cast<size_t>(std::count_if(rules_.begin(), rules_.end(), [&](const auto& entry) {
      return entry.second.key.Overlaps(key);
    }));
  }
  ByodMacRule* ModelFind(const MacKey& key) {
    const auto found = Overlapping(key);
    return found != rules_.end() ? found->second.rule : nullptr;
  }
  ByodMacRule* ModelSetFind(const MacKey& key) {
    const auto found = rules_.find(key.mac & key.mask);
    if (found == rules_.end() || found->second.key.mask != key.mask) return nullptr;
    return found->second.rule;
  }
  uint32_t Custom() const {
    return static_cast<uint32_t>(std::count_if(rules_.begin(), rules_.end(), [](const auto& entry) {
      return entry.second.origin == BYOD_RULE_CUSTOM;
    }));
  }
  uint32_t ExpectedResult(const MacKey& key, uint32_t origin) {
    if (origin == BYOD_RULE_CUSTOM && limit_ != BYOD_NO_RULE_LIMIT && Custom() >= limit_) {
      return kRuleLimit;
    }
    return Overlapping(key) != rules_.end() ? AVL_ERR_EXISTS : 0;
  }
  void Insert(ByodMacRule* rule, const MacKey& key, uint32_t origin,
              std::optional<ModelInfo> predefined) {
    rules_[key.mac & key.mask] = {rule, key, origin, 0, std::move(predefined), std::nullopt};
  }

  void AddFile(const MacKey& key) {
    const ModelInfo info = ModelInfo::Random(choices_);
    const ByodMacRule probe = key.Probe();
    const ByodDeviceInfo plain = info.Plain();
    BYOD_data_AddFileMacRule(&probe, &plain);
    if (ExpectedResult(key, BYOD_RULE_PREDEFINED) != 0) return;
    Insert(BYOD_data_SetFindMacRule(&probe), key, BYOD_RULE_PREDEFINED, info);
  }

  void FindOrNew(const MacKey& key, uint32_t origin) {
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

  void Add(const MacKey& key, uint32_t origin) {
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

  void Update(const MacKey& key) {
    const ModelInfo info = ModelInfo::Random(choices_);
    ByodMacRuleShowRec record = {};
    record.info = info.Plain();
    const ByodMacRule probe = key.Probe();
    ByodMacRule* const rule = BYOD_data_FindMacRule(&probe);
    const auto found = rules_.find(key.mac & key.mask);
    if (found == rules_.end() || found->second.rule != rule) return;
    ASSERT_EQ(BYOD_data_UpdateMacRule(&record, rule), 0u);
    LayOver(found->second.configured, info);
  }

  void Delete(const MacKey& key) {
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

  void DeletePart(const MacKey& key) {
    if (CountOverlapping(key) > 1) return;
    const auto mode = static_cast<uint32_t>(choices_.Below(3));
    const auto remove = static_cast<uint16_t>(choices_.Below(3));
    const ByodMacRule probe = key.Probe();
    BYOD_data_DelDeviceInfoFromMacRule(mode, remove, &probe);
    const auto found = Overlapping(key);
    if (found == rules_.end()) return;
    MacRuleState& state = found->second;
    if (test::DeletePart(state.configured, state.origin, mode, remove)) rules_.erase(found);
  }

  void Erase() {
    const auto entry =
        std::next(rules_.begin(), static_cast<ptrdiff_t>(choices_.Below(rules_.size())));
    BYOD_DeleteMacRule(entry->second.rule);
    rules_.erase(entry);
  }

  void SetModified() {
    auto entry = std::next(rules_.begin(), static_cast<ptrdiff_t>(choices_.Below(rules_.size())));
    entry->second.modified ^= 1;
    entry->second.rule->modified = entry->second.modified;
  }

  void Ask() {
    const MacKey address = RandomAddress(), key = RandomNewKey();
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
      const MacRuleState& state = entry->second;
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

  Choices choices_;
  uint32_t limit_;
  size_t full_;
  std::map<uint64_t, MacRuleState> rules_;  // by masked address
};

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_MAC_RULE_TABLE_MODEL_H
