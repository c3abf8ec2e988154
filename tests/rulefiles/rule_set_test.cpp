// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/rule_set.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "byod_data.h"
#include "mac.h"
#include "rulefiles/load.h"
#include "rulefiles/reports.h"

namespace byod::rulefiles {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char kHeader[] = "Registry,Assignment,Organization Name,Organization Address\n";

/// A directory of rule files and one of registry files, which are all empty at first.
class RuleSetTest : public testing::Test {
 protected:
  RuleSetTest() {
    for (const char* name : {"oui.csv", "mam.csv", "oui36.csv", "iab.csv"})
      registry.Write(name, kHeader);
  }

  void WriteMacRules(const std::string& rows) {
    rules.Write("mac.csv", "mac,mask,name,vendor,category,os\n" + rows);
  }

  RuleSet Read() { return ReadRuleSet({rules.path(), registry.path()}, reports.diagnostics); }

  std::vector<std::string> ReadMac() {
    std::vector<std::string> texts;
    for (const MacRule& rule : Read().mac)
      texts.push_back(ToString(rule.prefix) + " " + rule.device.vendor);
    return texts;
  }

  std::string InRules(const std::string& rest) const { return rules.path() + "/" + rest; }
  std::string InRegistry(const std::string& rest) const { return registry.path() + "/" + rest; }

