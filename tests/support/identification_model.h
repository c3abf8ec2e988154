// SPDX-License-Identifier: Apache-2.0
// Whole identifications as a plain model: rules in all tables, an order, terminals, and what must
// be answered and logged for them.
#ifndef BYOD_TESTS_SUPPORT_IDENTIFICATION_MODEL_H
#define BYOD_TESTS_SUPPORT_IDENTIFICATION_MODEL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/choices.h"
#include "support/log_capture.h"
#include "support/model_info.h"
#include "support/plain_match.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace byod::test {

struct ModelRule {
  std::string text;
  std::optional<ModelInfo> predefined, configured;
};

struct Terminal {
  std::vector<uint8_t> options;
  std::string user_agent;
  Mac mac;

  ByodFingerPrint FingerPrint() const {
    ByodFingerPrint fp = {};
    fp.option_length = static_cast<uint32_t>(options.size());
    std::copy(options.begin(), options.end(), fp.options);
    Fill(fp.user_agent, user_agent);
    std::copy(mac.begin(), mac.end(), fp.mac);
    return fp;
  }
  std::string OptionText() const {
    std::string text;
    for (const uint8_t option : options) {
      if (!text.empty()) text += ',';
      text += std::to_string(option);
    }
    return text;
  }
  std::string MacText() const {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
  }
};

/// Steps with the library and its model. The store is empty at the beginning.
class IdentificationRun {
 public:
  /// How many terminals there were of a kind.
  struct Counts {
    size_t identified = 0, complete = 0, typed = 0, failed = 0;
  };

  explicit IdentificationRun(Choices choices) : choices_(std::move(choices)) {}

  const Choices& choices() const { return choices_; }
  Choices& choices() { return choices_; }
  const Counts& counts() const { return counts_; }

  void SetOrder(const std::array<uint32_t, 3>& slots) {
    order_ = slots;
    const ByodOrder order = {{slots[0], slots[1], slots[2]}};
    BYOD_order_SetOrder(&order);
  }

