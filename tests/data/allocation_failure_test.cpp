// SPDX-License-Identifier: Apache-2.0
// Every operation that allocates, with each of its allocations failing in turn: what it returns,
// that nothing has changed, and that nothing stays allocated.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "lauth_avl.h"
#include "support/failing_allocator.h"
#include "support/rule_lists.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;

/// Runs an operation with its first, second, … allocation failing, until it gets through.
/// @param operation  ends with everything that it got released again
/// @param check      what holds after a failure, asked while allocations work again
/// @param room       of how many arrays that were made or grew may be kept after a failure, for the
/// next time
/// @return how many of its allocations were made to fail
template <typename Operation, typename Check>
uint32_t FailEach(Operation operation, Check check, int64_t room = 0) {
  for (uint32_t n = 1; n < 1000; ++n) {
    const int64_t before = support::LiveAllocations();
    bool failed = false;
    {
      support::FailingAllocation failing(n);
      operation();
      failed = failing.Failed();
    }
    if (!failed) return n - 1;
    EXPECT_LE(support::LiveAllocations(), before + room) << "allocation " << n;
    check();
  }
  ADD_FAILURE() << "the operation never gets through";
  return 0;
}

TEST(AllocationFailure, MakesNoDeviceInformation) {
  ByodDeviceInfo* info = nullptr;
  const uint32_t failures = FailEach([&] { info = BYOD_data_CreateDeviceInfo("n", "v", "c", "o"); },
                                     [&] { EXPECT_EQ(info, nullptr); });
  EXPECT_EQ(failures, 1u);
  ASSERT_NE(info, nullptr);
  std::free(info);
}

TEST(AllocationFailure, MakesNoStoreButKeepsItsLimit) {
  uint32_t result = 0;
  bool last = false;
  const uint32_t failures = FailEach(
      [&] {
        result = BYOD_data_GlobalInfoInit(0);
        last = result == 0;
        if (last) return;
        if (BYOD_data_GetMacRuleTbl()->tree != nullptr) {
          ByodMacRule rule = {};
          rule.origin = BYOD_RULE_CUSTOM;
          EXPECT_EQ(Byod_AddMacRule(&rule), kRuleLimit);
        }
        BYOD_data_GlobalInfoFini();
      },
      [&] { EXPECT_EQ(result, kFailed); });
  EXPECT_TRUE(last);
  EXPECT_GE(failures, 3u);  // two hash tables and a tree at least
  BYOD_data_GlobalInfoFini();
}

TEST(AllocationFailure, KeepsTheContainersThatCouldBeMade) {
  for (uint32_t n = 1;; ++n) {
    support::FailingAllocation failing(n);
    const uint32_t result = BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
    const bool failed = failing.Failed();
    failing.Disarm();
    const int made = (BYOD_data_GetMacRuleTbl()->tree != nullptr) +
                     (BYOD_data_GetUserAgentRuleTbl()->hash != nullptr) +
                     (BYOD_data_GetDhcpOptionRuleTbl()->hash != nullptr);
    EXPECT_EQ(result, failed ? kFailed : 0u) << n;
    EXPECT_EQ(made, failed ? 2 : 3) << n;
    BYOD_data_GlobalInfoFini();
    if (!failed) break;
  }
}

/// All that can be seen of the three tables.
template <typename Rules>
std::vector<const void*> Seen() {
  std::vector<const void*> seen;
  const auto add = [&](const auto& rules) {
    for (auto* rule : rules) {
      seen.push_back(rule);
      seen.push_back(rule->predefined);
      seen.push_back(rule->configured);
    }
  };
  if constexpr (std::is_same_v<Rules, MacRules>) {
    void* const tree = MacRules::Table().tree;
    for (void* rule = AVL_GetLeftMost(tree); rule != nullptr; rule = AVL_GetNext(tree, rule))
      add(std::vector{static_cast<ByodMacRule*>(rule)});
  } else {
    add(InList<Rules>());
    for (uint32_t bucket = 0; bucket < 1024; ++bucket)
      add(InBucket<Rules>(bucket));
    if constexpr (std::is_same_v<Rules, UserAgentRules>) add(InMatchList());
  }
  return seen;
}

