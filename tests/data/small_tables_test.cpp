// SPDX-License-Identifier: Apache-2.0
// An identification by option 55 that never returns, after a small table has changed a few times:
// the three tables through the exported functions, at every small number of rules, over many
// changes, and with a bound on the steps of each call.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "data/user_agent/first_match.h"
#include "support/churn.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"
#include "support/step_count.h"

namespace {

using namespace byod::test;

constexpr size_t kMaxRules = 60;

/// No call takes as many with so few rules.
constexpr uint64_t kManySteps = 1000;

class SmallTable : public RuleStoreTest {};

void FindOrNewOption(int last) {
  uint16_t created = 0;
  uint32_t err = 0;
  const std::string text = "1,3,6,15," + std::to_string(last);
  BYOD_data_FindOrNewDhcpOptionRule(text.c_str(), BYOD_RULE_CUSTOM, &created, &err);
  ASSERT_EQ(err, 0u);
}

ByodFingerPrint FingerPrintOf(const std::vector<uint8_t>& options) {
  ByodFingerPrint fp = {};
  fp.option_length = static_cast<uint32_t>(options.size());
  std::memcpy(fp.options, options.data(), options.size());
  return fp;
}

TEST_F(SmallTable, IdentificationByOptionsReturnsAfterTwentyOneRulesCameAndTenWent) {
  const support::Steps steps(20 * kManySteps);
  for (const int last : {11, 15, 16, 18, 2, 20, 23, 27, 34, 36, 4})
    FindOrNewOption(last);
  for (const int last : {11, 15, 16, 18, 2, 20, 23, 27, 34, 36})
    BYOD_data_DelDhcpOptionRule(("1,3,6,15," + std::to_string(last)).c_str());
  for (const int last : {1, 10, 12, 13, 14, 17, 19, 21, 22, 24})
    FindOrNewOption(last);
  const ByodFingerPrint fp = FingerPrintOf({99, 98, 97});
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDeviceAttributeByFingerPrint(&fp, &attr), kFailed);
}

/// What is looked up besides rules: a terminal, by the one part of the fingerprint that the table
/// is for.
template <typename Rules>
void Identify(unsigned key) {
  ByodDeviceAttribute attr = {};
  if constexpr (std::is_same_v<Rules, MacRules>) {
    BYOD_data_GetDevAttriByMac(Rules::Key(key).mac, &attr);
  } else if constexpr (std::is_same_v<Rules, UserAgentRules>) {
    const std::string ua = "Mozilla/5.0 (" + Rules::Key(key) + ") AppleWebKit/537.36";
    ASSERT_EQ(byod::data::FirstMatch(ua.c_str()), byod::data::FirstMatchByWalking(ua.c_str()));
  } else {
    const ByodFingerPrint fp = FingerPrintOf({99, static_cast<uint8_t>(key)});
    BYOD_data_GetDeviceAttributeByFingerPrint(&fp, &attr);
  }
}

template <typename Rules>
class TableModel {
 public:
  explicit TableModel(std::mt19937& random) : random_(random) {
    BYOD_data_GlobalInfoFini();
    EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  }

  size_t size() const { return live_.size(); }

  void Add() {
    const unsigned key = AnyKey();
    const bool there = rules_.contains(key);
    uint16_t created = 0;
    uint32_t err = 0;
    steps_.Restart();
    auto* const rule = Rules::FindOrNew(key, BYOD_RULE_CUSTOM, &created, &err);
    ASSERT_EQ(err, 0u);
    ASSERT_EQ(created, there ? 0 : 1);
    if (there) {
      ASSERT_EQ(rule, rules_[key]);
      return;
    }
    rules_[key] = rule;
    live_.push_back(key);
  }

  void Remove(size_t n) {
    const unsigned key = support::TakeOut(live_, n);
    rules_.erase(key);
    steps_.Restart();
    Rules::Delete(key);
  }

  void Look() {
    ASSERT_EQ(Rules::Count(), live_.size());
    if (!live_.empty()) {
      LookFor(live_[random_() % live_.size()]);
    }
    LookFor(AnyKey());
    steps_.Restart();
    ASSERT_EQ(Rules::First(), rules_.empty() ? nullptr : rules_.begin()->second);
  }

 private:
  unsigned AnyKey() { return random_() % (random_() % 2 == 0 ? 100 : 50000); }

  void LookFor(unsigned key) {
    const auto found = rules_.find(key);
    steps_.Restart();
    ASSERT_EQ(Rules::Find(key), found != rules_.end() ? found->second : nullptr);
    if (found != rules_.end()) {
      const auto next = std::next(found);
      steps_.Restart();
      ASSERT_EQ(Rules::Next(key), next != rules_.end() ? next->second : nullptr);
    }
    steps_.Restart();
    Identify<Rules>(key);
  }

  std::mt19937& random_;
  support::Steps steps_{kManySteps};
  std::vector<unsigned> live_;
  std::map<unsigned, typename Rules::Rule*> rules_;
};

template <typename Rules>
class SmallTableOf : public RuleStoreTest {};
TYPED_TEST_SUITE(SmallTableOf, AllTables, TableNames);

TYPED_TEST(SmallTableOf, HoldsWhatAMapHoldsWhileRulesComeAndGo) {
  std::mt19937 random(7);
  support::ChurnEverySize(1, kMaxRules, [&random] { return TableModel<TypeParam>(random); });
}

}  // namespace
