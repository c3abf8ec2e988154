// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/rule_gain.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "byodctl/preview/terminals.h"
#include "byodctl/preview/trial.h"
#include "byodctl/rules/rule_advice.h"
#include "byodctl/text/counted.h"
#include "byodctl/text/rule_of_step.h"
#include "data/internal.h"
#include "rulefiles/rule_set.h"

namespace byod::ctl {
namespace {

bool Matches(const std::string& expression, const char* user_agent) {
  return byod_data_UserAgentMatch(user_agent, expression.c_str()) == 1;
}

std::vector<rulefiles::TextRule> PredefinedUserAgents(Client& client) {
  rulefiles::Diagnostics ignored([](const rulefiles::Diagnostic&) {});
  const auto sources = SourcesOf(client);
  if (!sources) return {};
  return rulefiles::ReadRuleSet({sources->rules, ""}, ignored).user_agent;
}

/// Names of rules with counts, the highest count first.
std::string Listed(const std::map<std::string, size_t>& counts) {
  constexpr size_t kMaxNames = 3;
  std::vector<std::pair<std::string, size_t>> rows(counts.begin(), counts.end());
  std::ranges::sort(rows, [](const auto& a, const auto& b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  std::string text;
  for (size_t i = 0; i < std::min(rows.size(), kMaxNames); ++i) {
    text += (i > 0 ? ", " : "") + std::to_string(rows[i].second) + " of " +
            rulefiles::Quoted(rows[i].first);
  }
  if (rows.size() > kMaxNames) text += ", ...";
  return text;
}

std::string LineOf(const Share& share, const char* what) {
  std::string text = "wins on " + std::to_string(share.won) + " of " +
                     Counted(share.matched, what) + " that it matches";
  if (!share.lost_to.empty()) {
    text += "; others win: ";
    bool is_first = true;
    for (const auto& [rule, count] : share.lost_to) {
      text += (is_first ? "" : ", ") + rulefiles::Quoted(rule) + " on " + std::to_string(count);
      is_first = false;
    }
  }
  return text;
}

Json JsonOf(const std::map<std::string, size_t>& counts) {
  Json object = Json::EmptyObject();
  for (const auto& [rule, count] : counts)
    object.Set(rule, count);
  return object;
}

Json JsonOf(const Share& share) {
  return {{"matched", share.matched}, {"won", share.won}, {"lost_to", JsonOf(share.lost_to)}};
}

/// Asks which rule wins User-Agents that a rule matches.
class Question {
 public:
  Question(Client& client, const Rule& rule) : client_(client), rule_(rule) {}

  /// @return whether the rule wins
  bool Ask(const char* user_agent, Share& share) {
    const auto step = StepFor(client_, BYOD_METHOD_USERAGENT, user_agent);
    if (!step) {
      is_tried_ = false;
      return false;
    }
    ++share.matched;
    const bool is_won = step->rule == rule_.key.StoredText();
    if (is_won) {
      ++share.won;
    } else {
      ++share.lost_to[RuleOf(*step)];
    }
    return is_won;
  }

  bool is_tried() const { return is_tried_; }

 private:
  Client& client_;
  const Rule& rule_;
  bool is_tried_ = true;
};

}  // namespace

std::optional<RuleGain> GainOf(Client& client, const Rule& rule, const std::string& example) {
  const std::string& expression = rule.key.StoredText();
  RuleGain gain;
  Question question(client, rule);
  Share of_example;
  const bool wins_example = !example.empty() && question.Ask(example.c_str(), of_example);
  for (const ByodFingerPrint& terminal : KnownTerminals(client)) {
    const char* const user_agent = terminal.user_agent;
    if (*user_agent != '\0' && Matches(expression, user_agent))
      question.Ask(user_agent, gain.unknown);
  }
  for (const rulefiles::TextRule& other : PredefinedUserAgents(client)) {
    if (!rule.is_custom && other.text == rule.key.text) continue;
    if (wins_example && Matches(other.text, example.c_str())) gain.over.push_back(other.text);
    const bool is_matched = !other.example.empty() && Matches(expression, other.example.c_str());
    if (is_matched && question.Ask(other.example.c_str(), gain.examples)) {
      ++gain.taken_from[other.text];
    }
  }
  if (!question.is_tried()) return std::nullopt;
  // The longest first, as they would have been tried.
  std::ranges::sort(gain.over, std::greater<>(), &std::string::size);
  return gain;
}

std::vector<std::string> LinesOf(const RuleGain& gain) {
  std::vector<std::string> lines;
  if (gain.unknown.matched > 0) lines.push_back(LineOf(gain.unknown, "unknown terminal"));
  if (gain.examples.matched > 0) {
    lines.push_back(LineOf(gain.examples, "example"));
    if (!gain.taken_from.empty()) lines.back() += "; taken over: " + Listed(gain.taken_from);
  }
  if (!gain.over.empty()) {
    lines.push_back("wins on the example over " + Counted(gain.over.size(), "predefined rule") +
                    ": " + rulefiles::Quoted(gain.over.front()) +
                    (gain.over.size() > 1 ? ", ..." : ""));
  }
  return lines;
}

Json JsonOf(const std::optional<RuleGain>& gain) {
  if (!gain) return {};
  Json over = Json::EmptyArray();
  for (const std::string& rule : gain->over)
    over.Append(rule);
  return {{"unknown", JsonOf(gain->unknown)},
          {"examples", JsonOf(gain->examples)},
          {"taken_from", JsonOf(gain->taken_from)},
          {"over", over}};
}

}  // namespace byod::ctl
