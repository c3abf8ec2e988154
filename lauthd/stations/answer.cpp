// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/answer.h"

#include <algorithm>
#include <cstring>

#include "data/bounded_copy.h"
#include "data/internal.h"
#include "net/mac_address.h"

namespace byod::lauthd {
namespace {

std::string Packed(const ByodDeviceAttribute& attributes, const char* name,
                   const char* derived_vendor) {
  return Pack({attributes.vendor, attributes.category, attributes.os, name, derived_vendor});
}

bool Differ(std::string_view a, std::string_view b) {
  return !a.empty() && !b.empty() &&
         (a.size() != b.size() || strncasecmp(a.data(), b.data(), a.size()) != 0);
}

}  // namespace

std::string Pack(const AnswerView& answer) {
  std::string packed;
  const std::string_view fields[] = {answer.vendor, answer.category, answer.os, answer.name,
                                     answer.derived_vendor};
  if (std::ranges::all_of(fields, [](std::string_view field) { return field.empty(); })) return {};
  for (const std::string_view field : fields) {
    packed += field;
    packed += '\0';
  }
  packed.pop_back();
  return packed;
}

AnswerView Unpack(std::string_view packed) {
  AnswerView answer;
  for (std::string_view* field :
       {&answer.vendor, &answer.category, &answer.os, &answer.name, &answer.derived_vendor}) {
    const size_t end = packed.find('\0');
    *field = packed.substr(0, end);
    packed.remove_prefix(end == std::string_view::npos ? packed.size() : end + 1);
  }
  return answer;
}

bool Contradict(const AnswerView& a, const AnswerView& b) {
  return Differ(a.category, b.category) || Differ(a.os, b.os);
}

std::string AnswerOf(const explain::Match& match) {
  if (match.lookup != explain::Lookup::kRuleMatched) return {};
  ByodDeviceAttribute attributes = {};
  byod_data_MergeDeviceInfo(match.predefined, match.configured, &attributes);
  char name[BYOD_DEVNAME_SIZE] = "";
  byod_data_SelectDeviceName(match.predefined, match.configured, sizeof name, name);
  return Packed(attributes, name, "");
}

ByodFingerPrint FingerPrintOf(std::string_view options, std::string_view user_agent, uint64_t mac) {
  ByodFingerPrint fingerprint = {};
  const size_t length = std::min<size_t>(options.size(), BYOD_OPTION55_MAX);
  fingerprint.option_length = static_cast<decltype(fingerprint.option_length)>(length);
  std::copy_n(options.begin(), length, fingerprint.options);
  user_agent.copy(fingerprint.user_agent, sizeof fingerprint.user_agent - 1);
  std::ranges::copy(net::MacOf(mac), fingerprint.mac);
  return fingerprint;
}

AgentAnswer AnswerOfAgent(std::string_view user_agent) {
  const ByodFingerPrint fingerprint = FingerPrintOf({}, user_agent, 0);
  explain::RuleSearch rules(fingerprint);
  const explain::Match& match = rules.Of(BYOD_METHOD_USERAGENT);
  const size_t length = match.text != nullptr ? std::strlen(match.text) : 0;
  return {AnswerOf(match), static_cast<uint8_t>(std::min<size_t>(length, UINT8_MAX))};
}

std::string AnswerOfOptions(std::string_view options) {
  const ByodFingerPrint fingerprint = FingerPrintOf(options, {}, 0);
  explain::RuleSearch rules(fingerprint);
  return AnswerOf(rules.Of(BYOD_METHOD_DHCP));
}

WholeAnswer AnswerOf(const ByodFingerPrint& fingerprint) {
  explain::RuleSearch rules(fingerprint);
  const ByodDeviceAttribute& attributes = rules.FindAttributes().values;
  char derived_vendor[BYOD_ATTR_SIZE] = "";
  rules.FindDerivedVendor(derived_vendor);
  WholeAnswer answer;
  answer.packed = Packed(attributes, rules.FindName().text, derived_vendor);
  for (const uint32_t method : rules.methods())
    answer.by_method[method] = AnswerOf(rules.Of(method));
  return answer;
}

}  // namespace byod::lauthd
