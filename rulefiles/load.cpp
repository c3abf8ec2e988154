// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/load.h"

#include <algorithm>
#include <new>
#include <string>

#include "byod_data.h"

namespace byod::rulefiles {
namespace {

constexpr size_t kProgressStep = 1000;

template <size_t Size>
void Copy(char (&field)[Size], const std::string& text) {
  const size_t length = std::min(text.size(), Size - 1);
  text.copy(field, length);
  field[length] = '\0';
}

ByodDeviceInfo InfoOf(const DeviceText& device) {
  ByodDeviceInfo info = {};
  Copy(info.name, device.name);
  Copy(info.vendor, device.vendor);
  Copy(info.category, device.category);
  Copy(info.os, device.os);
  return info;
}

ByodMacRule ProbeOf(const MacRule& rule) {
  ByodMacRule probe = {};
  std::ranges::copy(rule.prefix.Mac(), probe.mac);
  std::ranges::copy(rule.prefix.Mask(), probe.mask);
  return probe;
}

/// Whether a rule is there that keeps a prefix out of the table.
bool IsTaken(const ByodMacRule& probe) {
  return BYOD_data_FindMacRule(&probe) != nullptr;
}

/// Adds rules one by one. The adding functions return no result, so the table's count is compared.
/// Only a MAC rule that overlaps another one is not taken; what else is missing is memory.
class Loader {
 public:
  Loader(size_t total, Diagnostics& diagnostics, const Progress& progress)
      : total_(total), diagnostics_(diagnostics), progress_(progress) {}

  template <typename Rule, typename Add, typename Taken>
  void LoadTable(const std::vector<Rule>& rules, uint32_t (*count)(), Add add, Taken is_taken) {
    for (const Rule& rule : rules) {
      const uint32_t before = count();
      const ByodDeviceInfo info = InfoOf(rule.device);
      add(rule, &info);
      if (count() == before) {
        if (!is_taken(rule)) throw std::bad_alloc();
        diagnostics_.Report(Problem::kConflict, rule.place,
                            "the rule table does not take the rule");
      } else {
        ++taken_;
      }
      if (++done_ % kProgressStep == 0) Report();
    }
  }

  size_t Finish() {
    Report();
    return taken_;
  }

 private:
  void Report() {
    if (progress_) progress_(done_, total_);
  }

  size_t total_;
  Diagnostics& diagnostics_;
  const Progress& progress_;
  size_t done_ = 0;
  size_t taken_ = 0;
};

}  // namespace

size_t Load(const RuleSet& set, Diagnostics& diagnostics, const Progress& progress) {
  Loader loader(set.mac.size() + set.user_agent.size() + set.dhcp_option.size(), diagnostics,
                progress);
  const auto never = [](const TextRule&) { return false; };
  loader.LoadTable(
      set.mac, &BYOD_data_GetMacRuleCount,
      [](const MacRule& rule, const ByodDeviceInfo* info) {
        const ByodMacRule probe = ProbeOf(rule);
        BYOD_data_AddFileMacRule(&probe, info);
      },
      [](const MacRule& rule) { return IsTaken(ProbeOf(rule)); });
  loader.LoadTable(
      set.user_agent, &BYOD_data_GetUserAgentRuleCount,
      [](const TextRule& rule, const ByodDeviceInfo* info) {
        BYOD_data_AddFileAgentRule(rule.text.c_str(), info);
      },
      never);
  loader.LoadTable(
      set.dhcp_option, &BYOD_data_GetDhcpOptionRuleCount,
      [](const TextRule& rule, const ByodDeviceInfo* info) {
        BYOD_data_AddFileDhcpOptionRule(rule.text.c_str(), info);
      },
      never);
  return loader.Finish();
}

}  // namespace byod::rulefiles