template <typename Rules>
class AllocationFailureInTable : public RuleStoreTest {
 protected:
  static constexpr unsigned kRules = 70;  // so that every array that grows does so

  AllocationFailureInTable() {
    BYOD_data_GlobalInfoFini();
    start_ = support::LiveAllocations();
    EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  }
  ~AllocationFailureInTable() override {
    BYOD_data_GlobalInfoFini();
    EXPECT_EQ(support::LiveAllocations(), start_);
  }

  struct State {
    std::vector<const void*> seen = Seen<Rules>();
    uint32_t rules = Rules::Count();
    uint32_t custom = Byod_GetCustomRuleCount();
    bool operator==(const State&) const = default;
  };

  /// Runs an operation for each of many rules, each allocation failing once.
  /// @return how many allocations failed
  static uint32_t ForManyRules(const std::function<void(unsigned)>& operation,
                               const std::function<void(unsigned)>& check_failure,
                               const std::function<void(unsigned)>& check_success) {
    uint32_t failures = 0;
    for (unsigned key = 0; key < kRules; ++key) {
      const State before;
      failures += FailEach([&] { operation(key); },
                           [&] {
                             check_failure(key);
                             EXPECT_TRUE(State() == before) << key;
                           },
                           kIndexArrays);
      check_success(key);
    }
    return failures;
  }

 private:
  int64_t start_ = 0;
};
TYPED_TEST_SUITE(AllocationFailureInTable, AllTables, TableNames);

TYPED_TEST(AllocationFailureInTable, MakesNoRule) {
  typename TypeParam::Rule* rule = nullptr;
  const uint32_t failures =
      FailEach([&] { rule = TypeParam::Alloc(); }, [&] { EXPECT_EQ(rule, nullptr); });
  EXPECT_EQ(failures, 1u);
  ASSERT_NE(rule, nullptr);
  TypeParam::Free(rule);
}

TYPED_TEST(AllocationFailureInTable, AddsNoRuleAndLeavesItToTheCaller) {
  typename TypeParam::Rule* rule = nullptr;
  uint32_t result = 0;
  std::vector<typename TypeParam::Rule*> rules;
  for (unsigned key = 0; key < this->kRules; ++key)
    rules.push_back(NewRule<TypeParam>(key * 11 % this->kRules, key % 2));
  this->ForManyRules(
      [&](unsigned key) {
        rule = rules[key];
        result = TypeParam::Add(rule);
      },
      [&](unsigned) {
        EXPECT_EQ(result, kFailed);
        typename TypeParam::Rule untouched = {};
        EXPECT_EQ(std::memcmp(rule, &untouched, 3 * sizeof(void*)), 0);  // its links
      },
      [&](unsigned key) {
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(TypeParam::Count(), key + 1);
      });
}

TYPED_TEST(AllocationFailureInTable, FindOrNewReportsItAndReturnsNone) {
  typename TypeParam::Rule* rule = nullptr;
  uint16_t created = 0;
  uint32_t err = 0;
  const uint32_t failures = this->ForManyRules(
      [&](unsigned key) {
        created = 77;
        err = 77;
        rule = TypeParam::FindOrNew(key, BYOD_RULE_CUSTOM, &created, &err);
      },
      [&](unsigned) {
        EXPECT_EQ(rule, nullptr);
        EXPECT_EQ(created, 0);
        EXPECT_EQ(err, kFailed);
      },
      [&](unsigned key) {
        EXPECT_EQ(rule, TypeParam::Find(key));
        EXPECT_EQ(created, 1);
        EXPECT_EQ(err, 0u);
      });
  EXPECT_GE(failures, this->kRules);
}

