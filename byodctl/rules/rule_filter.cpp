// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/rule_filter.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "byodctl/failure.h"
#include "byodctl/identification/daemon_identifier.h"
#include "byodctl/text/fingerprint_text.h"
#include "data/fold_case.h"
#include "data/internal.h"

namespace byod::ctl {
namespace {

bool IsPartOf(std::string_view part, std::string_view text) {
  const auto is_same = [](char a, char b) { return FoldCase(a) == FoldCase(b); };
  return !std::ranges::search(text, part, is_same).empty();
}

bool IsWanted(const std::optional<std::string>& wanted, const std::string& text) {
  if (!wanted) return true;
  return wanted->empty() ? text.empty() : IsPartOf(*wanted, text);
}

/// The block or address in a text, if it is one.
std::optional<net::Prefix> BlockOf(const std::string& text) {
  try {
    return ReadRule(BYOD_METHOD_MAC, text, {}).key.prefix;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

// ---------------------------------------------------------------- fingerprints

struct Part {
  std::string_view prefix;
  std::string FingerprintText::* member;
};
constexpr Part kParts[] = {{"mac=", &FingerprintText::mac},
                           {"dhcp=", &FingerprintText::options},
                           {"user-agent=", &FingerprintText::user_agent}};

const Part* PartAt(std::string_view text) {
  const auto* const part = std::ranges::find_if(
      kParts, [&](const Part& known) { return text.starts_with(known.prefix); });
  return part == std::end(kParts) ? nullptr : part;
}

/// The length of the value at the beginning of a text, up to the comma before the next part.
size_t ValueLength(std::string_view text) {
  for (size_t at = text.find(','); at != std::string_view::npos; at = text.find(',', at + 1)) {
    if (PartAt(text.substr(at + 1)) != nullptr) return at;
  }
  return text.size();
}

FingerprintText FingerprintOf(std::string_view text) {
  FingerprintText fingerprint;
  if (PartAt(text) == nullptr) {
    std::string FingerprintText::* member = &FingerprintText::user_agent;
    if (net::ParseMac(text)) member = &FingerprintText::mac;
    const bool is_list = text.find_first_not_of("0123456789, ") == std::string_view::npos;
    if (is_list && member == &FingerprintText::user_agent) member = &FingerprintText::options;
    fingerprint.*member = text;
    return fingerprint;
  }
  while (const Part* const part = PartAt(text)) {
    text.remove_prefix(part->prefix.size());
    // A User-Agent may contain anything, so it comes last.
    const bool is_last = part->member == &FingerprintText::user_agent;
    const size_t length = is_last ? text.size() : ValueLength(text);
    fingerprint.*part->member = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return fingerprint;
}

bool Decides(const explain::Step& step) {
  return step.lookup == explain::Lookup::kRuleMatched &&
         std::ranges::any_of(step.fields, &explain::Field::is_used);
}

RuleKey KeyOf(const explain::Step& step) {
  if (step.method == BYOD_METHOD_MAC) return ReadRule(step.method, step.rule, {}).key;
  if (step.method == BYOD_METHOD_USERAGENT) return UserAgentKey(step.rule, step.is_custom);
  return {step.method, {}, step.rule};
}

}  // namespace

void RuleFilter::Declare(Parser& parser) {
  parser.AddFlag("--custom", custom, "Only rules that an administrator added");
  parser.AddFlag("--modified", modified, "Only predefined rules that an administrator changed");
  for (size_t i = 0; i < std::size(kDeviceFields); ++i) {
    const std::string name = kDeviceFields[i].name;
    parser
        .AddText("--" + name, fields[i],
                 "Only rules with this in their " + name + "; '' = rules without one")
        .ValueName("TEXT");
  }
  parser
      .AddText("--match", match,
               "Only rules for this User-Agent, address, block or list of DHCP options")
      .ValueName("TEXT");
  parser
      .AddText("--wins", wins,
               "Only rules that decide something of mac=ADDRESS,dhcp=LIST,user-agent=TEXT")
      .ValueName("FINGERPRINT");
}

bool RuleFilter::Shows(const Rule& rule) const {
  if (ConfiguredOnly() && !(custom && rule.is_custom) && !(modified && rule.is_modified)) {
    return false;
  }
  for (size_t i = 0; i < std::size(kDeviceFields); ++i) {
    if (!IsWanted(fields[i], rule.device.*kDeviceFields[i].member)) return false;
  }
  return !match || Matches(rule.key, *match);
}

bool Matches(const RuleKey& key, const std::string& text) {
  if (key.kind == BYOD_METHOD_MAC) {
    const auto block = BlockOf(text);
    return block && key.prefix.Overlaps(*block);
  }
  if (key.kind == BYOD_METHOD_USERAGENT) {
    return byod_data_UserAgentMatch(text.c_str(), key.text.c_str()) == 1;
  }
  std::string list = text;
  std::erase(list, ' ');
  return list == key.text;
}

std::vector<RuleKey> WinningRules(const std::string& fingerprint, const Settings& settings) {
  const ParsedFingerprint parsed = ParseFingerprint(FingerprintOf(fingerprint));
  if (!parsed.error.empty()) throw Failure(kExitBadInput, "--wins: " + parsed.error);
  DaemonIdentifier identifier(settings, "", true);
  const Answer answer = identifier.Identify(parsed.fingerprint);
  std::vector<RuleKey> keys;
  const auto add = [&](const std::vector<explain::Step>& steps) {
    for (const explain::Step& step : steps) {
      if (!Decides(step)) continue;
      RuleKey key = KeyOf(step);
      const auto is_same = [&](const RuleKey& other) {
        return other.kind == key.kind && ToString(other) == ToString(key) &&
               other.StoredText() == key.StoredText();
      };
      if (std::ranges::none_of(keys, is_same)) keys.push_back(std::move(key));
    }
  };
  if (answer.explanation) {
    add(answer.explanation->attributes);
    add(answer.explanation->name);
  }
  return keys;
}

}  // namespace byod::ctl
