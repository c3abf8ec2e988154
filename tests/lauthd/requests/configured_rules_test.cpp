// SPDX-License-Identifier: Apache-2.0
// What is counted and paged through without walking a table is what a walk finds.
#include "lauthd/state/configured_rules.h"

#include <chrono>
#include <random>

#include "lauthd/requests/bulk_requests.h"
#include "lauthd/requests/rule_changes.h"
#include "lauthd/requests/state_requests.h"
#include "lauthd/state/match_order.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

template <typename Kind>
class ConfiguredRulesOf : public Handlers {
 protected:
  using Key = typename Kind::Key;

  static Key KeyNumber(uint32_t number) {
    Key key = {};
    if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
      key.mac[0] = 2;
      key.mac[1] = static_cast<uint8_t>(number / 3);
      // Some lie within others.
      std::memset(key.mask, 0xFF, number % 3 == 0 ? 2 : 3);
      key.mac[2] = static_cast<uint8_t>(number % 3);
    } else {
      std::snprintf(key.text, sizeof key.text, "%u,%u", number % 7 + 1, number + 10);
    }
    return key;
  }
  static Elements ElementsOf(const Key& key) {
    if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
      return {Bytes(BYOD_TLV_MAC, std::string(key.mac, key.mac + 6)),
              Bytes(BYOD_TLV_MACMASK, std::string(key.mask, key.mask + 6))};
    } else {
      return {Text(Kind::kKeyElement, key.text)};
    }
  }
  static void Predefine(const Key& key) {
    ByodDeviceInfo info = {};
    CopyText(info.name, "predefined");
    if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
      BYOD_data_AddFileMacRule(&key, &info);
    } else if constexpr (Kind::kMethod == BYOD_METHOD_DHCP) {
      BYOD_data_AddFileDhcpOptionRule(key.text, &info);
    } else {
      BYOD_data_AddFileAgentRule(key.text, &info);
    }
  }

  /// Compares index and walk.
  void Check() {
    std::vector<typename Kind::Rule*> walked;
    uint32_t modified = 0;
    for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
      if (IsConfigured(rule->origin, rule->modified)) walked.push_back(rule);
      modified += rule->modified == 1;
    }
    ASSERT_EQ(Kind::ModifiedCount(), modified);
    ASSERT_NE(CompleteIndex<Kind>(), nullptr);
    ASSERT_EQ(CompleteIndex<Kind>()->size(), walked.size());
    Key key = {};
    for (auto* const rule : walked) {
      ASSERT_EQ(Kind::NextConfigured(key), rule);
      key = Kind::KeyOf(*rule);
    }
    ASSERT_EQ(Kind::NextConfigured(key), nullptr);
  }

  void ChangeOne(std::mt19937& random) {
    const Elements key = ElementsOf(KeyNumber(random() % 60));
    const Elements name = {Text(BYOD_TLV_DEVNAME, "name " + std::to_string(random() % 3))};
    switch (random() % 5) {
      case 0:
        Undo(ChangeRuleValue<Kind>, key);
        break;
      case 1:
        Undo(ChangeRule<Kind>, key);
        break;
      case 2:
        Set(ChangeRuleValue<Kind>, key);
        break;
      default:
        Set(ChangeRule<Kind>, key + name);
        break;
    }
  }
  void Phase(uint32_t phase) { Set(ChangeBulk, {Number(BYOD_EXT_PHASE, phase)}); }
};

TYPED_TEST_SUITE(ConfiguredRulesOf, EveryKind, KindNames);

TYPED_TEST(ConfiguredRulesOf, AreThoseThatAWalkFindsAfterEveryChange) {
  std::mt19937 random(7);
  for (uint32_t number = 0; number < 60; number += 2)
    this->Predefine(this->KeyNumber(number));
  for (int step = 0; step < 400; ++step) {
    this->ChangeOne(random);
    ASSERT_NO_FATAL_FAILURE(this->Check()) << step;
  }
}

TYPED_TEST(ConfiguredRulesOf, AreThoseThatAWalkFindsAfterBulksAndReloads) {
  std::mt19937 random(8);
  for (int round = 0; round < 40; ++round) {
    this->Phase(BYOD_PHASE_BEGIN);
    for (int step = 0; step < 20; ++step)
      this->ChangeOne(random);
    this->Phase(round % 2 == 0 ? BYOD_PHASE_COMMIT : BYOD_PHASE_ABORT);
    ASSERT_NO_FATAL_FAILURE(this->Check()) << round;
    if (round % 10 == 9) this->state_.Reload();
    ASSERT_NO_FATAL_FAILURE(this->Check()) << round;
  }
}

TYPED_TEST(ConfiguredRulesOf, AreBuiltAgainWhenTheyWereDropped) {
  std::mt19937 random(9);
  for (int step = 0; step < 50; ++step)
    this->ChangeOne(random);
  TypeParam::Configured().Drop();
  ASSERT_NO_FATAL_FAILURE(this->Check());
}

class ManyPredefinedRules : public Handlers {
 protected:
  static void AddTo(int from, int to) {
    char text[32];
    for (int i = from; i < to; ++i) {
      std::snprintf(text, sizeof text, "Agent-%07d", i);
      AddPredefined(text, "Name", "Vendor");
    }
  }
  /// @return the shortest time of many
  template <typename Ask>
  static double TimeOf(Ask ask) {
    double best = 1e9;
    for (int i = 0; i < 50; ++i) {
      const auto start = std::chrono::steady_clock::now();
      ask();
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
      best = std::min(best, time.count());
    }
    return best;
  }
};

// Each walked all rules: with a million of them every status kept the others waiting for 5 ms.
TEST_F(ManyPredefinedRules, CostAStatusAndASearchForTheNextConfiguredOneNothing) {
  const auto status = [&] { Get(ShowStatus); };
  const auto next = [] { EXPECT_EQ(UserAgentKind::NextConfigured({}), nullptr); };
  AddTo(0, 100);
  const double status_of_few = TimeOf(status);
  const double next_of_few = TimeOf(next);
  AddTo(100, 50000);
  EXPECT_LT(TimeOf(status), status_of_few * 5 + 20e-6);
  EXPECT_LT(TimeOf(next), next_of_few * 5 + 5e-6);
}

}  // namespace
}  // namespace byod::lauthd
