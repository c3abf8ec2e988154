// SPDX-License-Identifier: Apache-2.0
// The registry as it is published, loaded into the table and compared with a separate search.
#include "rulefiles/registry.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "byod_data.h"
#include "rulefiles/load.h"
#include "rulefiles/reports.h"

namespace byod::rulefiles {
namespace {

constexpr char kDirectory[] = "/usr/share/ieee-data";
constexpr char kLargeBlocks[] = "/usr/share/ieee-data/oui.csv";

/// The fields of a file, read the plain way: a state machine over its characters.
std::vector<std::vector<std::string>> PlainRead(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream content;
  content << in.rdbuf();
  std::vector<std::vector<std::string>> rows(1, {""});
  bool quoted = false;
  char before = '\0';
  for (const char c : content.str()) {
    if (c == '"') {
      if (!quoted && before == '"') rows.back().back() += c;  // "" stands for one
      quoted = !quoted;
    } else if (quoted || (c != ',' && c != '\n' && c != '\r')) {
      rows.back().back() += c;
    } else if (c == ',') {
      rows.back().emplace_back();
    } else if (c == '\n') {
      rows.push_back({""});
    }
    before = c;
  }
  return rows;
}

/// Organisations by the hexadecimal digits of their blocks.
std::map<std::string, std::string> PlainRegistry() {
  std::map<std::string, std::string> organisations;
  for (const char* name : {"/oui.csv", "/mam.csv", "/oui36.csv", "/iab.csv"}) {
    const auto rows = PlainRead(std::string{kDirectory}.append(name));
    for (size_t i = 1; i < rows.size(); ++i) {
      if (rows[i].size() == 4) organisations.emplace(rows[i][1], rows[i][2]);
    }
  }
  return organisations;
}

std::string PlainVendor(const std::map<std::string, std::string>& registry,
                        const std::string& address) {
  for (size_t digits = 12; digits > 0; --digits) {
    const auto found = registry.find(address.substr(0, digits));
    if (found == registry.end()) continue;
    std::string vendor = found->second;
    vendor.erase(vendor.find_last_not_of(" \t") + 1);
    vendor.erase(0, vendor.find_first_not_of(" \t"));
    if (vendor == "Private") return "";
    if (vendor == "IEEE Registration Authority" && digits == 6) return "";
    while (vendor.size() > 63) {  // whole characters off the end
      while ((static_cast<unsigned char>(vendor.back()) & 0xC0) == 0x80)
        vendor.pop_back();
      vendor.pop_back();
    }
    return vendor;
  }
  return "";
}

class RegistryTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (IsAbsent(kLargeBlocks)) return;
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0U);
    Reports reports;
    const RuleSet set = ReadRuleSet({"", kDirectory}, reports.diagnostics);
    handed_in = set.mac.size();
    taken = Load(set, reports.diagnostics);
    reported = reports.texts;
  }
  static void TearDownTestSuite() { BYOD_data_GlobalInfoFini(); }

  void SetUp() override {
    if (IsAbsent(kLargeBlocks)) GTEST_SKIP() << "no registry here";
  }

  static inline size_t handed_in = 0;
  static inline size_t taken = 0;
  static inline std::vector<std::string> reported;
};

TEST_F(RegistryTest, EveryRuleIsTakenByTheTable) {
  EXPECT_GT(handed_in, 46000U);
  EXPECT_EQ(taken, handed_in);
  EXPECT_EQ(BYOD_data_GetMacRuleCount(), handed_in);
  EXPECT_THAT(reported, testing::IsEmpty());
}

TEST_F(RegistryTest, TheAnswerIsThatOfTheLongestRegisteredPrefix) {
  const auto registry = PlainRegistry();
  ASSERT_GT(registry.size(), 46000U);
  std::vector<std::string> blocks;
  for (const auto& block : registry)
    blocks.push_back(block.first);

  std::mt19937_64 random(46000);
  size_t answered = 0;
  for (int i = 0; i < 100000; ++i) {
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llX", static_cast<unsigned long long>(random()));
    std::string address(digits, 12);
    // Nine in ten lie in a registered block, some of these at its first or last address.
    if (i % 10 != 0) {
      const std::string& block = blocks[random() % blocks.size()];
      address.replace(0, block.size(), block);
      if (i % 10 == 1)
        std::fill(address.begin() + static_cast<long>(block.size()), address.end(), '0');
      if (i % 10 == 2)
        std::fill(address.begin() + static_cast<long>(block.size()), address.end(), 'F');
    }
    const std::string expected = PlainVendor(registry, address);
    ByodDeviceAttribute answer = {};
    const uint32_t result = BYOD_data_GetDevAttriByMac(net::ParseMac(address)->data(), &answer);
    ASSERT_EQ(answer.vendor, expected) << address;
    ASSERT_EQ(result == 0, !expected.empty()) << address;
    answered += result == 0;
  }
  EXPECT_GT(answered, 80000U);
}

}  // namespace
}  // namespace byod::rulefiles