  /// One rule for each table, unless there is one that would leave it open which of them answers.
  void AddRules() {
    Terminal some = RandomTerminal();
    if (!some.options.empty() && DhcpOptionRules::Find(some.OptionText()) == nullptr) {
      dhcp_.push_back({some.OptionText(), RandomInfo(), RandomInfo()});
      auto* rule = Make<DhcpOptionRules>(some.OptionText(), BYOD_RULE_PREDEFINED);
      SetInfo(rule->predefined, dhcp_.back().predefined);
      SetInfo(rule->configured, dhcp_.back().configured);
    }

    std::string expression;
    for (size_t i = choices_.Below(10); i > 0; --i)
      expression += "abcd&|"[choices_.Below(6)];
    // The order of equal lengths is tested elsewhere; here each length comes once.
    const auto longer = [&](const ModelRule& r) { return r.text.size() > expression.size(); };
    const auto place = std::find_if_not(agents_.begin(), agents_.end(), longer);
    if (place == agents_.end() || place->text.size() != expression.size()) {
      const ModelRule& added = *agents_.insert(place, {expression, RandomInfo(), RandomInfo()});
      auto* rule = Make<UserAgentRules>(expression, BYOD_RULE_PREDEFINED);
      SetInfo(rule->predefined, added.predefined);
      SetInfo(rule->configured, added.configured);
    }

    const Mac prefix = {0, static_cast<uint8_t>(choices_.Below(16)), 0, 0, 0, 0};
    const ByodMacRule probe = Probe(prefix, {0xFF, 0xFF, 0, 0, 0, 0});
    uint16_t created = 0;
    uint32_t err = 0;
    auto* rule = BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_PREDEFINED, &created, &err);
    if (created == 1) {
      macs_[prefix[1]] = ModelRule{"", RandomInfo(), RandomInfo()};
      SetInfo(rule->predefined, macs_[prefix[1]]->predefined);
      SetInfo(rule->configured, macs_[prefix[1]]->configured);
    }
  }

  void CompareSomeTerminal() { Compare(RandomTerminal()); }

 private:
  std::optional<ModelInfo> RandomInfo() {
    if (choices_.Below(4) == 0) return std::nullopt;
    return ModelInfo::Random(choices_);
  }

  Terminal RandomTerminal() {
    Terminal terminal = {};
    if (choices_.Below(5) != 0) terminal.options.resize(1 + choices_.Below(3));
    for (uint8_t& option : terminal.options)
      option = static_cast<uint8_t>(1 + choices_.Below(3));
    if (choices_.Below(5) != 0) terminal.user_agent.resize(1 + choices_.Below(6));
    for (char& c : terminal.user_agent)
      c = "abcd"[choices_.Below(4)];
    if (choices_.Below(5) != 0)
      terminal.mac = {0, static_cast<uint8_t>(choices_.Below(16)), 0, 1, 2, 3};
    return terminal;
  }

  static void SetInfo(ByodDeviceInfo*& info, const std::optional<ModelInfo>& model) {
    std::free(info);
    info = nullptr;
    if (!model) return;
    const ByodDeviceInfo plain = model->Plain();
    info = NewInfo(plain.name, plain.vendor, plain.category, plain.os);
  }

  const ModelRule* Find(uint32_t method, const Terminal& terminal) const {
    if (method == BYOD_METHOD_DHCP) {
      for (const ModelRule& rule : dhcp_) {
        if (!terminal.options.empty() && rule.text == terminal.OptionText()) return &rule;
      }
    } else if (method == BYOD_METHOD_USERAGENT) {
      for (const ModelRule& rule : agents_) {
        if (!terminal.user_agent.empty() && Matches(terminal.user_agent, rule.text)) return &rule;
      }
    } else if (macs_[terminal.mac[1]]) {
      return &*macs_[terminal.mac[1]];
    }
    return nullptr;
  }

  static std::string Field(const ModelRule& rule, size_t field) {
    if (rule.configured && !rule.configured->fields[field].empty()) {
      return rule.configured->fields[field];
    }
    return rule.predefined ? rule.predefined->fields[field] : "";
  }

  void Compare(const Terminal& terminal) {
    const ByodFingerPrint fp = terminal.FingerPrint();

    // Attributes: name is not among them; the fields are vendor, category and OS.
    std::array<std::string, 4> known = {};
    std::vector<std::string> log;
    uint32_t last = kFailed;
    for (const uint32_t method : order_) {
      if (method >= 3) break;
      const ModelRule* rule = Find(method, terminal);
      if (method == BYOD_METHOD_MAC && terminal.mac == Mac{}) rule = nullptr;
      last = rule != nullptr ? 0 : kFailed;
      if (rule == nullptr) continue;
      for (size_t field = 1; field < 4; ++field) {
        if (known[field].empty()) known[field] = Field(*rule, field);
      }
      static const std::string kThrough[] = {
          "DHCP Option 55 fingerprint: Fingerprint=", "HTTP user agent fingerprint: Fingerprint=",
          "the endpoint MAC address: MAC address="};
      const std::string key[] = {terminal.OptionText(), terminal.user_agent, terminal.MacText()};
      log.push_back("2 Identified endpoint attributes through " + kThrough[method] + key[method] +
                    ", device vendor=" + known[1] + ", device category=" + known[2] +
                    ", device OS=" + known[3] + ".");
      if (!known[1].empty() && !known[2].empty() && !known[3].empty()) break;
    }
    const bool any = !known[1].empty() || !known[2].empty() || !known[3].empty();
    ByodDeviceAttribute attr = {};
    const uint32_t result = BYOD_data_GetDeviceAttributeByFingerPrint(&fp, &attr);
    ASSERT_EQ(result, any ? 0 : last);
    ASSERT_EQ(InfoText(attr), known[1] + "/" + known[2] + "/" + known[3]);
    ASSERT_EQ(log_.Take(), log);
    counts_.identified += any;
    counts_.complete += !known[1].empty() && !known[2].empty() && !known[3].empty();
    counts_.failed += result != 0;

    std::string name;
    std::vector<std::string> type_log;
    for (const uint32_t method : order_) {
      if (method >= 3 || !name.empty()) break;
      const ModelRule* const rule = Find(method, terminal);
      if (rule == nullptr || Field(*rule, 0).empty()) continue;
      name = Field(*rule, 0);
      const std::string by[] = {"DhcpOption55 information " + terminal.OptionText() + ".",
                                "HttpUseragent information " + terminal.user_agent + ".",
                                "MAC address (" + terminal.MacText() + ")."};
      type_log = {"2 Identified the terminal type as " + name + " by using " + by[method]};
    }
    char out[128] = "untouched";
    ASSERT_EQ(BYOD_data_GetDeviceTypeByFingerPrint(&fp, sizeof out, out),
              name.empty() ? kFailed : 0u);
    ASSERT_EQ(std::string(out), name);
    ASSERT_EQ(log_.Take(), type_log);
    counts_.typed += !name.empty();

    // Names are single letters: none is a keyword.
    ASSERT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(&fp, sizeof out, out),
              name.empty() ? kFailed : 0u);
    ASSERT_EQ(std::string(out), name.empty() ? "" : "unknown");
    ASSERT_EQ(log_.Take(), type_log);
  }

  Choices choices_;
  Counts counts_;
  std::array<uint32_t, 3> order_ = {BYOD_METHOD_DHCP, BYOD_METHOD_USERAGENT, BYOD_METHOD_MAC};
  std::vector<ModelRule> dhcp_;
  std::vector<ModelRule> agents_;  // longest expression first
  std::array<std::optional<ModelRule>, 16> macs_;
  LogCapture log_;
};

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_IDENTIFICATION_MODEL_H
