// Whole identifications against a plain model: random rules in all tables, random terminals, all
// orders.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/log_capture.h"
#include "support/model_info.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;

struct TextRule {
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

bool HasEveryTerm(std::string_view ua, std::string_view alternative) {
  while (!alternative.empty()) {
    const size_t end = std::min(alternative.find('&'), alternative.size());
    if (ua.find(alternative.substr(0, end)) == std::string_view::npos) return false;
    alternative.remove_prefix(std::min(end + 1, alternative.size()));
  }
  return true;
}

bool Matches(std::string_view ua, std::string_view expression) {
  bool any = false;
  while (!expression.empty()) {
    const size_t end = std::min(expression.find('|'), expression.size());
    if (end > 0) {
      any = true;
      if (HasEveryTerm(ua, expression.substr(0, end))) return true;
    }
    expression.remove_prefix(std::min(end + 1, expression.size()));
  }
  return !any;
}

class IdentificationModel : public RuleStoreTest {
 protected:
  void Run(uint32_t seed) {
    random_.seed(seed);
    for (int i = 0; i < 12; ++i)
      AddRules();
    for (uint32_t first = 0; first < 4; ++first) {
      for (uint32_t second = 0; second < 4; ++second) {
        for (uint32_t third = 0; third < 4; ++third) {
          order_ = {Slot(first), Slot(second), Slot(third)};
          const ByodOrder order = {{order_[0], order_[1], order_[2]}};
          BYOD_order_SetOrder(&order);
          for (int i = 0; i < 8; ++i)
            ASSERT_NO_FATAL_FAILURE(Compare(RandomTerminal()));
        }
      }
    }
    order_ = {2, 9, 0};
    const ByodOrder order = {{2, 9, 0}};
    BYOD_order_SetOrder(&order);
    for (int i = 0; i < 50; ++i)
      ASSERT_NO_FATAL_FAILURE(Compare(RandomTerminal()));
  }

  void Forget() {
    Reopen(BYOD_NO_RULE_LIMIT);
    dhcp_.clear();
    agents_.clear();
    macs_ = {};
  }

  size_t identified_ = 0, complete_ = 0, typed_ = 0, failed_ = 0;

 private:
  uint32_t Slot(uint32_t slot) {
    return slot < 3 ? slot : 3 + static_cast<uint32_t>(random_() % 7);
  }
  size_t Below(size_t bound) { return random_() % bound; }

  std::optional<ModelInfo> RandomInfo() {
    if (Below(4) == 0) return std::nullopt;
    return ModelInfo::Random(random_);
  }

  Terminal RandomTerminal() {
    Terminal terminal = {};
    if (Below(5) != 0) terminal.options.resize(1 + Below(3));
    for (uint8_t& option : terminal.options)
      option = static_cast<uint8_t>(1 + Below(3));
    if (Below(5) != 0) terminal.user_agent.resize(1 + Below(6));
    for (char& c : terminal.user_agent)
      c = "abcd"[Below(4)];
    if (Below(5) != 0) terminal.mac = {0, static_cast<uint8_t>(Below(16)), 0, 1, 2, 3};
    return terminal;
  }

  static void SetInfo(ByodDeviceInfo*& info, const std::optional<ModelInfo>& model) {
    std::free(info);
    info = nullptr;
    if (!model) return;
    const ByodDeviceInfo plain = model->Plain();
    info = NewInfo(plain.name, plain.vendor, plain.category, plain.os);
  }

  void AddRules() {
    Terminal some = RandomTerminal();
    if (!some.options.empty() && DhcpOptionRules::Find(some.OptionText()) == nullptr) {
      dhcp_.push_back({some.OptionText(), RandomInfo(), RandomInfo()});
      auto* rule = Make<DhcpOptionRules>(some.OptionText(), BYOD_RULE_PREDEFINED);
      SetInfo(rule->predefined, dhcp_.back().predefined);
      SetInfo(rule->configured, dhcp_.back().configured);
    }

    std::string expression;
    for (size_t i = Below(10); i > 0; --i)
      expression += "abcd&|"[Below(6)];
    // Of equal lengths the place is told elsewhere; here each length comes once.
    const auto longer = [&](const TextRule& r) { return r.text.size() > expression.size(); };
    const auto place = std::find_if_not(agents_.begin(), agents_.end(), longer);
    if (place == agents_.end() || place->text.size() != expression.size()) {
      const TextRule& added = *agents_.insert(place, {expression, RandomInfo(), RandomInfo()});
      auto* rule = Make<UserAgentRules>(expression, BYOD_RULE_PREDEFINED);
      SetInfo(rule->predefined, added.predefined);
      SetInfo(rule->configured, added.configured);
    }

    const Mac prefix = {0, static_cast<uint8_t>(Below(16)), 0, 0, 0, 0};
    const ByodMacRule probe = Probe(prefix, {0xFF, 0xFF, 0, 0, 0, 0});
    uint16_t created = 0;
    uint32_t err = 0;
    auto* rule = BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_PREDEFINED, &created, &err);
    if (created == 1) {
      macs_[prefix[1]] = TextRule{"", RandomInfo(), RandomInfo()};
      SetInfo(rule->predefined, macs_[prefix[1]]->predefined);
      SetInfo(rule->configured, macs_[prefix[1]]->configured);
    }
  }

  const TextRule* Find(uint32_t method, const Terminal& terminal) const {
    if (method == BYOD_METHOD_DHCP) {
      for (const TextRule& rule : dhcp_) {
        if (!terminal.options.empty() && rule.text == terminal.OptionText()) return &rule;
      }
    } else if (method == BYOD_METHOD_USERAGENT) {
      for (const TextRule& rule : agents_) {
        if (!terminal.user_agent.empty() && Matches(terminal.user_agent, rule.text)) return &rule;
      }
    } else if (macs_[terminal.mac[1]]) {
      return &*macs_[terminal.mac[1]];
    }
    return nullptr;
  }

  static std::string Field(const TextRule& rule, size_t field) {
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
      const TextRule* rule = Find(method, terminal);
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
    ASSERT_EQ(Told(attr), known[1] + "/" + known[2] + "/" + known[3]);
    ASSERT_EQ(log_.Take(), log);
    identified_ += any;
    complete_ += !known[1].empty() && !known[2].empty() && !known[3].empty();
    failed_ += result != 0;

    std::string name;
    std::vector<std::string> type_log;
    for (const uint32_t method : order_) {
      if (method >= 3 || !name.empty()) break;
      const TextRule* const rule = Find(method, terminal);
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
    typed_ += !name.empty();

    // Names are single letters: none is a keyword.
    ASSERT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(&fp, sizeof out, out),
              name.empty() ? kFailed : 0u);
    ASSERT_EQ(std::string(out), name.empty() ? "" : "unknown");
    ASSERT_EQ(log_.Take(), type_log);
  }

  std::mt19937 random_;
  std::array<uint32_t, 3> order_ = {};
  std::vector<TextRule> dhcp_;
  std::vector<TextRule> agents_;  // longest expression first
  std::array<std::optional<TextRule>, 16> macs_;
  LogCapture log_;
};

TEST_F(IdentificationModel, AgreesInAllOrders) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_NO_FATAL_FAILURE(Run(seed));
    if (HasFailure()) return;
    ASSERT_NO_FATAL_FAILURE(Forget());
  }
  EXPECT_GT(identified_, 1000u);
  EXPECT_GT(complete_, 500u);
  EXPECT_GT(typed_, 500u);
  EXPECT_GT(failed_, 500u);
}

}  // namespace
