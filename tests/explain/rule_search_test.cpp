// SPDX-License-Identifier: Apache-2.0
// One search of each table answers what the library's functions answer, which search for each
// question: over random rules in all tables, rules that change, random terminals and orders.
#include "explain/rule_search.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "data/user_agent/first_match.h"
#include "data/user_agent/match_link.h"
#include "support/log_capture.h"
#include "support/random_expressions.h"
#include "support/rule_store_fixture.h"

namespace byod::explain {
namespace {

using support::RandomExpressions;

class OneSearch : public test::RuleStoreTest {
 protected:
  /// An info with some of its texts.
  ByodDeviceInfo SomeInfo() {
    constexpr const char* kNames[] = {"", "", "iPhone 12", "Unknown Box", "LG TV"};
    constexpr const char* kTexts[] = {"", "", "A", "B"};
    ByodDeviceInfo info = {};
    std::strcpy(info.name, kNames[random_.Below(5)]);
    std::strcpy(info.vendor, kTexts[random_.Below(4)]);
    std::strcpy(info.category, kTexts[random_.Below(4)]);
    std::strcpy(info.os, kTexts[random_.Below(4)]);
    return info;
  }
  std::string SomeOptions() {
    std::string text = std::to_string(random_.Below(3));
    for (uint32_t more = random_.Below(3); more > 0; --more)
      text += "," + std::to_string(random_.Below(3));
    return text;
  }
  /// A block among few, the address of zeros included.
  ByodMacRule SomeBlock() {
    ByodMacRule probe = {};
    probe.mac[0] = static_cast<uint8_t>(random_.Below(4));
    std::memset(probe.mask, 0xFF, 1 + random_.Below(6));
    return probe;
  }

  template <typename Rule>
  void Configure(Rule* rule) {
    if (rule == nullptr || random_.Below(2) == 0) return;
    std::free(rule->configured);
    const ByodDeviceInfo info = SomeInfo();
    rule->configured = BYOD_data_CreateDeviceInfo(info.name, info.vendor, info.category, info.os);
  }

  /// Adds, configures or deletes a rule of each table.
  void ChangeRules() {
    uint16_t created = 0;
    uint32_t err = 0;
    const ByodDeviceInfo info = SomeInfo();
    const std::string expression = random_.Expression();
    const std::string options = SomeOptions();
    const ByodMacRule block = SomeBlock();
    switch (random_.Below(3)) {
      case 0:
        BYOD_data_AddFileAgentRule(expression.c_str(), &info);
        BYOD_data_AddFileDhcpOptionRule(options.c_str(), &info);
        BYOD_data_AddFileMacRule(&block, &info);
        break;
      case 1:
        Configure(
            BYOD_data_FindOrNewUserAgentRule(expression.c_str(), BYOD_RULE_CUSTOM, &created, &err));
        Configure(
            BYOD_data_FindOrNewDhcpOptionRule(options.c_str(), BYOD_RULE_CUSTOM, &created, &err));
        Configure(BYOD_data_FindOrNewMacRule(&block, BYOD_RULE_CUSTOM, &created, &err));
        break;
      default:
        if (auto* const link = *BYOD_data_GetUserAgentRuleMatchList()) {
          BYOD_DeleteUserAgent(data::RuleOfMatchLink(link));
        }
        if (auto* const rule = BYOD_data_FindDhcpOptionRule(options.c_str())) {
          BYOD_DeleteDhcpOption(rule);
        }
        if (auto* const rule = BYOD_data_FindMacRule(&block)) BYOD_DeleteMacRule(rule);
        break;
    }
  }

  ByodFingerPrint SomeTerminal() {
    ByodFingerPrint fingerprint = {};
    // Every part may be missing; a long list has no text.
    fingerprint.option_length = random_.Below(20) == 0 ? 255 : random_.Below(4);
    for (uint32_t i = 0; i < fingerprint.option_length; ++i)
      fingerprint.options[i] = static_cast<uint8_t>(random_.Below(3));
    if (random_.Below(4) != 0) {
      std::strncpy(fingerprint.user_agent, random_.UserAgent().c_str(),
                   sizeof fingerprint.user_agent - 1);
    }
    fingerprint.mac[0] = static_cast<uint8_t>(random_.Below(4));
    fingerprint.mac[5] = static_cast<uint8_t>(random_.Below(2));
    return fingerprint;
  }

