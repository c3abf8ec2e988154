// SPDX-License-Identifier: Apache-2.0
// A rule from fields is the rule that a file with these fields holds, or fails for the same reason.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "byod_data.h"
#include "rulefiles/rule_file.h"

namespace byod::rulefiles {
namespace {

std::string InQuotes(const std::string& field) {
  std::string text = "\"";
  for (const char c : field)
    text += c == '"' ? "\"\"" : std::string(1, c);
  return text + '"';
}

std::string Row(const std::vector<std::string>& key, const DeviceText& device) {
  std::string row;
  for (const std::string& field : key)
    row += InQuotes(field) + ',';
  return row + InQuotes(device.name) + ',' + InQuotes(device.vendor) + ',' +
         InQuotes(device.category) + ',' + InQuotes(device.os) + '\n';
}

std::string Show(const DeviceText& device) {
  return device.name + '|' + device.vendor + '|' + device.category + '|' + device.os;
}

std::string Show(const MacRule& rule) {
  return ToString(rule.prefix) + ' ' + Show(rule.device);
}

std::string Show(const TextRule& rule) {
  return rule.text + ' ' + Show(rule.device);
}

/// A rule, or the reason without the place.
template <typename Rule>
std::string FromFile(std::vector<Rule> (*read)(const File&, Diagnostics&),
                     const std::string& header, const std::string& row) {
  std::string reason;
  Diagnostics diagnostics([&](const Diagnostic& diagnostic) { reason = diagnostic.reason; });
  const auto rules = read({"rules.csv", header + ",name,vendor,category,os\n" + row}, diagnostics);
  return rules.size() == 1 ? Show(rules.front()) : "no: " + reason;
}

const std::string kTooLongText(BYOD_RULETEXT_SIZE, 'x');

const std::vector<DeviceText>& Devices() {
  static const std::vector<DeviceText> devices = {
      {},
      {"Name", "Vendor", "Category", "OS"},
      {"a,\"b\"\n#c", " V ", "", "\xC3\xA9"},
      {std::string(BYOD_DEVNAME_SIZE - 1, 'n'), std::string(BYOD_ATTR_SIZE - 1, 'v'), "", ""},
      {std::string(BYOD_DEVNAME_SIZE, 'n'), "", "", ""},
      {"", std::string(BYOD_ATTR_SIZE, 'v'), "", ""},
      {"", "", std::string(BYOD_ATTR_SIZE, 'c'), ""},
      {"", "", "", std::string(BYOD_ATTR_SIZE, 'o')},
      {"\xFF", "", "", ""},
      {"", std::string("a\0b", 3), "", ""}};
  return devices;
}

const std::vector<std::string>& Keys() {
  static const std::vector<std::string> keys = {"",
                                                " ",
                                                "iPhone&&Mobile||iPad",
                                                "#iPhone",
                                                "\"quoted\", and more",
                                                "1,3,6,15",
                                                "1,,3",
                                                "01",
                                                "256",
                                                "\xC3",
                                                std::string("a\0", 2),
                                                kTooLongText.substr(1),
                                                kTooLongText};
  return keys;
}

TEST(RuleFromFields, AMacRuleIsThatOfAFile) {
  for (const std::string address :
       {"", "00:11:22:33:44:55", "0011-2233-4455", "00:11:22/24", "00:11:22", "00:11:22/0",
        "00:11:22/25", "zz", "00:11:22:33:44:55/48", " 00:11:22:33:44:55", "\xFF"}) {
    for (const std::string mask : {"", "24", "48", "49", "ff:ff:ff:00:00:00", "ff:00:ff:00:00:00",
                                   "00:00:00:00:00:00", "x", "\xFF"}) {
      for (const DeviceText& device : Devices()) {
        MacRule rule;
        const std::string fault = MakeMacRule(address, mask, device, rule);
        EXPECT_EQ(fault.empty() ? Show(rule) : "no: " + fault,
                  FromFile(&ReadMacRules, "mac,mask", Row({address, mask}, device)));
      }
    }
  }
}

TEST(RuleFromFields, AUserAgentRuleIsThatOfAFile) {
  for (const std::string& expression : Keys()) {
    for (const DeviceText& device : Devices()) {
      TextRule rule;
      const std::string fault = MakeUserAgentRule(expression, device, rule);
      EXPECT_EQ(fault.empty() ? Show(rule) : "no: " + fault,
                FromFile(&ReadUserAgentRules, "expression", Row({expression}, device)));
    }
  }
}

TEST(RuleFromFields, ADhcpOptionRuleIsThatOfAFile) {
  for (const std::string& options : Keys()) {
    for (const DeviceText& device : Devices()) {
      TextRule rule;
      const std::string fault = MakeDhcpOptionRule(options, device, rule);
      EXPECT_EQ(fault.empty() ? Show(rule) : "no: " + fault,
                FromFile(&ReadDhcpOptionRules, "options", Row({options}, device)));
    }
  }
}

TEST(RuleFromFields, ARuleStaysAsItIsOnFailure) {
  TextRule rule{"before", {}, {}, {}};
  EXPECT_EQ(MakeDhcpOptionRule("x", {}, rule), "option list \"x\" is malformed");
  EXPECT_EQ(rule.text, "before");
}

}  // namespace
}  // namespace byod::rulefiles
