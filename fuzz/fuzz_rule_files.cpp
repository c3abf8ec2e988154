// SPDX-License-Identifier: Apache-2.0
// Attacks the readers of rule files and of the registry: ReadMacRules, ReadUserAgentRules,
// ReadDhcpOptionRules, ReadVendorAliases, ReadRegistry and ReadRuleSet.
//
// The first byte of the input says which. The rest is the file; for the last two it is several,
// with a byte 1E between them. What is read must fit the tables, and be read the same from a file
// in which it is written down; a rule set must be taken by the tables as a whole.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "byod_data.h"
#include "fuzz/scratch_directory.h"
#include "rulefiles/load.h"
#include "rulefiles/registry.h"
#include "rulefiles/rule_set.h"

namespace {

using namespace byod::rulefiles;

void Expect(bool truth) {
  if (!truth) std::abort();
}

/// For what must read without a fault.
void Refuse(const Diagnostic&) {
  std::abort();
}

void AppendQuoted(std::string& record, const std::string& field) {
  record += '"';
  for (const char c : field) {
    if (c == '"') record += '"';
    record += c;
  }
  record += '"';
}

std::string Record(const std::vector<std::string>& fields) {
  std::string record;
  for (const std::string& field : fields) {
    if (!record.empty()) record += ',';
    AppendQuoted(record, field);
  }
  record += '\n';
  return record;
}

void CheckText(const std::string& text, size_t size) {
  Expect(text.size() < size && text.find('\0') == std::string::npos);
}

void CheckDevice(const DeviceText& device) {
  CheckText(device.name, BYOD_DEVNAME_SIZE);
  CheckText(device.vendor, BYOD_ATTR_SIZE);
  CheckText(device.category, BYOD_ATTR_SIZE);
  CheckText(device.os, BYOD_ATTR_SIZE);
}

void CheckRule(const TextRule& rule) {
  Expect(!rule.text.empty());
  CheckText(rule.text, BYOD_RULETEXT_SIZE);
  CheckDevice(rule.device);
}

void CheckRule(const MacRule& rule) {
  Expect(rule.prefix.bits >= 1 && rule.prefix.bits <= 48);
  Expect(rule.prefix == byod::net::MakePrefix(rule.prefix.address, rule.prefix.bits));
  CheckDevice(rule.device);
}

std::string KeyOf(const TextRule& rule) {
  return rule.text;
}
std::string KeyOf(const MacRule& rule) {
  return ToString(rule.prefix);
}

/// The rule as a record of a rule file.
std::string RecordOf(const std::string& key, const DeviceText& device, const std::string& example) {
  return Record({key, device.name, device.vendor, device.category, device.os, example});
}

/// @param key  the name of the key's column
template <typename Reader>
void CheckRules(Reader read, const char* key, std::string_view content) {
  Diagnostics ignored([](const Diagnostic& diagnostic) { ToString(diagnostic); });
  const auto rules = read(File{"input", std::string(content)}, ignored);
  std::string written = std::string(key) + ",name,vendor,category,os,example\n";
  for (const auto& rule : rules) {
    CheckRule(rule);
    written += RecordOf(KeyOf(rule), rule.device, rule.example);
  }
  Diagnostics none(&Refuse);
  const auto again = read(File{"written", written}, none);
  Expect(again.size() == rules.size());
  for (size_t i = 0; i < rules.size(); ++i) {
    Expect(RecordOf(KeyOf(rules[i]), rules[i].device, rules[i].example) ==
           RecordOf(KeyOf(again[i]), again[i].device, again[i].example));
  }
}

void CheckAliases(std::string_view content) {
  Diagnostics ignored([](const Diagnostic&) {});
  const VendorAliases aliases = ReadVendorAliases(File{"input", std::string(content)}, ignored);
  std::string written = "organisation,vendor\n";
  for (const auto& [organisation, vendor] : aliases)
    written += Record({organisation, vendor});
  Diagnostics none(&Refuse);
  Expect(ReadVendorAliases(File{"written", written}, none) == aliases);
}

/// Writes the parts of the input as files. A missing part is a missing file.
void WriteFiles(const fuzz::ScratchDirectory& directory, const std::vector<const char*>& names,
                std::string_view input) {
  for (const char* const name : names) {
    std::filesystem::remove((directory / name));
    if (input.empty()) continue;
    const size_t end = input.find('\x1E');
    directory.Write(name, input.substr(0, end));
    input = end == std::string_view::npos ? "" : input.substr(end + 1);
  }
}

const fuzz::ScratchDirectory& Directory() {
  static const fuzz::ScratchDirectory directory;
  return directory;
}

void CheckOrder(const std::vector<MacRule>& rules) {
  for (size_t i = 0; i < rules.size(); ++i) {
    CheckRule(rules[i]);
    Expect(i == 0 || rules[i - 1].prefix.Last() < rules[i].prefix.address);
  }
}

void CheckRegistry(std::string_view input) {
  WriteFiles(Directory(), {"oui.csv", "mam.csv", "oui36.csv", "iab.csv"}, input);
  Diagnostics ignored([](const Diagnostic&) {});
  CheckOrder(ReadRegistry(Directory().path(), {}, ignored));
}

void CheckRuleSet(std::string_view input) {
  WriteFiles(Directory(),
             {"mac.csv", "user-agent.csv", "dhcp-option.csv", "vendor-alias.csv", "successors.csv",
              "oui.csv", "mam.csv", "oui36.csv", "iab.csv"},
             input);
  Diagnostics ignored([](const Diagnostic&) {});
  const RuleSet set = ReadRuleSet({Directory().path(), Directory().path()}, ignored);
  std::vector<MacRule> mac = set.mac;
  std::sort(mac.begin(), mac.end(),
            [](const MacRule& a, const MacRule& b) { return a.prefix < b.prefix; });
  CheckOrder(mac);
  Expect(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT) == 0);
  Diagnostics none(&Refuse);
  const size_t all = set.mac.size() + set.user_agent.size() + set.dhcp_option.size();
  Expect(Load(set, none) == all);
  Expect(BYOD_data_GetMacRuleCount() == set.mac.size());
  BYOD_data_GlobalInfoFini();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 6) {
    case 0:
      CheckRules(ReadMacRules, "mac", input);
      break;
    case 1:
      CheckRules(ReadUserAgentRules, "expression", input);
      break;
    case 2:
      CheckRules(ReadDhcpOptionRules, "options", input);
      break;
    case 3:
      CheckAliases(input);
      break;
    case 4:
      CheckRegistry(input);
      break;
    default:
      CheckRuleSet(input);
  }
  return 0;
}
