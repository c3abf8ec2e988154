// SPDX-License-Identifier: Apache-2.0
#include "explain/explain.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "byod_data.h"
#include "byod_order.h"
#include "explain/explanation_message.h"
#include "protocol/extensions.h"
#include "tlv/message.h"

namespace byod::explain {
namespace {

constexpr uint32_t kNoMethod = BYOD_METHOD_COUNT;

ByodDeviceInfo Info(const char* name, const char* vendor, const char* category, const char* os) {
  ByodDeviceInfo info = {};
  std::snprintf(info.name, sizeof info.name, "%s", name);
  std::snprintf(info.vendor, sizeof info.vendor, "%s", vendor);
  std::snprintf(info.category, sizeof info.category, "%s", category);
  std::snprintf(info.os, sizeof info.os, "%s", os);
  return info;
}

ByodMacRule Block(std::initializer_list<uint8_t> bytes) {
  ByodMacRule probe = {};
  size_t i = 0;
  for (const uint8_t byte : bytes) {
    probe.mac[i] = byte;
    probe.mask[i++] = 0xFF;
  }
  return probe;
}

ByodFingerPrint FingerPrint(std::initializer_list<uint8_t> options, const char* user_agent,
                            std::initializer_list<uint8_t> mac) {
  ByodFingerPrint fingerprint = {};
  fingerprint.option_length = static_cast<uint32_t>(options.size());
  std::copy(options.begin(), options.end(), fingerprint.options);
  std::snprintf(fingerprint.user_agent, sizeof fingerprint.user_agent, "%s", user_agent);
  std::copy(mac.begin(), mac.end(), fingerprint.mac);
  return fingerprint;
}

class ExplainTest : public testing::Test {
 protected:
  ExplainTest() {
    EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0U);
    BYOD_order_Init();
  }
  ~ExplainTest() override {
    BYOD_order_Fini();
    BYOD_data_GlobalInfoFini();
  }

  static void SetOrder(uint32_t first, uint32_t second, uint32_t third) {
    const ByodOrder order = {{first, second, third}};
    BYOD_order_SetOrder(&order);
  }