  void SetSomeOrder() {
    const ByodOrder order = {{random_.Below(4), random_.Below(4), random_.Below(4)}};
    BYOD_order_SetOrder(&order);
  }

  void CompareSomeTerminal() {
    const ByodFingerPrint fingerprint = SomeTerminal();
    RuleSearch rules(fingerprint);

    ByodDeviceAttribute attributes = {};
    const uint32_t attributes_result =
        BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &attributes);
    std::vector<std::string> log = log_.Take();
    EXPECT_EQ(rules.FindAttributes().result, attributes_result);
    EXPECT_EQ(std::memcmp(&rules.FindAttributes().values, &attributes, sizeof attributes), 0)
        << test::InfoText(rules.FindAttributes().values) << " for " << test::InfoText(attributes);
    EXPECT_EQ(log_.Take(), log);

    char name[BYOD_DEVNAME_SIZE] = "";
    const uint32_t name_result =
        BYOD_data_GetDeviceTypeByFingerPrint(&fingerprint, sizeof name, name);
    log = log_.Take();
    EXPECT_EQ(rules.FindName().result, name_result);
    EXPECT_STREQ(rules.FindName().text, name);
    EXPECT_EQ(log_.Take(), log);

    char vendor[BYOD_ATTR_SIZE] = "";
    char derived[BYOD_ATTR_SIZE] = "";
    EXPECT_EQ(rules.FindDerivedVendor(derived),
              BYOD_data_GetDeviceVendorByFingerPrint(&fingerprint, sizeof vendor, vendor));
    EXPECT_STREQ(derived, vendor);
    log_.Take();

    identified_ += attributes_result == 0;
    named_ += name_result == 0;
    ++compared_;
  }

  RandomExpressions random_{7};
  test::LogCapture log_;
  size_t compared_ = 0, identified_ = 0, named_ = 0;
};

TEST_F(OneSearch, AnswersAndLogsLikeTheLibraryWhileRulesChange) {
  for (int round = 0; round < 3000; ++round) {
    ChangeRules();
    SetSomeOrder();
    for (int i = 0; i < 4; ++i)
      CompareSomeTerminal();
    ASSERT_FALSE(HasFailure()) << "in round " << round;
  }
  EXPECT_GT(identified_, compared_ / 5);
  EXPECT_GT(named_, compared_ / 5);
  EXPECT_LT(identified_, compared_);
}

TEST_F(OneSearch, FindsTheUserAgentRuleThatAWalkFinds) {
  size_t found = 0;
  for (int round = 0; round < 3000; ++round) {
    ChangeRules();
    const std::string ua = random_.UserAgent();
    const auto* const rule = data::FirstMatchInLibrary(ua.c_str());
    ASSERT_EQ(rule, data::FirstMatchByWalking(ua.c_str())) << ua;
    found += rule != nullptr;
  }
  EXPECT_GT(found, 500u);
}

TEST_F(OneSearch, TheLibraryOffersItsSearchBehindTheTable) {
  const auto* const table =
      reinterpret_cast<const data::SearchableUserAgentTable*>(BYOD_data_GetUserAgentRuleTbl());
  EXPECT_EQ(table->self, table);
  Reopen(BYOD_NO_RULE_LIMIT);
  EXPECT_EQ(table->self, table) << "a new store keeps it";
  ASSERT_NE(table->first_match, nullptr);
  EXPECT_EQ(table->first_match("anything"), nullptr);
}

TEST_F(OneSearch, EachTableIsSearchedOnceHoweverOftenItIsAsked) {
  const ByodDeviceInfo info = test::Info("Phone", "Acme");
  BYOD_data_AddFileAgentRule("Phone", &info);
  ByodFingerPrint fingerprint = {};
  std::strcpy(fingerprint.user_agent, "a Phone");
  RuleSearch rules(fingerprint);
  const Match& match = rules.Of(BYOD_METHOD_USERAGENT);
  EXPECT_EQ(&rules.Of(BYOD_METHOD_USERAGENT), &match);
  rules.FindAttributes();
  rules.FindAttributes();
  EXPECT_EQ(log_.Take().size(), 1u) << "and logged once";
  EXPECT_STREQ(match.text, "Phone");
}

}  // namespace
}  // namespace byod::explain
