// SPDX-License-Identifier: Apache-2.0
#include "lint/lint.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "rulefiles/reports.h"

namespace byod::lint {
namespace {

using support::ScratchDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// What is found in a file of rules, without the directory in front of file names.
std::vector<std::string> Found(const std::string& name, const std::string& content) {
  const ScratchDirectory directory;
  directory.Write(name, content);
  std::vector<std::string> texts;
  for (const Finding& finding : Check({directory.path(), ""}).findings) {
    std::string text = ToString(finding) + " [" + finding.check + "]";
    for (size_t at; (at = text.find(directory.path() + "/")) != std::string::npos;)
      text.erase(at, directory.path().size() + 1);
    texts.push_back(text);
  }
  return texts;
}

/// Rows of expression and example. Each rule says something.
std::vector<std::string> FoundInAgents(const std::vector<std::vector<std::string>>& rows) {
  std::string content = "expression,example,vendor,name,category,os\n";
  for (const auto& row : rows)
    content += '"' + row[0] + "\",\"" + (row.size() > 1 ? row[1] : "") + "\",V,,,\n";
  return Found("user-agent.csv", content);
}

std::vector<std::string> FoundInLists(const std::vector<std::vector<std::string>>& rows) {
  std::string content = "options,example,vendor,name,category,os\n";
  for (const auto& row : rows)
    content += '"' + row[0] + "\",\"" + (row.size() > 1 ? row[1] : "") + "\",V,,,\n";
  return Found("dhcp-option.csv", content);
}

std::vector<std::string> FoundInBlocks(const std::string& rows) {
  return Found("mac.csv", "mac,mask,example,vendor,name,category,os\n" + rows);
}

// ---------------------------------------------------------------- rules that never win

TEST(LintNeverWins, ARuleBehindALongerOneThatMatchesWheneverItDoes) {
  EXPECT_THAT(FoundInAgents({{"iPhone OS"}, {"Phone||Windows&&Phone||x"}}),
              ElementsAre("user-agent.csv:2: error: never wins: all that it matches is matched "
                          "before by \"Phone||Windows&&Phone||x\" of user-agent.csv:3 [never-wins]",
                          "user-agent.csv:3: warning: alternative \"Windows&&Phone\" adds nothing "
                          "to the alternative \"Phone\" [dead-alternative]"));
}

TEST(LintNeverWins, ARuleThatTwoRulesTogetherLeaveNothing) {
  EXPECT_THAT(FoundInAgents({{"ax||by"}, {"x||QQQQ"}, {"y||RRRRR"}}),
              ElementsAre("user-agent.csv:2: error: never wins: all that it matches is matched "
                          "before by 2 rules together, one of them \"x||QQQQ\" of "
                          "user-agent.csv:3 [never-wins]"));
}

TEST(LintNeverWins, NotARuleThatIsLongerThanWhatWouldCoverIt) {
  EXPECT_THAT(FoundInAgents({{"Phone"}, {"iPhone OS"}}), IsEmpty());
  EXPECT_THAT(FoundInAgents({{"iPhone&&Mobile"}, {"iPhone"}, {"Mobile"}}), IsEmpty());
}

TEST(LintNeverWins, NotARuleOfWhichOneAlternativeStaysFree) {
  EXPECT_THAT(FoundInAgents({{"ax||by"}, {"x||nobody sends this"}}),
              ElementsAre("user-agent.csv:2: warning: alternative \"ax\" never decides: all that "
                          "it matches is matched before by \"x||nobody sends this\" of "
                          "user-agent.csv:3 [dead-alternative]"));
}

TEST(LintNeverWins, OfEqualLengthTheOneThatTheTableTriesLater) {
  const auto found = FoundInAgents({{"ab&&cd"}, {"cd&&ab"}});
  ASSERT_EQ(found.size(), 1U);
  // Which of them that is the table decides; the library is asked.
  const bool second_first = found[0].starts_with("user-agent.csv:2: error: never wins");
  const auto won = FoundInAgents(
      {{"ab&&cd", second_first ? "" : "ab cd"}, {"cd&&ab", second_first ? "ab cd" : ""}});
  EXPECT_EQ(won, found);
}

TEST(LintNeverWins, EveryRuleBehindOneThatMatchesEverything) {
  EXPECT_THAT(FoundInAgents({{"iPhone||&&"}, {"Android"}, {"something longer"}}),
              ElementsAre("user-agent.csv:2: error: matches every User-Agent: an alternative has "
                          "no term [matches-everything]",
                          "user-agent.csv:3: error: never wins: every User-Agent is matched before "
                          "by \"iPhone||&&\" of user-agent.csv:2 [never-wins]"));
}

// ---------------------------------------------------------------- rules that cannot match

TEST(LintImpossible, ATermThatNoHeaderHolds) {
  EXPECT_THAT(FoundInAgents({{"a\x1B||b"}, {"c\x7F"}, {"d\te"}, {"\xC3\xA4"}}),
              ElementsAre("user-agent.csv:2: error: term \"a?\" holds a control character, which "
                          "no header has [impossible]",
                          "user-agent.csv:3: error: term \"c?\" holds a control character, which "
                          "no header has [impossible]"));
}

TEST(LintImpossible, ATermOf255BytesCanBeSentAndALongerOneIsNoRule) {
  const std::string x255(255, 'x');
  EXPECT_THAT(FoundInAgents({{x255, x255}}), ElementsAre(HasSubstr("[long-expression]")));
  EXPECT_THAT(FoundInAgents({{x255 + "x"}}),
              ElementsAre("user-agent.csv:2: error: expression is 256 bytes long, 255 fit "
                          "[unusable]"));
}

TEST(LintImpossible, AnOptionListWithoutRoomForTheCommaOfItsLastNumber) {
  std::string list = "100";
  while (list.size() < 247)
    list += ",100";
  ASSERT_EQ(list.size(), 247U);
  EXPECT_THAT(FoundInLists({{list + ",100,10"}}), IsEmpty());  // 254 bytes
  EXPECT_THAT(FoundInLists({{list + ",100,100"}}),             // 255 bytes
              ElementsAre("dhcp-option.csv:2: error: no list is written so: with the comma that "
                          "follows each number while it is written, it has more than 255 bytes "
                          "[impossible]"));
}

TEST(LintImpossible, ABlockOfGroupAddresses) {
  EXPECT_THAT(FoundInBlocks("01:00:5e/24,,,V,,,\n02:00:5e/24,,,V,,,\n"),
              ElementsAre("mac.csv:2: error: block 01:00:5e:00:00:00/24 is of group addresses, "
                          "which no terminal has [impossible]"));
}

// ---------------------------------------------------------------- rules in each other's way

TEST(LintConflict, KeywordsThatDifferInCaseAlone) {
  EXPECT_THAT(FoundInAgents({{"iPhone"}, {"IPHONE"}, {"iPhone 4"}}),
              ElementsAre("user-agent.csv:3: error: cannot be shown or changed: but for case it is "
                          "\"iPhone\" of user-agent.csv:2 [duplicate]"));
}

TEST(LintConflict, TheSameTextOrBlockTwice) {
  EXPECT_THAT(FoundInAgents({{"iPhone"}, {"iPhone"}}),
              ElementsAre("user-agent.csv:3: error: \"iPhone\" is also that of user-agent.csv:2 "
                          "[conflict]"));
  EXPECT_THAT(FoundInLists({{"1,3"}, {"1,3"}}),
              ElementsAre("dhcp-option.csv:3: error: \"1,3\" is also that of dhcp-option.csv:2 "
                          "[conflict]"));
  EXPECT_THAT(FoundInBlocks("00:11:22/24,,,V,,,\n00:11:22:33:44:55,,,V,,,\n00:11:22/24,,,W,,,\n"),
              ElementsAre("mac.csv:3: error: block 00:11:22:33:44:55 overlaps "
                          "00:11:22:00:00:00/24 of mac.csv:2 [conflict]",
                          "mac.csv:4: error: block 00:11:22:00:00:00/24 is also that of mac.csv:2 "
                          "[conflict]"));
}

TEST(LintConflict, TheOtherRuleStandsInTheFinding) {
  const ScratchDirectory directory;
  directory.Write("mac.csv",
                  "mac,name,vendor,category,os\n00:11:22/24,,V,,\n00:11:22:33:44:55,,V,,\n");
  directory.Write("user-agent.csv",
                  "expression,name,vendor,category,os\niPhone,,V,,\niphone,,V,,\n");
  const auto findings = Check({directory.path(), ""}).findings;
  ASSERT_EQ(findings.size(), 2U);
  ASSERT_TRUE(findings[0].other && findings[1].other);
  EXPECT_EQ(findings[0].other->place.line, 2U);
  EXPECT_EQ(findings[1].rule, "iphone");
  EXPECT_EQ(findings[1].other->rule, "iPhone");
  EXPECT_EQ(ToString(findings[1].other->place), directory.path() + "/user-agent.csv:2");
}

// ---------------------------------------------------------------- what is only odd

TEST(LintOdd, SingleAndRepeatedSeparators) {
  EXPECT_THAT(FoundInAgents({{"AT&T"}, {"a||||b"}, {"c&&d||e"}}),
              ElementsAre("user-agent.csv:2: warning: is read as \"AT&&T\": single and repeated "
                          "separators separate too [separators]",
                          "user-agent.csv:3: warning: is read as \"a||b\": single and repeated "
                          "separators separate too [separators]"));
}

TEST(LintOdd, SeparatorsAtTheEndOnlyMakeARuleLonger) {
  EXPECT_THAT(FoundInAgents({{"Huawei"}, {"HUAWEI&"}, {"x||y&&&"}}), IsEmpty());
  EXPECT_THAT(FoundInAgents({{"a|b&"}}), ElementsAre(HasSubstr("is read as \"a||b\"")));
}

TEST(LintOdd, ATieOnAnExampleBetweenRulesThatAnswerDifferently) {
  const std::string header = "expression,example,vendor,name,category,os\n";
  EXPECT_THAT(Found("user-agent.csv", header + "abc,abcd,A,,,\nbcd,,B,,,\n"),
              ElementsAre("user-agent.csv:2: warning: the example \"abcd\" is also matched, with "
                          "another answer, by the rule of the same length \"bcd\" of "
                          "user-agent.csv:3 [tie]"));
  EXPECT_THAT(Found("user-agent.csv", header + "abc,abcd,A,,,\nbcd,,A,,,\n"), IsEmpty());
  EXPECT_THAT(Found("user-agent.csv", header + "abc,abcd,A,,,\nbcd&,,B,,,\n"),
              ElementsAre(HasSubstr("wins the rule \"bcd&\"")));
}

TEST(LintOdd, OfTwoAlternativesThatSayTheSameTheSecond) {
  EXPECT_THAT(FoundInAgents({{"a&&b||b&&a"}}),
              ElementsAre("user-agent.csv:2: warning: alternative \"b&&a\" adds nothing to the "
                          "alternative \"a&&b\" [dead-alternative]"));
}

TEST(LintOdd, ARuleThatSaysNothing) {
  for (const auto& [file, content] : std::vector<std::pair<std::string, std::string>>{
           {"user-agent.csv", "expression,name,vendor,category,os\nx,,,,\n"},
           {"dhcp-option.csv", "options,name,vendor,category,os\n1,,,,\n"},
           {"mac.csv", "mac,name,vendor,category,os\n00:11:22/24,,,,\n"}}) {
    EXPECT_THAT(Found(file, content),
                ElementsAre(file + ":2: warning: says nothing of a device, and keeps other rules "
                                   "from it [says-nothing]"));
  }
}

// ---------------------------------------------------------------- examples

TEST(LintExample, IsToBeWonByItsRule) {
  EXPECT_THAT(FoundInAgents({{"Phone", "a Phone"}, {"iPhone", "an iPhone"}}), IsEmpty());
  EXPECT_THAT(FoundInAgents({{"Phone", "an iPhone"}, {"iPhone"}}),
              ElementsAre("user-agent.csv:2: error: on the example \"an iPhone\" wins the rule "
                          "\"iPhone\" of user-agent.csv:3 [example]"));
  EXPECT_THAT(FoundInAgents({{"Phone", "a phone"}}),
              ElementsAre("user-agent.csv:2: error: no rule matches the example \"a phone\" "
                          "[example]"));
  EXPECT_THAT(FoundInLists({{"1,3", "1,3"}, {"1,3,6", "1,3"}}),
              ElementsAre("dhcp-option.csv:3: error: on the example \"1,3\" wins the rule \"1,3\" "
                          "of dhcp-option.csv:2 [example]"));
  EXPECT_THAT(FoundInBlocks("00:11:22/24,,0011-2233-4455,V,,,\n00:11:23/24,,00:11:22:33:44:55,V,,,"
                            "\n00:11:24/24,,00:11:25:33:44:55,V,,,\n"),
              ElementsAre("mac.csv:3: error: on the example \"00:11:22:33:44:55\" wins the rule "
                          "\"00:11:22:00:00:00/24\" of mac.csv:2 [example]",
                          "mac.csv:4: error: no rule matches the example \"00:11:25:33:44:55\" "
                          "[example]"));
}

TEST(LintExample, IsAFingerprint) {
  EXPECT_THAT(FoundInAgents({{"a", "a\x1B"}}),
              ElementsAre("user-agent.csv:2: error: example \"a?\" is no header's text [example]"));
  EXPECT_THAT(FoundInLists({{"1", "1,x"}}),
              ElementsAre("dhcp-option.csv:2: error: example \"1,x\" is no option list [example]"));
  EXPECT_THAT(FoundInLists({{"1", "01"}}),
              ElementsAre("dhcp-option.csv:2: error: example \"01\" is no option list [example]"));
  EXPECT_THAT(FoundInBlocks("00:11:22/24,,00:11,V,,,\n"),
              ElementsAre("mac.csv:2: error: example \"00:11\" is no address [example]"));
}

TEST(LintExample, OfAUserAgentIsReadUpTo255Bytes) {
  const std::string x250(250, 'x');
  EXPECT_THAT(FoundInAgents({{"Phone", x250 + "Phone"}}), IsEmpty());
  EXPECT_THAT(FoundInAgents({{"Phone", x250 + " Phone"}}), ElementsAre(HasSubstr("no rule")));
}

// ---------------------------------------------------------------- the whole

TEST(Lint, ARowThatCannotBeReadIsAnError) {
  EXPECT_THAT(FoundInBlocks("zz,,,V,,,\n00:11:22/24,,,V,,,\n"),
              ElementsAre("mac.csv:2: error: address \"zz\" is malformed [unusable]"));
}

TEST(Lint, ARuleInTheWayOfTheRegistryIsFound) {
  const ScratchDirectory directory;
  directory.Write("mac.csv", "mac,name,vendor,category,os\n00:11:22:33:44:55,,V,,\n");
  directory.Write("oui.csv",
                  "Registry,Assignment,Organization Name,Organization Address\nMA-L,001122,A,\n");
  EXPECT_THAT(Check({directory.path(), ""}).findings, IsEmpty());
  const auto findings = Check({directory.path(), directory.path()}).findings;
  std::vector<std::string> texts;
  for (const Finding& finding : findings)
    texts.push_back(ToString(finding));
  EXPECT_THAT(texts, testing::Contains(HasSubstr("overlaps 00:11:22:00:00:00/24")));
}

TEST(Lint, ASuccessorIsARuleAndWhatItSucceedsIsNone) {
  const ScratchDirectory directory;
  directory.Write("user-agent.csv", "expression,vendor\n; AB-1||; AB-2,Acme\nKept,Acme\n");
  directory.Write("mac.csv", "mac,vendor\n00:11:22/24,Acme\n");
  directory.Write("successors.csv",
                  "kind,rule,successor\n"
                  "user-agent,; AB-1,; ab-1||; ab-2\n"
                  "user-agent,; AB-2,Missing\n"
                  "user-agent,KEPT,; AB-1||; AB-2\n"
                  "dhcp-option,\"1,3\",\"1,6\"\n"
                  "mac,00:11:22:0/28,00:11:22/24\n"
                  "mac,00:44:55/24,00:44:55:0/28\n");
  std::vector<std::string> texts;
  for (const Finding& finding : Check({directory.path(), ""}).findings)
    texts.push_back(std::to_string(finding.place.line) + " " + finding.check + ": " +
                    finding.reason);
  EXPECT_THAT(texts, testing::IsSupersetOf({"3 successor: the successor \"Missing\" is not a rule",
                                            "4 successor: has no effect: \"KEPT\" is still a rule",
                                            "5 successor: the successor \"1,6\" is not a rule"}));
  EXPECT_THAT(texts, testing::Not(testing::Contains(testing::StartsWith("2 successor"))));
  EXPECT_THAT(texts, testing::Not(testing::Contains(testing::StartsWith("6 successor"))));
  EXPECT_THAT(texts, testing::Not(testing::Contains(testing::StartsWith("7 successor"))))
      << "it may be one of the registry, which is not read";
}

TEST(Lint, TheShippedCatalogueGivesNoFinding) {
  const Report report = Check({CATALOGUE, ""});
  EXPECT_GT(report.rules.user_agent.size(), 1000U);
  EXPECT_GT(report.rules.dhcp_option.size(), 100U);
  EXPECT_GT(report.rules.mac.size(), 10U);
  for (const Finding& finding : report.findings)
    ADD_FAILURE() << ToString(finding);
}

TEST(Lint, WhatTheCatalogueIsLearnedFromGivesNoFinding) {
  const Report report = Check({CATALOGUE "/base", ""});
  EXPECT_GT(report.rules.user_agent.size(), 300U);
  EXPECT_GT(report.rules.dhcp_option.size(), 50U);
  for (const Finding& finding : report.findings)
    ADD_FAILURE() << ToString(finding);
}

}  // namespace
}  // namespace byod::lint
