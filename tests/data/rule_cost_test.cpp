// SPDX-License-Identifier: Apache-2.0
// Adding the n-th rule that shares an alternative with the rest, and deleting a rule among many
// of equal length, take n steps: what a rule costs must hardly depend on how many there are, and a
// deletion must not cost more than the addition, whatever the texts are.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "data/user_agent/first_match.h"
#include "support/emulation.h"
#include "support/rule_store_fixture.h"
#include "support/step_count.h"

namespace {

using byod::test::RuleStoreTest;
using support::Steps;

using TextOf = std::function<std::string(unsigned)>;

enum class Order { kFirstComeFirstGo, kLastComeFirstGo, kRandom };

std::string Number(unsigned n) {
  return std::to_string(100000 + n);
}

/// Without any term: sixteen bits as separators.
std::string Separators(unsigned n) {
  std::string text;
  for (int bit = 0; bit < 16; ++bit)
    text += (n >> bit & 1) != 0 ? '|' : '&';
  return text;
}

/// Long terms of two letters: few windows for many terms.
std::string TwoLetters(unsigned n) {
  std::string text = "abbabaabbaababba";
  for (int bit = 0; bit < 17; ++bit)
    text += (n >> bit & 1) != 0 ? "ab" : "ba";
  return text;
}

struct Case {
  const char* name;
  TextOf text;
};

const Case kCases[] = {
    {"OfOneLength", [](unsigned n) { return "Phone " + Number(n); }},
    {"ThatShareAnAlternative", [](unsigned n) { return "Phone " + Number(n) + "||Mobile"; }},
    {"ThatShareTwoAlternativesOfSeveralLengths",
     [](unsigned n) { return "Tablet||P" + std::to_string(n) + "||Mobile&&Safari"; }},
    {"ThatShareAWindow", [](unsigned n) { return "x" + Number(n) + "SM-G960F"; }},
    {"OfFewWindows", TwoLetters},
    {"WithoutTerms", Separators},
    {"OfAnyLength",
     [](unsigned n) { return std::string(n % 97 + 1, 'r') + std::to_string(n * 2654435761u); }},
};

class RuleCost : public RuleStoreTest {
 protected:
  struct Totals {
    uint64_t to_add = 0;
    uint64_t to_delete = 0;
  };

  /// The steps to add so many rules, and to delete all of them in the given order.
  static Totals Run(const TextOf& text_of, unsigned count, Order order) {
    Reopen(BYOD_NO_RULE_LIMIT);
    std::vector<ByodUserAgentRule*> rules;
    Totals totals;
    Steps steps(uint64_t{count} * 1000);
    for (unsigned n = 0; n < count; ++n) {
      ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
      text_of(n).copy(rule->keyword, sizeof rule->keyword - 1);
      EXPECT_EQ(BYOD_AddUserAgentRule(rule), 0u);
      rules.push_back(rule);
    }
    totals.to_add = steps.Taken();
    if (order == Order::kLastComeFirstGo) std::reverse(rules.begin(), rules.end());
    std::mt19937 random(1);
    if (order == Order::kRandom) std::shuffle(rules.begin(), rules.end(), random);
    steps.Restart();
    for (ByodUserAgentRule* const rule : rules)
      BYOD_DeleteUserAgent(rule);
    totals.to_delete = steps.Taken();
    return totals;
  }
};

TEST_F(RuleCost, GrowsHardlyWithTheNumberOfRules) {
  constexpr unsigned kFew = 1000;
  constexpr unsigned kMany = support::StepsHere(30000);
  for (const Case& rules : kCases) {
    for (const Order order : {Order::kFirstComeFirstGo, Order::kLastComeFirstGo, Order::kRandom}) {
      SCOPED_TRACE(std::string("rules ") + rules.name + ", order " +
                   std::to_string(static_cast<int>(order)));
      const Totals few = Run(rules.text, kFew, order);
      const Totals many = Run(rules.text, kMany, order);
      const auto each = [](uint64_t total, unsigned count) {
        return static_cast<double>(total) / count;
      };
      // Two lists are arrays in rings of 256 links: on average half of them are passed.
      constexpr double kRings = kMany / 256.0;
      const double to_add = each(many.to_add, kMany);
      const double to_delete = each(many.to_delete, kMany);
      EXPECT_LE(to_add, 2 * each(few.to_add, kFew) + kRings);
      EXPECT_LE(to_delete, 2 * each(few.to_delete, kFew) + kRings);
      EXPECT_LE(to_delete, 2 * to_add);
    }
  }
}

TEST_F(RuleCost, ToPutARuleInItsPlaceAmongThoseOfItsLengthTakesNotMoreThanToAddIt) {
  const auto in_byte_order = [](const ByodUserAgentRule* rule, const ByodUserAgentRule* other) {
    return std::strcmp(rule->keyword, other->keyword) < 0;
  };
  for (const unsigned count : {1000u, unsigned{support::StepsHere(30000)}}) {
    Reopen(BYOD_NO_RULE_LIMIT);
    uint64_t to_add = 0;
    uint64_t to_settle = 0;
    std::vector<unsigned> numbers(count);
    for (unsigned n = 0; n < count; ++n)
      numbers[n] = n;
    std::mt19937 random(1);
    std::shuffle(numbers.begin(), numbers.end(), random);
    Steps steps(uint64_t{count} * 1000);
    for (const unsigned n : numbers) {
      ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
      ("Phone " + Number(n) + "||Mobile&&Safari").copy(rule->keyword, sizeof rule->keyword - 1);
      steps.Restart();
      ASSERT_EQ(BYOD_AddUserAgentRule(rule), 0u);
      to_add += steps.Taken();
      steps.Restart();
      ASSERT_TRUE(byod::data::SettleInLibrary(*rule, in_byte_order));
      to_settle += steps.Taken();
    }
    EXPECT_LE(to_settle, 2 * to_add) << count;
    std::string before;
    for (const ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
         link = link->next) {
      const std::string keyword = byod::data::RuleOfMatchLink(const_cast<ByodLink*>(link))->keyword;
      ASSERT_LT(before, keyword);
      before = keyword;
    }
    const ByodUserAgentRule* const first =
        byod::data::FirstMatchInLibrary("a Mobile browser, Safari, of Phone");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->keyword, "Phone " + Number(0) + "||Mobile&&Safari");
  }
}

}  // namespace