TYPED_TEST(AllocationFailureInTable, FindOrNewNeedsNoMemoryForARuleThatIsThere) {
  auto* there = Make<TypeParam>(1u, BYOD_RULE_CUSTOM);
  uint16_t created = 77;
  uint32_t err = 77;
  support::FailingAllocation failing(1);
  auto* found = TypeParam::FindOrNew(1u, BYOD_RULE_CUSTOM, &created, &err);
  failing.Disarm();
  EXPECT_EQ(found, there);
  EXPECT_EQ(err, 0u);
}

TYPED_TEST(AllocationFailureInTable, AddsNoPredefinedRule) {
  const ByodDeviceInfo info = Info("n", "v");
  const uint32_t failures = this->ForManyRules(
      [&](unsigned key) { TypeParam::AddFile(key, info); },
      [&](unsigned key) { EXPECT_EQ(TypeParam::Find(key), nullptr); },
      [&](unsigned key) { EXPECT_EQ(InfoText(TypeParam::Find(key)->predefined), "n/v//"); });
  EXPECT_GE(failures, 2 * this->kRules);  // rule and information
}

TYPED_TEST(AllocationFailureInTable, UpdateReportsItAndMakesNoInformation) {
  auto* rule = Make<TypeParam>(1u, BYOD_RULE_PREDEFINED);
  const auto record = RecordOf<typename TypeParam::Record>(Info("n", "v"));
  uint32_t result = 0;
  const uint32_t failures = FailEach([&] { result = TypeParam::Update(&record, rule); },
                                     [&] {
                                       EXPECT_EQ(result, kFailed);
                                       EXPECT_EQ(rule->configured, nullptr);
                                     });
  EXPECT_EQ(failures, 1u);
  EXPECT_EQ(result, 0u);
  // There is one now: nothing more is needed.
  support::FailingAllocation failing(1);
  EXPECT_EQ(TypeParam::Update(&record, rule), 0u);
}

TYPED_TEST(AllocationFailureInTable, DeletionNeedsNoMemory) {
  for (unsigned key = 0; key < 20; ++key)
    MakeCustom<TypeParam>(key, "n", "v");
  support::FailingAllocation failing(1);
  for (unsigned key = 0; key < 10; ++key)
    TypeParam::Erase(TypeParam::Find(key));
  failing.Disarm();
  EXPECT_EQ(failing.Count(), 0u);
  EXPECT_EQ(TypeParam::Count(), 10u);
}

// A walk through the tree is the one allocation of a question.
TEST_F(RuleStoreTest, NextConfiguredMacRuleIsNoneWithoutMemory) {
  auto* rule = Make<MacRules>(1u, BYOD_RULE_CUSTOM);
  const ByodMacRule probe = {};
  ByodMacRule* found = nullptr;
  const uint32_t failures = FailEach([&] { found = BYOD_ProcGetNextMacByConfig(&probe); },
                                     [&] { EXPECT_EQ(found, nullptr); });
  EXPECT_LE(failures, 1u);
  EXPECT_EQ(found, rule);
}

TEST_F(RuleStoreTest, IdentificationAllocatesNothing) {
  for (unsigned key = 0; key < 50; ++key) {
    MacRules::AddFile(key, Info("n", "v"));
    UserAgentRules::AddFile(key, Info("n", "v"));
    DhcpOptionRules::AddFile(key, Info("n", "v"));
  }
  ByodFingerPrint fp = {};
  fp.option_length = 2;
  Fill(fp.user_agent, "Terminal/00007");
  fp.mac[0] = 2;
  ByodDeviceAttribute attr = {};
  char out[128];
  support::FailingAllocation failing(1);
  const uint32_t attributes = BYOD_data_GetDeviceAttributeByFingerPrint(&fp, &attr);
  const uint32_t type = BYOD_data_GetDeviceTypeByFingerPrint(&fp, sizeof out, out);
  const uint32_t vendor = BYOD_data_GetDeviceVendorByFingerPrint(&fp, sizeof out, out);
  failing.Disarm();
  EXPECT_EQ(attributes, 0u);
  EXPECT_EQ(type, 0u);
  EXPECT_EQ(vendor, 0u);
  EXPECT_EQ(failing.Count(), 0u);
}

}  // namespace
