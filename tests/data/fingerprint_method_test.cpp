// SPDX-License-Identifier: Apache-2.0
// The lookups of each table, and the six methods of identification with their log lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "data/internal.h"
#include "support/identification_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;
using testing::ElementsAre;
using testing::IsEmpty;

class FingerprintMethod : public IdentificationTest {};

// ---------------------------------------------------------------- lookups of a table

TEST_F(FingerprintMethod, UserAgentLookupTakesTheFirstMatchInTheOrderOfTrying) {
  UserAgentRule(Info("short", "", "c"), "iPhone");
  UserAgentRule(Info("long", "v"), "iPhone&&Mobile");
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), 0u);
  EXPECT_EQ(InfoText(attr), "v//");  // nothing of the shorter one
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_STREQ(name, "long");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent("iPhone", sizeof name, name), 0u);
  EXPECT_STREQ(name, "short");
}

TEST_F(FingerprintMethod, UserAgentLookupWithoutAMatchFailsAndLeavesTheAttributes) {
  ByodDeviceAttribute attr = KnownAttributes("v");
  char name[128] = "x";
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), kFailed);
  UserAgentRule(Info("n", "v", "c", "o"), "iPad");
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), kFailed);
  EXPECT_EQ(InfoText(attr), "v//");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), kFailed);
}

TEST_F(FingerprintMethod, EmptyExpressionMatchesEveryUserAgentAfterAllOthers) {
  UserAgentRule(Info("any"), "");
  UserAgentRule(Info("iPhone"), "iPhone");
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_STREQ(name, "iPhone");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent("curl", sizeof name, name), 0u);
  EXPECT_STREQ(name, "any");
}

TEST_F(FingerprintMethod, UserAgentLookupLetsTheEmptyExpressionMatchTheEmptyString) {
  UserAgentRule(Info("any", "v"), "");
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent("", sizeof name, name), 0u);
  EXPECT_STREQ(name, "any");
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent("", &attr), 0u);
  EXPECT_EQ(InfoText(attr), "v//");
}

TEST_F(FingerprintMethod, UserAgentLookupSelectsTheNameOfTheFirstMatchOrNone) {
  UserAgentRule(Info("", "v"), "iPhone&&Mobile");
  UserAgentRule(Info("short"), "iPhone");
  char name[128] = "x";
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), kFailed);
  EXPECT_STREQ(name, "");
}

TEST_F(FingerprintMethod, MacLookupTakesTheRuleThatCoversTheAddress) {
  MacRule(Info("n", "v", "c", "o"));
  const Mac inside = MacOf("00:11:22:FF:FF:FF"), outside = MacOf("00:11:23:00:00:00");
  ByodDeviceAttribute attr = {};
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevAttriByMac(inside.data(), &attr), 0u);
  EXPECT_EQ(InfoText(attr), "v/c/o");
  EXPECT_EQ(BYOD_data_GetDevTypeByMac(inside.data(), sizeof name, name), 0u);
  EXPECT_STREQ(name, "n");
  EXPECT_EQ(BYOD_data_GetDevAttriByMac(outside.data(), &attr), kFailed);
  EXPECT_EQ(BYOD_data_GetDevTypeByMac(outside.data(), sizeof name, name), kFailed);
}

TEST_F(FingerprintMethod, DhcpLookupTakesTheRuleOfTheTextWithoutRegardToCase) {
  const ByodDeviceInfo info = Info("n");
  BYOD_data_AddFileDhcpOptionRule("1,3,6,a", &info);
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByDhcpOption("1,3,6,A", sizeof name, name), 0u);
  EXPECT_STREQ(name, "n");
  EXPECT_EQ(BYOD_data_GetDevTypeByDhcpOption("1,3,6", sizeof name, name), kFailed);
}

TEST_F(FingerprintMethod, LookupsMergeTheConfiguredInformationOverThePredefinedOne) {
  MakeModified<UserAgentRules>(std::string("iPhone"), Info("pn", "pv", "pc"), Info("cn", "", "cc"));
  ByodDeviceAttribute attr = {};
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), 0u);
  EXPECT_EQ(InfoText(attr), "pv/cc/");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_STREQ(name, "cn");
}

TEST_F(FingerprintMethod, LookupsLogNothing) {
  DhcpRule(Info("n", "v"));
  UserAgentRule(Info("n", "v"));
  MacRule(Info("n", "v"));
  ByodDeviceAttribute attr = {};
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), 0u);
  EXPECT_EQ(BYOD_data_GetDevAttriByMac(fp_.mac, &attr), 0u);
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_EQ(BYOD_data_GetDevTypeByMac(fp_.mac, sizeof name, name), 0u);
  EXPECT_EQ(BYOD_data_GetDevTypeByDhcpOption("1,3,6", sizeof name, name), 0u);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// ---------------------------------------------------------------- methods and what they log

