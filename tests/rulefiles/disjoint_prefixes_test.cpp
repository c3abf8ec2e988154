// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/disjoint_prefixes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>

namespace byod::rulefiles {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

MacRule Rule(const char* digits, unsigned bits, const char* vendor) {
  MacRule rule;
  rule.prefix = net::MakePrefix(net::PrefixFromDigits(digits).address, bits);
  rule.device.vendor = vendor;
  return rule;
}

std::vector<std::string> Show(const std::vector<MacRule>& rules) {
  std::vector<std::string> texts;
  for (const MacRule& rule : rules)
    texts.push_back(ToString(rule.prefix) + " " + rule.device.vendor);
  return texts;
}

TEST(DisjointPrefixes, BlocksThatDoNotOverlapStayInTheOrderOfAddresses) {
  EXPECT_THAT(Show(Disjoint({Rule("FF", 8, "B"), Rule("001122", 24, "A")})),
              ElementsAre("00:11:22:00:00:00/24 A", "ff:00:00:00:00:00/8 B"));
  EXPECT_THAT(Disjoint({}), IsEmpty());
}

TEST(DisjointPrefixes, ABlockIsSplitAroundASmallerOne) {
  EXPECT_THAT(
      Show(Disjoint({Rule("00112", 20, "A"), Rule("001122", 24, "B")})),
      ElementsAre("00:11:20:00:00:00/23 A", "00:11:22:00:00:00/24 B", "00:11:23:00:00:00/24 A",
                  "00:11:24:00:00:00/22 A", "00:11:28:00:00:00/21 A"));
}

TEST(DisjointPrefixes, ABlockThatIsCoveredByItsHalvesVanishes) {
  EXPECT_THAT(Show(Disjoint({Rule("8", 1, "A"), Rule("8", 2, "B"), Rule("C", 2, "C")})),
              ElementsAre("80:00:00:00:00:00/2 B", "c0:00:00:00:00:00/2 C"));
}

TEST(DisjointPrefixes, ABlockWithoutAVendorIsAHole) {
  EXPECT_THAT(Show(Disjoint({Rule("8", 1, "A"), Rule("8", 2, "")})),
              ElementsAre("c0:00:00:00:00:00/2 A"));
  EXPECT_THAT(Show(Disjoint({Rule("8", 1, ""), Rule("8", 2, "B")})),
              ElementsAre("80:00:00:00:00:00/2 B"));
}

// 64 addresses are enough to try every nesting: blocks of the last six bits, compared with a search
// for the longest prefix at each address.
TEST(DisjointPrefixes, TheAnswerIsThatOfTheSmallestBlockForRandomNests) {
  std::mt19937 random(20240517);
  for (int round = 0; round < 2000; ++round) {
    std::map<net::Prefix, std::string> blocks;
    for (unsigned count = random() % 12; count > 0; --count) {
      const unsigned bits = 42 + static_cast<unsigned>(random() % 7);
      blocks.emplace(net::MakePrefix(random() % 64, bits),
                     std::string{"-ABC"}.substr(random() % 4, 1));
    }
    std::vector<MacRule> rules;
    for (const auto& [prefix, vendor] : blocks) {
      rules.push_back(MacRule{prefix, {}, {}, {}});
      rules.back().device.vendor = vendor == "-" ? "" : vendor;
    }
    std::shuffle(rules.begin(), rules.end(), random);
    const std::vector<MacRule> disjoint = Disjoint(rules);

    for (uint64_t address = 0; address < 64; ++address) {
      std::string expected = "-";
      for (unsigned bits = 48; bits >= 42 && expected == "-"; --bits) {
        const auto found = blocks.find(net::MakePrefix(address, bits));
        if (found == blocks.end()) continue;
        expected = found->second;
        break;
      }
      std::string actual;
      for (const MacRule& rule : disjoint) {
        if (rule.prefix.address <= address && address <= rule.prefix.Last())
          actual += rule.device.vendor;
      }
      ASSERT_EQ(actual, expected == "-" ? "" : expected) << "round " << round << " at " << address;
    }
  }
}

}  // namespace
}  // namespace byod::rulefiles