  ScratchDirectory rules;
  ScratchDirectory registry;
  Reports reports;
};

TEST_F(RuleSetTest, AnExpressionThatMayWinOverAnAdministratorsRuleIsAWarningAndIsLoaded) {
  const std::string fits(127, 'x');
  const std::string is_long(128, 'y');
  rules.Write("user-agent.csv", "expression,vendor\n" + fits + ",V\n" + is_long + ",V\n");
  EXPECT_EQ(Read().user_agent.size(), 2U);
  EXPECT_THAT(reports.texts,
              ElementsAre(InRules("user-agent.csv:3: warning: expression is 128 bytes long; with "
                                  "more than 127 it may win over rules of the administrator")));
}

TEST_F(RuleSetTest, EveryFileOfTheDirectoryIsRead) {
  WriteMacRules("00:11:22/24,,,M,,\n");
  rules.Write("user-agent.csv", "expression,name,vendor,category,os\niPhone,,Apple,,\n");
  rules.Write("dhcp-option.csv", "options,name,vendor,category,os\n\"1,3\",,D,,\n");
  const RuleSet set = Read();
  EXPECT_EQ(set.mac.size(), 1U);
  ASSERT_EQ(set.user_agent.size(), 1U);
  EXPECT_EQ(set.user_agent[0].text, "iPhone");
  ASSERT_EQ(set.dhcp_option.size(), 1U);
  EXPECT_EQ(set.dhcp_option[0].text, "1,3");
  EXPECT_EQ(ToString(set.mac[0].place), InRules("mac.csv:2"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, ADirectoryWithoutARuleFileIsReported) {
  EXPECT_THAT(ReadMac(), IsEmpty());
  EXPECT_THAT(reports.texts, ElementsAre(rules.path() + ": no rule file in it"));
}

TEST_F(RuleSetTest, ADirectoryThatIsNotThereIsReportedAsThat) {
  const std::string absent = rules.path() + "/absent";
  ReadRuleSet({absent, ""}, reports.diagnostics);
  EXPECT_THAT(reports.texts, ElementsAre(absent + ": No such file or directory"));
}

TEST_F(RuleSetTest, WithoutSourcesThereAreNoRulesAndNoReports) {
  const RuleSet set = ReadRuleSet({}, reports.diagnostics);
  EXPECT_THAT(set.mac, IsEmpty());
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, AMissingRegistryFileIsReportedAndTheOthersAreRead) {
  WriteMacRules("");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,Acme,\n");
  std::filesystem::remove(registry.path() + "/mam.csv");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:00:00:00/24 Acme"));
  EXPECT_THAT(reports.texts, ElementsAre(InRegistry("mam.csv: No such file or directory")));
}

TEST_F(RuleSetTest, RegistryBlocksOfEachSizeBecomeRules) {
  WriteMacRules("");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122, Acme ,\"x, y\"\n");
  registry.Write("mam.csv", std::string{kHeader} + "MA-M,3000001,M,\n");
  registry.Write("oui36.csv", std::string{kHeader} + "MA-S,70B3D5F2F,S,\n");
  registry.Write("iab.csv", std::string{kHeader} + "IAB,0050C27D5,I,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:00:00:00/24 Acme", "00:50:c2:7d:50:00/36 I",
                                     "30:00:00:10:00:00/28 M", "70:b3:d5:f2:f0:00/36 S"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, PrivateBlocksAndTheAuthoritysLargeBlocksGetNoRule) {
  WriteMacRules("");
  registry.Write("oui.csv", std::string{kHeader} +
                                "MA-L,001122,Private,\n"
                                "MA-L,001133,IEEE Registration Authority,\n"
                                "MA-L,001144,Private Ltd,\n");
  registry.Write("mam.csv", std::string{kHeader} + "MA-M,0011331,Inside,\nMA-M,0011332,Private,\n");
  registry.Write("oui36.csv",
                 std::string{kHeader} + "MA-S,0011333AB,IEEE Registration Authority,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:33:10:00:00/28 Inside",
                                     "00:11:33:3a:b0:00/36 IEEE Registration Authority",
                                     "00:11:44:00:00:00/24 Private Ltd"));
}

TEST_F(RuleSetTest, ABlockThatIsListedTwiceIsTakenOnce) {
  WriteMacRules("");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,080030,First,\nMA-L,080030,Second,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("08:00:30:00:00:00/24 First"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, AnAssignmentOfAnotherLengthIsReported) {
  WriteMacRules("");
  registry.Write("mam.csv", std::string{kHeader} + "MA-M,00112,A,\nMA-M,zzzzzzz,B,\n");
  EXPECT_THAT(ReadMac(), IsEmpty());
  EXPECT_THAT(reports.texts,
              ElementsAre(InRegistry("mam.csv:2: assignment \"00112\" is not 6, 7 or 9 hexadecimal "
                                     "digits"),
                          InRegistry("mam.csv:3: assignment \"zzzzzzz\" is not 6, 7 or 9 "
                                     "hexadecimal digits")));
}

TEST_F(RuleSetTest, ALongOrganisationIsCutBetweenCharacters) {
  WriteMacRules("");
  const std::string x62(62, 'x');
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122," + x62 + "yz,\nMA-L,001133," +
                                x62 + "\xC3\xA4,\n");
  EXPECT_THAT(ReadMac(),
              ElementsAre("00:11:22:00:00:00/24 " + x62 + "y", "00:11:33:00:00:00/24 " + x62));
}

TEST_F(RuleSetTest, AnAliasStandsInForTheVeryTextOfAnOrganisation) {
  const std::string longer(70, 'x');
  rules.Write("vendor-alias.csv", "organisation,vendor\n\"Acme, Inc.\",Acme\n" + longer + ",X\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,\"Acme, Inc. \",\n" +
                                "MA-L,001133,\"ACME, Inc.\",\nMA-L,001144," + longer + ",\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:00:00:00/24 Acme", "00:11:33:00:00:00/24 ACME, Inc.",
                                     "00:11:44:00:00:00/24 X"));
}

TEST_F(RuleSetTest, AnOrganisationThatMakesModulesIsNotTakenForTheBrand) {
  rules.Write("vendor-alias.csv", "organisation,vendor,module\nA Co,A,yes\nB Co,B,\nC Co,C,no\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,A Co,\nMA-L,001133,B Co,\n");
  EXPECT_THAT(ReadMac(),
              ElementsAre("00:11:22:00:00:00/24 module made by A", "00:11:33:00:00:00/24 B"));
  EXPECT_THAT(reports.texts,
              ElementsAre(InRules("vendor-alias.csv:4: module is neither yes nor empty")));
}

TEST_F(RuleSetTest, AnOrganisationThatMakesModulesIsReportedAsChosen) {
  rules.Write("vendor-alias.csv", "organisation,vendor,module\nA Co,A,yes\nB Co,B,\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,A Co,\nMA-L,001133,B Co,\n");
  const auto vendors = [&](ModuleMakers makers) {
    std::vector<std::string> found;
    for (const MacRule& rule :
         ReadRuleSet({rules.path(), registry.path(), makers}, reports.diagnostics).mac)
      found.push_back(rule.device.vendor);
    return found;
  };
  EXPECT_THAT(vendors(ModuleMakers::kMarked), ElementsAre("module made by A", "B"));
  EXPECT_THAT(vendors(ModuleMakers::kNamed), ElementsAre("A", "B"));
  EXPECT_THAT(vendors(ModuleMakers::kOpen), ElementsAre("B"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, ASuccessorIsReadAsItIsShown) {
  rules.Write("successors.csv",
              "kind,rule,successor\n"
              "mac,00-11-22/24,001122334/36\n"
              "user-agent,iPhone,\"iPhone&&Mobile\"\n"
              "dhcp-option,\"1,3\",\"1,3,6\"\n");
  std::vector<std::string> rows;
  for (const Successor& row : Read().successors)
    rows.push_back(std::to_string(row.method) + " " + row.rule + " > " + row.successor);
  EXPECT_THAT(rows, ElementsAre("2 00:11:22:00:00:00/24 > 00:11:22:33:40:00/36",
                                "1 iPhone > iPhone&&Mobile", "0 1,3 > 1,3,6"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, ASuccessorThatCannotBeUsedIsReportedAndLeftOut) {
  rules.Write("successors.csv",
              "kind,rule,successor\n"
              "ua,a,b\n"
              "mac,zz,00:11:22/24\n"
              "user-agent,a,\n"
              "user-agent,iPhone,IPHONE\n"
              "user-agent,a,b\n"
              "user-agent,A,c\n");
  EXPECT_EQ(Read().successors.size(), 1U);
  EXPECT_THAT(
      reports.texts,
      ElementsAre(InRules("successors.csv:2: unknown kind of rule \"ua\", expected mac, user-agent "
                          "or dhcp-option"),
                  InRules("successors.csv:3: rule: address \"zz\" is malformed"),
                  InRules("successors.csv:4: successor: expression is empty"),
                  InRules("successors.csv:5: the rule \"iPhone\" is its own successor"),
                  InRules("successors.csv:7: the successor of \"A\" is also named by ") +
                      InRules("successors.csv:6")));
}

TEST_F(RuleSetTest, OurRuleForTheVeryBlockOfARegistryRowTakesItsPlaceQuietly) {
  WriteMacRules("00:11:22/24,,,Ours,,\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,Theirs,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:00:00:00/24 Ours"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, OurRuleInsideABlockThatHasNoVendorIsTaken) {
  WriteMacRules("00:11:22:33:44:55,,,Ours,,\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,Private,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:33:44:55 Ours"));
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST_F(RuleSetTest, OurRuleThatOverlapsARegistryRowIsReportedWithBothPlaces) {
  WriteMacRules("00:11:22:33/32,,,Inside,,\n00:22/16,,,Around,,\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001122,A,\nMA-L,002233,B,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:00:00:00/24 A", "00:22:33:00:00:00/24 B"));
  EXPECT_THAT(reports.texts, ElementsAre(InRules("mac.csv:2: block 00:11:22:33:00:00/32 overlaps "
                                                 "00:11:22:00:00:00/24 of ") +
                                             InRegistry("oui.csv:2"),
                                         InRules("mac.csv:3: block 00:22:00:00:00:00/16 overlaps "
                                                 "00:22:33:00:00:00/24 of ") +
                                             InRegistry("oui.csv:3")));
}

TEST_F(RuleSetTest, OurRuleForABlockThatTheAuthorityHandsOutInPartsIsReported) {
  WriteMacRules("00:11:33/24,,,Ours,,\n");
  registry.Write("oui.csv", std::string{kHeader} + "MA-L,001133,IEEE Registration Authority,\n");
  registry.Write("mam.csv", std::string{kHeader} + "MA-M,0011331,Inside,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:33:10:00:00/28 Inside"));
  EXPECT_THAT(reports.texts, ElementsAre(InRules("mac.csv:2: block 00:11:33:00:00:00/24 overlaps "
                                                 "00:11:33:10:00:00/28 of ") +
                                         InRegistry("mam.csv:2")));
}

TEST_F(RuleSetTest, OfTwoRulesOfOursThatOverlapTheFirstCounts) {
  WriteMacRules("00:11:22:33/32,,,A,,\n00:11:22/24,,,B,,\n00:11:22:33/32,,,C,,\n");
  EXPECT_THAT(ReadMac(), ElementsAre("00:11:22:33:00:00/32 A"));
  EXPECT_THAT(reports.texts,
              ElementsAre(InRules("mac.csv:3: block 00:11:22:00:00:00/24 overlaps "
                                  "00:11:22:33:00:00/32 of ") +
                              InRules("mac.csv:2"),
                          InRules("mac.csv:4: block 00:11:22:33:00:00/32 is also that of ") +
                              InRules("mac.csv:2")));
}

TEST_F(RuleSetTest, OfTwoRulesWithTheSameTextTheFirstCounts) {
  rules.Write("user-agent.csv",
              "expression,name,vendor,category,os\niPhone,,A,,\niphone,,B,,\niPhone,,C,,\n");
  rules.Write("dhcp-option.csv", "options,name,vendor,category,os\n1,,A,,\n1,,B,,\n");
  const RuleSet set = Read();
  EXPECT_EQ(set.user_agent.size(), 2U);  // case counts when an expression is matched
  EXPECT_EQ(set.dhcp_option.size(), 1U);
  EXPECT_THAT(reports.texts, ElementsAre(InRules("user-agent.csv:4: \"iPhone\" is also that of ") +
                                             InRules("user-agent.csv:2"),
                                         InRules("dhcp-option.csv:3: \"1\" is also that of ") +
                                             InRules("dhcp-option.csv:2")));
}

class LoadTest : public RuleSetTest {
 protected:
  LoadTest() { EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0U); }
  ~LoadTest() override { BYOD_data_GlobalInfoFini(); }
};

TEST_F(LoadTest, EveryRuleStandsInItsTableWithAllThatItSays) {
  WriteMacRules("00:11:22/24,,N1,V1,C1,O1\n");
  rules.Write("user-agent.csv", "expression,name,vendor,category,os\niPhone,N2,V2,C2,O2\n");
  rules.Write("dhcp-option.csv", "options,name,vendor,category,os\n\"1,3\",N3,V3,C3,O3\n");
  EXPECT_EQ(Load(Read(), reports.diagnostics), 3U);
  EXPECT_THAT(reports.texts, IsEmpty());

  ByodMacRule probe = {};
  std::ranges::copy(*net::ParseMac("00:11:22:33:44:55"), probe.mac);
  MAC_BroadcastAddr(probe.mask);
  const ByodMacRule* const mac = BYOD_data_FindMacRule(&probe);
  const ByodUserAgentRule* const agent = BYOD_data_FindUserAgentRule("iPhone");
  const ByodDhcpOptionRule* const options = BYOD_data_FindDhcpOptionRule("1,3");
  ASSERT_TRUE(mac != nullptr && agent != nullptr && options != nullptr);
  EXPECT_EQ(mac->origin, static_cast<uint32_t>(BYOD_RULE_PREDEFINED));
  EXPECT_STREQ(mac->predefined->name, "N1");
  EXPECT_STREQ(agent->predefined->vendor, "V2");
  EXPECT_STREQ(options->predefined->category, "C3");
  EXPECT_STREQ(options->predefined->os, "O3");
}

TEST_F(LoadTest, ARuleThatTheTableRefusesIsReported) {
  WriteMacRules("00:11:22:33:44:55,,,A,,\n00:11:33/24,,,B,,\n");
  ByodMacRule custom = {};
  std::ranges::copy(*net::ParseMac("00:11:22:00:00:00"), custom.mac);
  std::ranges::copy(*net::ParseMac("ff:ff:ff:00:00:00"), custom.mask);
  uint16_t created = 0;
  uint32_t err = 0;
  ASSERT_NE(BYOD_data_FindOrNewMacRule(&custom, BYOD_RULE_CUSTOM, &created, &err), nullptr);
  EXPECT_EQ(Load(Read(), reports.diagnostics), 1U);
  EXPECT_THAT(reports.texts,
              ElementsAre(InRules("mac.csv:2: the rule table does not take the rule")));
}

TEST_F(LoadTest, ProgressIsReportedNowAndThenAndAtTheEnd) {
  std::string rows;
  for (int i = 0; i < 2500; ++i) {
    char row[40];
    std::snprintf(row, sizeof row, "%06x/24,,,V,,\n", i);
    rows += row;
  }
  WriteMacRules(rows);
  std::vector<std::pair<size_t, size_t>> reported;
  EXPECT_EQ(Load(Read(), reports.diagnostics,
                 [&](size_t done, size_t of) { reported.emplace_back(done, of); }),
            2500U);
  EXPECT_THAT(reported, ElementsAre(Pair(1000, 2500), Pair(2000, 2500), Pair(2500, 2500)));
}

}  // namespace
}  // namespace byod::rulefiles
