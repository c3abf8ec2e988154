// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/rule_file.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "rulefiles/reports.h"
#include "rulefiles/text.h"

namespace byod::rulefiles {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char kMacHeader[] = "mac,mask,name,vendor,category,os\n";
constexpr char kAgentHeader[] = "expression,name,vendor,category,os\n";
constexpr char kOptionsHeader[] = "options,name,vendor,category,os\n";

std::string Show(const DeviceText& device) {
  return device.name + "|" + device.vendor + "|" + device.category + "|" + device.os;
}

/// A row of MAC rules as "prefix name|vendor|category|os" or its report.
std::string ReadMac(const std::string& row) {
  Reports reports;
  const auto rules = ReadMacRules({"mac.csv", kMacHeader + row + "\n"}, reports.diagnostics);
  if (!reports.texts.empty()) return reports.texts.at(0);
  return rules.size() == 1 ? ToString(rules[0].prefix) + " " + Show(rules[0].device) : "nothing";
}

template <typename Read>
std::string ReadText(Read read, const std::string& file) {
  Reports reports;
  const auto rules = read({"f.csv", file}, reports.diagnostics);
  if (!reports.texts.empty()) return reports.texts.at(0);
  return rules.size() == 1 ? rules[0].text + " " + Show(rules[0].device) : "nothing";
}

std::string ReadAgent(const std::string& row) {
  return ReadText(&ReadUserAgentRules, kAgentHeader + row + "\n");
}

std::string ReadOptions(const std::string& row) {
  return ReadText(&ReadDhcpOptionRules, kOptionsHeader + row + "\n");
}

TEST(RuleFile, AMacRuleIsReadWithAddressAndMask) {
  EXPECT_EQ(ReadMac("00:11:22:00:00:00,ff:ff:ff:00:00:00,N,V,C,O"), "00:11:22:00:00:00/24 N|V|C|O");
  EXPECT_EQ(ReadMac("0011-2200-0000,24,,V,,"), "00:11:22:00:00:00/24 |V||");
  EXPECT_EQ(ReadMac("001122334455,,,V,,"), "00:11:22:33:44:55 |V||");
  EXPECT_EQ(ReadMac("00:11:22:33:44:55,FFFF-FFFF-FFFF,,V,,"), "00:11:22:33:44:55 |V||");
}

TEST(RuleFile, AMacRuleIsReadWithAPrefixLength) {
  EXPECT_EQ(ReadMac("00:11:22/24,,,V,,"), "00:11:22:00:00:00/24 |V||");
  EXPECT_EQ(ReadMac("70b3d5f2f/36,,,V,,"), "70:b3:d5:f2:f0:00/36 |V||");
  EXPECT_EQ(ReadMac("00:11:22:3/28,,,V,,"), "00:11:22:30:00:00/28 |V||");
  EXPECT_EQ(ReadMac("00:11:22:33:44:55/48,,,V,,"), "00:11:22:33:44:55 |V||");
  EXPECT_EQ(ReadMac("00:11:22/24,ff:ff:ff:00:00:00,,V,,"), "00:11:22:00:00:00/24 |V||");
}

TEST(RuleFile, AddressBitsThatDoNotCountAreCleared) {
  EXPECT_EQ(ReadMac("00:11:22:33:44:55/24,,,V,,"), "00:11:22:00:00:00/24 |V||");
  EXPECT_EQ(ReadMac("00:11:2f/21,,,V,,"), "00:11:28:00:00:00/21 |V||");
  EXPECT_EQ(ReadMac("ff/1,,,V,,"), "80:00:00:00:00:00/1 |V||");
}

TEST(RuleFile, AnAddressOrMaskThatCannotBeUsedIsReported) {
  EXPECT_EQ(ReadMac(",,,V,,"), "mac.csv:2: mac is empty");
  EXPECT_EQ(ReadMac("00:11:zz,,,V,,"), "mac.csv:2: address \"00:11:zz\" is malformed");
  EXPECT_EQ(ReadMac("00:11:22:33:44:55:66,,,V,,"),
            "mac.csv:2: address \"00:11:22:33:44:55:66\" is malformed");
  EXPECT_EQ(ReadMac("00:11:22,,,V,,"),
            "mac.csv:2: address \"00:11:22\" is cut short without a prefix length");
  EXPECT_EQ(ReadMac("00:11:22,24,,V,,"),
            "mac.csv:2: address \"00:11:22\" is cut short without a prefix length");
  EXPECT_EQ(ReadMac("00:11:22/25,,,V,,"),
            "mac.csv:2: address \"00:11:22/25\" is shorter than its prefix");
  for (const char* length : {"0", "49", "", "-1", "2x", "4294967320"}) {
    const std::string address = std::string("00:11:22/") + length;
    EXPECT_EQ(ReadMac(address + ",,,V,,"),
              "mac.csv:2: prefix length of \"" + address + "\" is not 1 to 48");
  }
  EXPECT_EQ(ReadMac("00:11:22/24,16,,V,,"),
            "mac.csv:2: prefix length of \"00:11:22/24\" contradicts mask \"16\"");
  EXPECT_EQ(ReadMac("001122334455,ff:ff,,V,,"),
            "mac.csv:2: mask \"ff:ff\" is neither an address nor 1 to 48 bits");
  EXPECT_EQ(ReadMac("001122334455,ff:00:ff:00:00:00,,V,,"),
            "mac.csv:2: mask \"ff:00:ff:00:00:00\" has a gap");
  EXPECT_EQ(ReadMac("001122334455,00:00:00:00:00:00,,V,,"),
            "mac.csv:2: mask \"00:00:00:00:00:00\" keeps no leading bit");
  EXPECT_EQ(ReadMac("001122334455,0,,V,,"),
            "mac.csv:2: mask \"0\" is neither an address nor 1 to 48 bits");
}

TEST(RuleFile, TextsAreTakenUpToTheirWidthAndReportedAbove) {
  const std::string x63(63, 'x'), x64(64, 'x'), x127(127, 'x'), x128(128, 'x');
  EXPECT_EQ(ReadAgent("a," + x127 + "," + x63 + "," + x63 + "," + x63),
            "a " + x127 + "|" + x63 + "|" + x63 + "|" + x63);
  EXPECT_EQ(ReadAgent("a," + x128 + ",,,"), "f.csv:2: name is 128 bytes long, 127 fit");
  EXPECT_EQ(ReadAgent("a,," + x64 + ",,"), "f.csv:2: vendor is 64 bytes long, 63 fit");
  EXPECT_EQ(ReadAgent("a,,," + x64 + ","), "f.csv:2: category is 64 bytes long, 63 fit");
  EXPECT_EQ(ReadAgent("a,,,," + x64), "f.csv:2: os is 64 bytes long, 63 fit");
  EXPECT_EQ(ReadOptions("1,," + x64 + ",,"), "f.csv:2: vendor is 64 bytes long, 63 fit");
  EXPECT_EQ(ReadMac("001122334455,,," + x64 + ",,"), "mac.csv:2: vendor is 64 bytes long, 63 fit");
}

TEST(RuleFile, AnExpressionIsKeptAsItStands) {
  EXPECT_EQ(ReadAgent("\" 10,5\",N,,,"), " 10,5 N|||");
  EXPECT_EQ(ReadAgent("\"#x\",N,,,"), "#x N|||");
  const std::string x255(255, 'x');
  EXPECT_EQ(ReadAgent(x255 + ",,V,,"), x255 + " |V||");
  EXPECT_EQ(ReadAgent(x255 + "x,,V,,"), "f.csv:2: expression is 256 bytes long, 255 fit");
  EXPECT_EQ(ReadAgent(",,V,,"), "f.csv:2: expression is empty");
}

TEST(RuleFile, AnOptionListIsNumbersWithCommas) {
  EXPECT_EQ(ReadOptions("\"1,3,6,255,0\",,V,,"), "1,3,6,255,0 |V||");
  EXPECT_EQ(ReadOptions("12,,V,,"), "12 |V||");
  EXPECT_EQ(ReadOptions(",,V,,"), "f.csv:2: options is empty");
  EXPECT_EQ(ReadOptions("\"1,256\",,V,,"), "f.csv:2: option number 256 is above 255");
  EXPECT_EQ(ReadOptions("99999999999999999999,,V,,"),
            "f.csv:2: option number 99999999999999999999 is above 255");
  for (const std::string list :
       {"1,", ",1", "1,,3", "1 ,3", "1, 3", "a", "01", "-1", "1;3", "1.3"}) {
    const std::string quoted = '"' + list + '"';
    EXPECT_EQ(ReadOptions(quoted + ",,V,,"), "f.csv:2: option list " + quoted + " is malformed");
  }
}

TEST(RuleFile, AnOptionListOf255BytesFitsAndOneOf256DoesNot) {
  std::string list = "100";
  while (list.size() < 251)
    list += ",100";
  ASSERT_EQ(list.size(), 251U);
  EXPECT_EQ(ReadOptions("\"" + list + ",100\",,V,,"), list + ",100 |V||");
  EXPECT_EQ(ReadOptions("\"" + list + ",10,1\",,V,,"),
            "f.csv:2: options is 256 bytes long, 255 fit");
}

TEST(RuleFile, EveryBadRowIsReportedWithItsLineAndTheRestIsKept) {
  Reports reports;
  const auto rules = ReadUserAgentRules({"ua.csv",
                                         "# phones\n"
                                         "vendor,expression,os,category,name\n"
                                         "Apple,iPhone,iOS,Mobile,iPhone\n"
                                         ",,,,\n"
                                         "\"two\nlines\",a,,,\n"
                                         "Short,row\n"
                                         "\xFF,b,,,\n"
                                         "Last,c,,,\n"},
                                        reports.diagnostics);
  EXPECT_THAT(reports.texts,
              ElementsAre("ua.csv:4: expression is empty", "ua.csv:7: 2 fields, the header names 5",
                          "ua.csv:8: vendor is not UTF-8"));
  ASSERT_EQ(rules.size(), 3U);
  EXPECT_EQ(Show(rules[0].device), "iPhone|Apple|Mobile|iOS");
  EXPECT_EQ(ToString(rules[1].place), "ua.csv:5");
  EXPECT_EQ(rules[2].text, "c");
  EXPECT_EQ(ToString(rules[2].place), "ua.csv:9");
}

TEST(RuleFile, AnExampleIsKept) {
  Reports reports;
  const auto rules = ReadMacRules(
      {"m", "example,mac,name,vendor,category,os\n0a,00:11:22/24,,V,,\n"}, reports.diagnostics);
  ASSERT_EQ(rules.size(), 1U);
  EXPECT_EQ(rules[0].example, "0a");
  EXPECT_THAT(reports.texts, IsEmpty());
}

TEST(RuleFile, AttributeColumnsMayBeMissingAndItsKeyColumnNot) {
  Reports reports;
  EXPECT_EQ(ReadDhcpOptionRules({"d", "options,name,vendor\n1,N,V\n"}, reports.diagnostics).size(),
            1U);
  EXPECT_THAT(reports.texts, IsEmpty());
  Reports more;
  EXPECT_THAT(ReadMacRules({"m", "name,vendor,category,os\nN,V,C,O\n"}, more.diagnostics),
              IsEmpty());
  EXPECT_THAT(more.texts, ElementsAre("m:1: column mac is missing, no row can be used"));
}

TEST(RuleFile, AliasesAreReadWithoutTheBlanksAroundThem) {
  Reports reports;
  const std::string x64(64, 'x');
  const auto aliases = ReadVendorAliases({"a.csv",
                                          "organisation,vendor\n"
                                          "\"Acme, Inc. \", Acme\n"
                                          ",x\n"
                                          "y, \n"
                                          "\"Acme, Inc.\",Other\n"
                                          "z," +
                                              x64 + "\n"},
                                         reports.diagnostics);
  EXPECT_THAT(aliases, ElementsAre(Pair("Acme, Inc.", "Acme")));
  EXPECT_THAT(reports.texts,
              ElementsAre("a.csv:3: organisation is empty", "a.csv:4: vendor is empty",
                          "a.csv:5: organisation \"Acme, Inc.\" stands twice",
                          "a.csv:6: vendor is 64 bytes long, 63 fit"));
}

TEST(RuleFile, AQuotedValueInAReportIsSafeToPrint) {
  EXPECT_EQ(Quoted("a\x1B[31m\n\x7F"), "\"a?[31m??\"");
  EXPECT_EQ(Quoted(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
}

TEST(Text, OnlyWholeShortestCharactersAreUtf8) {
  for (const char* text : {"", "a", "\xC3\xA4", "\xE4\xB8\xAD\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"})
    EXPECT_TRUE(IsUtf8(text)) << text;
  for (const char* text : {"\x80", "\xC3", "a\xC3", "\xC3(", "\xC0\x80", "\xE0\x80\x80",
                           "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x98", "\xFF"})
    EXPECT_FALSE(IsUtf8(text)) << text;
}

TEST(Text, ACutNeverSplitsACharacter) {
  EXPECT_EQ(CutAtCharacter("abc", 3), "abc");
  EXPECT_EQ(CutAtCharacter("abcd", 3), "abc");
  EXPECT_EQ(CutAtCharacter("ab\xC3\xA4", 3), "ab");         // 2 bytes
  EXPECT_EQ(CutAtCharacter("a\xE4\xB8\xAD", 3), "a");       // 3 bytes
  EXPECT_EQ(CutAtCharacter("a\xF0\x9F\x98\x80z", 4), "a");  // 4 bytes
  EXPECT_EQ(CutAtCharacter("a\xF0\x9F\x98\x80z", 5), "a\xF0\x9F\x98\x80");
  EXPECT_EQ(CutAtCharacter("\xE4\xB8\xAD", 0), "");
}

}  // namespace
}  // namespace byod::rulefiles