  static void AddAgent(const char* keyword, const ByodDeviceInfo& info) {
    BYOD_data_AddFileAgentRule(keyword, &info);
  }
  static void AddOptions(const char* text, const ByodDeviceInfo& info) {
    BYOD_data_AddFileDhcpOptionRule(text, &info);
  }
  static void AddMac(const ByodMacRule& probe, const ByodDeviceInfo& info) {
    BYOD_data_AddFileMacRule(&probe, &info);
  }
};

TEST_F(ExplainTest, EachMethodFillsWhatThoseBeforeItLeftOpen) {
  AddOptions("1,3", Info("", "Acme", "", ""));
  AddAgent("Phone", Info("", "Other", "Mobile", "OS"));
  const auto search = ExplainAttributes(FingerPrint({1, 3}, "a Phone", {0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(search.result, 0U);
  ASSERT_EQ(search.steps.size(), 2U);  // the address is not asked for any more

  const Step& dhcp = search.steps[0];
  EXPECT_EQ(dhcp.method, static_cast<uint32_t>(BYOD_METHOD_DHCP));
  EXPECT_EQ(dhcp.lookup, Lookup::kRuleMatched);
  EXPECT_EQ(dhcp.rule, "1,3");
  EXPECT_EQ(dhcp.next, Next::kContinue);
  ASSERT_EQ(dhcp.fields.size(), size_t{kFieldCount});
  EXPECT_TRUE(dhcp.fields[kFieldVendor].is_used);
  EXPECT_EQ(dhcp.fields[kFieldCategory].source, Source::kNone);

  const Step& agent = search.steps[1];
  EXPECT_EQ(agent.rule, "Phone");
  EXPECT_EQ(agent.next, Next::kComplete);
  EXPECT_EQ(agent.fields[kFieldVendor].value, "Other");
  EXPECT_FALSE(agent.fields[kFieldVendor].is_used);
  EXPECT_TRUE(agent.fields[kFieldCategory].is_used);
  EXPECT_STREQ(search.attributes.vendor, "Acme");
  EXPECT_STREQ(search.attributes.os, "OS");
}

TEST_F(ExplainTest, ConfiguredInformationGoesBeforePredefined) {
  AddAgent("Phone", Info("P", "Predefined", "Mobile", ""));
  ByodTextRuleShowRec record = {};
  record.info = Info("", "Configured", "", "OS");
  ASSERT_EQ(BYOD_data_UpdateUserAgentRule(&record, BYOD_data_FindUserAgentRule("Phone")), 0U);
  const auto search = ExplainAttributes(FingerPrint({}, "Phone", {}));
  const std::vector<Field>& fields = search.steps.at(1).fields;
  EXPECT_EQ(fields[kFieldVendor].value, "Configured");
  EXPECT_EQ(fields[kFieldVendor].source, Source::kConfigured);
  EXPECT_EQ(fields[kFieldCategory].source, Source::kPredefined);
  EXPECT_EQ(fields[kFieldOs].source, Source::kConfigured);
  EXPECT_FALSE(search.steps[1].is_custom);
  EXPECT_EQ(ExplainName(FingerPrint({}, "Phone", {})).steps.at(1).fields.at(kFieldName).source,
            Source::kPredefined);
}

TEST_F(ExplainTest, AStepSaysWhyNoRuleWasFound) {
  AddAgent("Phone", Info("P", "V", "C", "O"));
  ByodFingerPrint fingerprint = FingerPrint({}, "Tablet", {});
  fingerprint.option_length = 255;
  std::memset(fingerprint.options, 200, sizeof fingerprint.options);
  const auto search = ExplainAttributes(fingerprint);
  ASSERT_EQ(search.steps.size(), 3U);
  EXPECT_EQ(search.steps[0].lookup, Lookup::kTooLong);
  EXPECT_EQ(search.steps[1].lookup, Lookup::kNoRule);
  EXPECT_EQ(search.steps[2].lookup, Lookup::kNoValue);
  EXPECT_EQ(search.steps[1].next, Next::kContinue);
  EXPECT_EQ(search.steps[2].next, Next::kExhausted);
  EXPECT_EQ(search.result, static_cast<uint32_t>(BYOD_ERR_FAILED));
}

TEST_F(ExplainTest, TheOrderEndsAtASlotThatNamesNoMethod) {
  SetOrder(BYOD_METHOD_MAC, 9, BYOD_METHOD_DHCP);
  AddMac(Block({0, 0x11, 0x22}), Info("", "V", "", ""));
  const auto search = ExplainAttributes(FingerPrint({1}, "x", {0, 0x11, 0x22, 0x33, 0x44, 0x55}));
  ASSERT_EQ(search.steps.size(), 1U);
  EXPECT_EQ(search.steps[0].rule, "00:11:22:00:00:00/24");
  EXPECT_EQ(search.steps[0].next, Next::kExhausted);
  SetOrder(kNoMethod, 0, 0);
  EXPECT_THAT(ExplainAttributes(FingerPrint({1}, "x", {})).steps, testing::IsEmpty());
}

TEST_F(ExplainTest, AnAllZeroAddressIsLookedUpForTheNameOnly) {
  AddMac(Block({0, 0, 0}), Info("Zero", "V", "C", "O"));
  const ByodFingerPrint fingerprint = FingerPrint({}, "", {});
  EXPECT_EQ(ExplainAttributes(fingerprint).steps.at(2).lookup, Lookup::kNoValue);
  EXPECT_EQ(ExplainName(fingerprint).name, "Zero");
}

TEST_F(ExplainTest, TheSearchForTheNameStopsAtTheFirstRuleThatHasOne) {
  AddOptions("1", Info("", "V", "C", "O"));
  AddAgent("Phone", Info("The phone", "", "", ""));
  const auto search = ExplainName(FingerPrint({1}, "Phone", {0, 1, 2, 3, 4, 5}));
  ASSERT_EQ(search.steps.size(), 2U);
  EXPECT_EQ(search.steps[0].lookup, Lookup::kRuleMatched);
  EXPECT_EQ(search.steps[0].next, Next::kContinue);
  EXPECT_EQ(search.steps[1].next, Next::kComplete);
  EXPECT_EQ(search.name, "The phone");
}

TEST_F(ExplainTest, AnExplanationComesOutOfAMessageAsItWentIn) {
  AddOptions("1,3", Info("", "Acme", "", ""));
  AddAgent("Phone", Info("The phone", "Other", "Mobile", ""));
  AddMac(Block({0, 1}), Info("Mac", "V", "C", "O"));
  ByodTextRuleShowRec record = {};
  record.info = Info("", "Configured", "", "OS");
  ASSERT_EQ(BYOD_data_UpdateUserAgentRule(&record, BYOD_data_FindUserAgentRule("Phone")), 0U);
  uint16_t created = 0;
  uint32_t err = 0;
  ASSERT_NE(BYOD_data_FindOrNewUserAgentRule("Custom", BYOD_RULE_CUSTOM, &created, &err), nullptr);
  ByodFingerPrint too_long = FingerPrint({}, "no rule", {});
  too_long.option_length = 255;
  std::memset(too_long.options, 200, sizeof too_long.options);
  for (const ByodFingerPrint& fingerprint :
       {FingerPrint({1, 3}, "Phone", {0, 1, 2, 3, 4, 5}), FingerPrint({}, "Custom", {0, 1}),
        FingerPrint({9}, "", {}), too_long}) {
    const Explanation sent = Explain(fingerprint);
    const tlv::Message message(TLV_Create());
    ASSERT_EQ(AppendExplanation(message.get(), sent), 0U);
    EXPECT_EQ(ReadExplanation(message.get()), sent);
  }
}

TEST_F(ExplainTest, AMessageWithoutStepsIsAnEmptyExplanation) {
  const tlv::Message message(TLV_Create());
  TLV_Append_UINT(message.get(), BYOD_EXT_STEP, 1);
  TLV_Append_UINT(message.get(), BYOD_TLV_ERRCODE, 0);
  EXPECT_EQ(ReadExplanation(message.get()), Explanation());
}

// Rules and fingerprints drawn from few values, so that every combination of found, half found and
// not found comes up; custom and modified rules too.
TEST_F(ExplainTest, AgreesWithTheIdentificationForRandomRulesOrdersAndFingerprints) {
  std::mt19937 random(20240517);
  const auto pick = [&](uint32_t count) { return static_cast<uint32_t>(random() % count); };
  const auto maybe = [&](const char* text) { return pick(2) == 0 ? text : ""; };
  const auto info = [&] {
    return Info(maybe("name"), maybe("vendor"), maybe("category"), maybe("os"));
  };
  const char* const words[] = {"Phone", "Tab", "OS", "Mobile", ""};
  size_t completed = 0, failed = 0, empty_successes = 0;

  for (int round = 0; round < 300; ++round) {
    BYOD_data_GlobalInfoFini();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0U);
    for (uint32_t i = pick(6); i > 0; --i) {
      uint16_t created = 0;
      uint32_t err = 0;
      const std::string keyword =
          std::string{words[pick(5)]} + (pick(2) ? "&&" : "||") + words[pick(5)];
      AddAgent(keyword.c_str(), info());
      const std::string custom =
          std::string{words[pick(4)]} + (pick(2) ? "&&" : "||") + words[pick(4)];
      ByodTextRuleShowRec text_record = {};
      text_record.info = info();
      BYOD_data_UpdateUserAgentRule(
          &text_record,
          BYOD_data_FindOrNewUserAgentRule(custom.c_str(), BYOD_RULE_CUSTOM, &created, &err));
      const std::string options = std::to_string(pick(3)) + "," + std::to_string(pick(3));
      AddOptions(options.c_str(), info());
      text_record.info = info();
      if (pick(2) == 0) {
        BYOD_data_UpdateDhcpOptionRule(&text_record, BYOD_data_FindDhcpOptionRule(options.c_str()));
      }
      const ByodMacRule block = Block({static_cast<uint8_t>(pick(4)), 0});
      AddMac(block, info());
      ByodMacRuleShowRec mac_record = {};
      mac_record.info = info();
      if (pick(2) == 0) BYOD_data_UpdateMacRule(&mac_record, BYOD_data_FindMacRule(&block));
    }
    for (int i = 0; i < 60; ++i) {
      SetOrder(pick(4), pick(4), pick(4));
      ByodFingerPrint fingerprint = FingerPrint({}, "", {static_cast<uint8_t>(pick(5))});
      if (pick(2) == 0) {
        fingerprint.option_length = 2;
        fingerprint.options[0] = static_cast<uint8_t>(pick(3));
        fingerprint.options[1] = static_cast<uint8_t>(pick(3));
      }
      std::snprintf(fingerprint.user_agent, sizeof fingerprint.user_agent, "%s%s", words[pick(5)],
                    words[pick(5)]);

      ByodDeviceAttribute expected = {};
      const uint32_t expected_result =
          BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &expected);
      const AttributeSearch search = ExplainAttributes(fingerprint);
      ASSERT_EQ(search.result, expected_result);
      ASSERT_STREQ(search.attributes.vendor, expected.vendor);
      ASSERT_STREQ(search.attributes.category, expected.category);
      ASSERT_STREQ(search.attributes.os, expected.os);
      completed += !search.steps.empty() && search.steps.back().next == Next::kComplete;
      failed += expected_result != 0;
      empty_successes += expected_result == 0 && expected.vendor[0] == '\0' &&
                         expected.category[0] == '\0' && expected.os[0] == '\0';

      char name[BYOD_DEVNAME_SIZE];
      const uint32_t name_result =
          BYOD_data_GetDeviceTypeByFingerPrint(&fingerprint, sizeof name, name);
      const NameSearch name_search = ExplainName(fingerprint);
      ASSERT_EQ(name_search.result, name_result);
      ASSERT_EQ(name_search.name, name);
    }
  }
  EXPECT_GT(completed, 1000U);
  EXPECT_GT(failed, 1000U);
  EXPECT_GT(empty_successes, 10U);
}

}  // namespace
}  // namespace byod::explain
