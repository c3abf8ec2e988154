// SPDX-License-Identifier: Apache-2.0
#include "byodctl/preview/terminals.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "byod_tlv.h"
#include "byodctl/identification/fingerprint_input.h"
#include "byodctl/identification/identification_fields.h"
#include "protocol/extensions.h"
#include "rulefiles/rule_set.h"

namespace byod::ctl {
namespace {

/// What cannot be a fingerprint is left out.
void Add(std::vector<ByodFingerPrint>& out, const FingerprintText& text) {
  const ParsedFingerprint parsed = ParseFingerprint(text);
  if (parsed.error.empty()) out.push_back(parsed.fingerprint);
}

std::vector<ByodFingerPrint> ReadAll(std::istream& in, const std::string& name) {
  std::vector<ByodFingerPrint> terminals;
  const auto reader = OpenInput(in, InputFormat::kAuto);
  while (const auto line = reader->Next()) {
    const ParsedFingerprint parsed = ParseFingerprint(line->text);
    const std::string& fault = line->error.empty() ? parsed.error : line->error;
    if (!fault.empty()) {
      throw Failure(kExitBadInput, name + ':' + std::to_string(line->number) + ": " + fault);
    }
    terminals.push_back(parsed.fingerprint);
  }
  return terminals;
}

}  // namespace

std::vector<ByodFingerPrint> KnownTerminals(Client& client) {
  std::vector<ByodFingerPrint> terminals;
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_UNKNOWN), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_UNKNOWN,
                        [&](const Fields& unknown) { Add(terminals, FingerprintIn(unknown)); });
  });
  return terminals;
}

std::vector<ByodFingerPrint> TerminalsIn(const std::string& file) {
  try {
    if (file == "-") return ReadAll(std::cin, file);
    std::ifstream in(file);
    if (!in) throw Failure(kExitBadInput, file + ": " + std::strerror(errno));
    return ReadAll(in, file);
  } catch (const InputError& error) {
    throw Failure(kExitBadInput, file + ": " + error.what());
  }
}

std::vector<ByodFingerPrint> ExamplesIn(const std::string& rules_directory) {
  std::vector<ByodFingerPrint> examples;
  rulefiles::Diagnostics ignored([](const rulefiles::Diagnostic&) {});
  const rulefiles::RuleSet rules = rulefiles::ReadRuleSet({rules_directory, ""}, ignored);
  const auto add = [&](const auto& table, std::string FingerprintText::* part) {
    for (const auto& rule : table) {
      if (rule.example.empty()) continue;
      FingerprintText text;
      text.*part = rule.example;
      Add(examples, text);
    }
  };
  add(rules.user_agent, &FingerprintText::user_agent);
  add(rules.dhcp_option, &FingerprintText::options);
  add(rules.mac, &FingerprintText::mac);
  return examples;
}

}  // namespace byod::ctl