using AttributeMethod = uint32_t (*)(const ByodFingerPrint*, ByodDeviceAttribute*, uint16_t*);
using TypeMethod = uint32_t (*)(const ByodFingerPrint*, uint32_t, char*);

constexpr AttributeMethod kAttributeMethods[] = {byod_data_AttriByDhcpFingerPrint,
                                                 byod_data_AttriByUserAgentFingerPrint,
                                                 byod_data_AttriByMacFingerPrint};
constexpr TypeMethod kTypeMethods[] = {byod_data_TypeByDhcpFingerPrint,
                                       byod_data_TypeByUserAgentFingerPrint,
                                       byod_data_TypeByMacFingerPrint};

TEST_F(FingerprintMethod, AttributeMethodsReportWhetherAllIsKnownAndLogIt) {
  DhcpRule(Info("n", "v", "c", "o"));
  UserAgentRule(Info("n", "v", "c", "o"));
  MacRule(Info("n", "v", "c", "o"));
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = {};
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 1);
    EXPECT_EQ(InfoText(attr), "v/c/o");
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "v/c/o")));
  }
}

TEST_F(FingerprintMethod, AttributeMethodsLogWhatWasKnownBefore) {
  DhcpRule(Info("n", "", "c"));
  UserAgentRule(Info("n", "", "c"));
  MacRule(Info("n", "", "c"));
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = KnownAttributes("before", "", "");
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 0);
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "before/c/")));
    attr = KnownAttributes("before", "", "before");
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 1);
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "before/c/before")));
  }
}

TEST_F(FingerprintMethod, FoundRuleWithoutInformationIsASuccess) {
  Make<DhcpOptionRules>(std::string("1,3,6"), BYOD_RULE_CUSTOM);
  Make<UserAgentRules>(std::string("iPhone"), BYOD_RULE_CUSTOM);
  const ByodMacRule probe = Probe("00:11:22:00:00:00", kPrefixMask);
  uint16_t created = 0;
  uint32_t err = 0;
  ASSERT_NE(BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, &created, &err), nullptr);
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = {};
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 0);
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "//")));
    char name[128];
    EXPECT_EQ(kTypeMethods[method](&fp_, sizeof name, name), kFailed);
    EXPECT_STREQ(name, "");
    EXPECT_THAT(log_.Take(), IsEmpty());
  }
  EXPECT_EQ(Attributes(), "//");
}

TEST_F(FingerprintMethod, TypeMethodsLogTheType) {
  DhcpRule(Info("by options"));
  UserAgentRule(Info("by agent"));
  MacRule(Info("by address"));
  const char* const expected[] = {"by options", "by agent", "by address"};
  for (uint32_t method = 0; method < 3; ++method) {
    char name[128];
    EXPECT_EQ(kTypeMethods[method](&fp_, sizeof name, name), 0u);
    EXPECT_STREQ(name, expected[method]);
    EXPECT_THAT(log_.Take(), ElementsAre(TypeLine(method, expected[method])));
  }
}

TEST_F(FingerprintMethod, MethodsFailWithoutARuleAndLogNothing) {
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = KnownAttributes("v");
    uint16_t complete = 77;
    char name[128];
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), kFailed);
    EXPECT_EQ(complete, 0) << method;
    EXPECT_EQ(InfoText(attr), "v//");
    EXPECT_EQ(kTypeMethods[method](&fp_, sizeof name, name), kFailed);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FingerprintMethod, LookupOfATypeLeavesTheOutputAloneWithoutARuleAndEmptiesItWithoutAName) {
  const auto look_up = [this](int table, uint32_t size, char* out) {
    return table == 0   ? BYOD_data_GetDevTypeByDhcpOption("1,3,6", size, out)
           : table == 1 ? BYOD_data_GetDevTypeByUserAgent(fp_.user_agent, size, out)
                        : BYOD_data_GetDevTypeByMac(fp_.mac, size, out);
  };
  for (int table = 0; table < 3; ++table) {
    char out[8] = "before";
    EXPECT_EQ(look_up(table, sizeof out, out), kFailed);
    EXPECT_STREQ(out, "before");
  }
  const ByodDeviceInfo info = Info("", "vendor");
  const ByodMacRule probe = [this] {
    ByodMacRule covering = Probe("00:00:00:00:00:00");
    std::memcpy(covering.mac, fp_.mac, sizeof covering.mac);
    return covering;
  }();
  BYOD_data_AddFileDhcpOptionRule("1,3,6", &info);
  BYOD_data_AddFileAgentRule("", &info);
  BYOD_data_AddFileMacRule(&probe, &info);
  for (int table = 0; table < 3; ++table) {
    char out[8] = "before";
    EXPECT_EQ(look_up(table, sizeof out, out), kFailed);
    EXPECT_STREQ(out, "");
  }
}

TEST_F(FingerprintMethod, MethodsFailWithoutTheirPartOfTheFingerprint) {
  DhcpRule(Info("n", "v"));
  const ByodDeviceInfo info = Info("n", "v");
  BYOD_data_AddFileDhcpOptionRule("", &info);  // would match an empty list
  UserAgentRule(Info("n", "v"), "");           // would match an empty User-Agent
  MacRule(Info("zero", "v"), "00:00:00:00:00:00");
  const ByodFingerPrint empty = {};
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = {};
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&empty, &attr, &complete), kFailed) << method;
    EXPECT_EQ(complete, 0) << method;
    EXPECT_EQ(InfoText(attr), "//");
  }
  char name[128];
  EXPECT_EQ(kTypeMethods[BYOD_METHOD_DHCP](&empty, sizeof name, name), kFailed);
  EXPECT_EQ(kTypeMethods[BYOD_METHOD_USERAGENT](&empty, sizeof name, name), kFailed);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FingerprintMethod, AllZeroAddressIsLookedUpForATypeButNotForAttributes) {
  MacRule(Info("zero", "v"), "00:00:00:00:00:00");
  const ByodFingerPrint empty = {};
  ByodDeviceAttribute attr = {};
  uint16_t complete = 0;
  EXPECT_EQ(byod_data_AttriByMacFingerPrint(&empty, &attr, &complete), kFailed);
  char name[128];
  EXPECT_EQ(byod_data_TypeByMacFingerPrint(&empty, sizeof name, name), 0u);
  EXPECT_STREQ(name, "zero");
  EXPECT_THAT(log_.lines(),
              ElementsAre("2 Identified the terminal type as zero by using MAC address "
                          "(00:00:00:00:00:00)."));
}

TEST_F(FingerprintMethod, AddressWithASingleBitIsNotAllZero) {
  MacRule(Info("n", "v"), "00:00:00:00:00:00");
  fp_.mac[0] = fp_.mac[1] = fp_.mac[2] = fp_.mac[3] = fp_.mac[4] = 0;
  fp_.mac[5] = 1;
  ByodDeviceAttribute attr = {};
  uint16_t complete = 0;
  EXPECT_EQ(byod_data_AttriByMacFingerPrint(&fp_, &attr, &complete), 0u);
}

TEST_F(FingerprintMethod, MethodsReadFingerprintsToTheirVeryEnd) {
  fp_.option_length = 127;
  std::memset(fp_.options, 7, sizeof fp_.options);
  std::string text = "7";
  for (int i = 1; i < 127; ++i)
    text += ",7";
  const ByodDeviceInfo info = Info("options");
  BYOD_data_AddFileDhcpOptionRule(text.c_str(), &info);
  char name[128];
  EXPECT_EQ(byod_data_TypeByDhcpFingerPrint(&fp_, sizeof name, name), 0u);
  EXPECT_STREQ(name, "options");
  EXPECT_EQ(
      log_.Take()[0],
      "2 Identified the terminal type as options by using DhcpOption55 information " + text + ".");

  const std::string agent = std::string(249, 'x') + "iPhone";
  Fill(fp_.user_agent, agent);
  UserAgentRule(Info("agent"));
  EXPECT_EQ(byod_data_TypeByUserAgentFingerPrint(&fp_, sizeof name, name), 0u);
  EXPECT_EQ(
      log_.Take()[0],
      "2 Identified the terminal type as agent by using HttpUseragent information " + agent + ".");
}

TEST_F(FingerprintMethod, OptionListThatDoesNotFitItsTextFails) {
  std::memset(fp_.options, 200, sizeof fp_.options);
  for (const uint32_t length : {64u, 255u, 256u, 257u, 300u, UINT32_MAX}) {
    fp_.option_length = length;
    ByodDeviceAttribute attr = {};
    uint16_t complete = 0;
    char name[128];
    EXPECT_EQ(byod_data_AttriByDhcpFingerPrint(&fp_, &attr, &complete), kFailed) << length;
    EXPECT_EQ(byod_data_TypeByDhcpFingerPrint(&fp_, sizeof name, name), kFailed) << length;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
