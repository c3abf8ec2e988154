// SPDX-License-Identifier: Apache-2.0
#include "lint/rule_lint.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "byod_data.h"
#include "data/fold_case.h"
#include "lint/expression.h"
#include "lint/remarks.h"
#include "lint/shadows.h"
#include "net/mac_text.h"

namespace byod::lint {
namespace {

using rulefiles::DeviceText;
using rulefiles::MacRule;
using rulefiles::Quoted;
using rulefiles::TextRule;

std::string TextOf(const TextRule& rule) {
  return rule.text;
}

std::string TextOf(const MacRule& rule) {
  return ToString(rule.prefix);
}

/// Makes the findings about the rules of one table.
template <typename Rule>
class Findings {
 public:
  Findings(const std::vector<Rule>& rules, std::vector<Finding>& out) : rules_(rules), out_(out) {}

  void Add(Severity severity, const char* check, size_t rule, std::string reason) {
    const Rule& about = rules_[rule];
    out_.push_back({severity, check, about.place, TextOf(about), std::move(reason)});
  }

  /// @return whether there was a problem
  bool Add(size_t rule, std::optional<Remark> remark) {
    if (remark) Add(remark->severity, remark->check, rule, std::move(remark->reason));
    return remark.has_value();
  }

  /// The reason ends with the other rule.
  void Add(Severity severity, const char* check, size_t rule, std::string reason, size_t other) {
    const Rule& named = rules_[other];
    reason += ' ' + Quoted(TextOf(named)) + " of " + ToString(named.place);
    Add(severity, check, rule, std::move(reason));
    out_.back().other = Other{named.place, TextOf(named)};
  }

 private:
  const std::vector<Rule>& rules_;
  std::vector<Finding>& out_;
};

template <typename Rule>
void CheckThatItSaysSomething(const std::vector<Rule>& rules, Findings<Rule>& findings) {
  for (size_t i = 0; i < rules.size(); ++i) {
    findings.Add(i, RemarkOnDevice(rules[i].device));
  }
}

/// Whether an example is valid, and which rule wins on it.
struct Example {
  const char* what;
  bool is_valid;
  std::optional<size_t> winner;
};

/// @param read  (text) -> Example
template <typename Rule, typename Read>
void CheckExamples(const std::vector<Rule>& rules, Read read, Findings<Rule>& findings) {
  for (size_t i = 0; i < rules.size(); ++i) {
    const std::string& text = rules[i].example;
    if (text.empty()) continue;
    const Example example = read(text);
    if (!example.is_valid) {
      findings.Add(Severity::kError, "example", i,
                   "example " + Quoted(text) + " is no " + example.what);
    } else if (!example.winner) {
      findings.Add(Severity::kError, "example", i, "no rule matches the example " + Quoted(text));
    } else if (*example.winner != i) {
      findings.Add(Severity::kError, "example", i,
                   "on the example " + Quoted(text) + " wins the rule", *example.winner);
    }
  }
}

// ---------------------------------------------------------------- User-Agent rules

std::string WithoutCase(std::string_view text) {
  std::string folded;
  for (const char c : text)
    folded += static_cast<char>(FoldCase(c));
  return folded;
}

class UserAgentLint {
 public:
  UserAgentLint(const std::vector<TextRule>& rules, Findings<TextRule>& findings)
      : rules_(rules), findings_(findings) {}

  /// Rules are visited in the order in which they are tried.
  void Visit(size_t rule) {
    if (all_matching_) {
      return findings_.Add(Severity::kError, "never-wins", rule,
                           "never wins: every User-Agent is matched before by", *all_matching_);
    }
    const std::vector<Terms> alternatives = AlternativesOf(rules_[rule].text);
    if (findings_.Add(rule, RemarkOnMatchingEverything(alternatives))) {
      all_matching_ = rule;
      return;
    }
    findings_.Add(rule, RemarkOnSeparators(rules_[rule].text, alternatives));
    std::vector<Terms> possible;
    for (const Terms& terms : alternatives) {
      if (!findings_.Add(rule, RemarkOnTerms(terms))) possible.push_back(terms);
    }
    CheckShadows(rule, possible);
    for (const Terms& terms : possible)
      earlier_.Add(rule, terms);
  }

 private:
  void CheckShadows(size_t rule, const std::vector<Terms>& alternatives) {
    std::vector<std::pair<const Terms*, size_t>> shadowed;
    for (size_t i = 0; i < alternatives.size(); ++i) {
      const Terms& terms = alternatives[i];
      if (const auto by = earlier_.Find(terms)) {
        shadowed.emplace_back(&terms, *by);
      } else {
        CheckThatNoOtherCovers(rule, alternatives, i);
      }
    }
    if (shadowed.empty()) return;
    if (shadowed.size() == alternatives.size()) return ReportRule(rule, shadowed);
    for (const auto& [terms, by] : shadowed) {
      findings_.Add(Severity::kWarning, "dead-alternative", rule,
                    "alternative " + Quoted(ToString(*terms)) +
                        " never decides: all that it matches is matched before by",
                    by);
    }
  }

  void CheckThatNoOtherCovers(size_t rule, const std::vector<Terms>& alternatives, size_t i) {
    for (size_t other = 0; other < alternatives.size(); ++other) {
      if (other == i || !Implies(alternatives[i], alternatives[other])) continue;
      // Of two equal alternatives the first one counts.
      if (other > i && Implies(alternatives[other], alternatives[i])) continue;
      return findings_.Add(Severity::kWarning, "dead-alternative", rule,
                           "alternative " + Quoted(ToString(alternatives[i])) +
                               " adds nothing to the alternative " +
                               Quoted(ToString(alternatives[other])));
    }
  }

  void ReportRule(size_t rule, const std::vector<std::pair<const Terms*, size_t>>& shadowed) {
    std::vector<size_t> others;
    for (const auto& [terms, by] : shadowed) {
      if (std::ranges::find(others, by) == others.end()) others.push_back(by);
    }
    std::string reason = "never wins: all that it matches is matched before by";
    if (others.size() > 1) {
      reason += ' ' + std::to_string(others.size()) + " rules together, one of them";
    }
    findings_.Add(Severity::kError, "never-wins", rule, std::move(reason), others.front());
  }

  const std::vector<TextRule>& rules_;
  Findings<TextRule>& findings_;
  Shadows earlier_;
  std::optional<size_t> all_matching_;
};

bool Matches(const std::vector<Terms>& alternatives, const std::string& user_agent) {
  return std::ranges::any_of(alternatives,
                             [&](const Terms& terms) { return Implies({user_agent}, terms); });
}

bool AnswerAlike(const DeviceText& a, const DeviceText& b) {
  return a.vendor == b.vendor && a.category == b.category && a.os == b.os;
}

/// Of rules of one length the table tries any one first: on an example they must answer alike.
void CheckTies(const std::vector<TextRule>& rules, Findings<TextRule>& findings) {
  std::unordered_map<size_t, std::vector<size_t>> by_length;
  std::vector<std::vector<Terms>> parsed;
  for (size_t i = 0; i < rules.size(); ++i) {
    by_length[rules[i].text.size()].push_back(i);
    parsed.push_back(AlternativesOf(rules[i].text));
  }
  for (size_t i = 0; i < rules.size(); ++i) {
    const std::string& example = rules[i].example;
    if (example.empty() || !Matches(parsed[i], example)) continue;
    for (const size_t other : by_length[rules[i].text.size()]) {
      if (AnswerAlike(rules[i].device, rules[other].device)) continue;
      if (!Matches(parsed[other], example)) continue;
      findings.Add(Severity::kWarning, "tie", i,
                   "the example " + Quoted(example) +
                       " is also matched, with another answer, by the rule of the same length",
                   other);
      break;
    }
  }
}

void CheckSpellingsWithoutCase(const std::vector<TextRule>& rules, Findings<TextRule>& findings) {
  std::unordered_map<std::string, size_t> seen;
  for (size_t i = 0; i < rules.size(); ++i) {
    const auto [first, is_new] = seen.try_emplace(WithoutCase(rules[i].text), i);
    if (is_new) continue;
    findings.Add(Severity::kError, "duplicate", i, "cannot be shown or changed: but for case it is",
                 first->second);
  }
}

}  // namespace

void CheckUserAgentRules(const std::vector<TextRule>& rules, const NumberedStore& store,
                         std::vector<Finding>& out) {
  Findings findings(rules, out);
  UserAgentLint lint(rules, findings);
  for (const size_t rule : store.UserAgentRulesInMatchOrder())
    lint.Visit(rule);
  CheckSpellingsWithoutCase(rules, findings);
  CheckTies(rules, findings);
  CheckThatItSaysSomething(rules, findings);
  CheckExamples(
      rules,
      [&](const std::string& text) {
        return Example{"header's text", MayStandInAHeader(text), store.WinnerOnUserAgent(text)};
      },
      findings);
}

void CheckDhcpOptionRules(const std::vector<TextRule>& rules, const NumberedStore& store,
                          std::vector<Finding>& out) {
  Findings findings(rules, out);
  for (size_t i = 0; i < rules.size(); ++i) {
    findings.Add(i, RemarkOnOptions(rules[i].text));
  }
  CheckThatItSaysSomething(rules, findings);
  CheckExamples(
      rules,
      [&](const std::string& text) {
        return Example{"option list", IsOptionList(text), store.WinnerOnOptions(text)};
      },
      findings);
}

void CheckMacRules(const std::vector<MacRule>& rules, const NumberedStore& store,
                   std::vector<Finding>& out) {
  Findings findings(rules, out);
  for (size_t i = 0; i < rules.size(); ++i) {
    findings.Add(i, RemarkOnBlock(rules[i].prefix));
  }
  CheckThatItSaysSomething(rules, findings);
  CheckExamples(
      rules,
      [&](const std::string& text) {
        const auto mac = net::ParseMac(text);
        return Example{"address", mac.has_value(),
                       mac ? store.WinnerOnAddress(*mac) : std::nullopt};
      },
      findings);
}

void CheckSuccessors(const rulefiles::RuleSet& rules, bool has_registry,
                     std::vector<Finding>& out) {
  std::unordered_set<std::string> known;
  for (const MacRule& rule : rules.mac)
    known.insert(rulefiles::IdentityOfRule(BYOD_METHOD_MAC, TextOf(rule)));
  for (const TextRule& rule : rules.user_agent)
    known.insert(rulefiles::IdentityOfRule(BYOD_METHOD_USERAGENT, rule.text));
  for (const TextRule& rule : rules.dhcp_option)
    known.insert(rulefiles::IdentityOfRule(BYOD_METHOD_DHCP, rule.text));
  const auto is_rule = [&](uint32_t method, const std::string& text) {
    return known.contains(rulefiles::IdentityOfRule(method, text));
  };
  for (const rulefiles::Successor& row : rules.successors) {
    if (is_rule(row.method, row.rule)) {
      out.push_back({Severity::kError, "successor", row.place, row.rule,
                     "has no effect: " + Quoted(row.rule) + " is still a rule"});
    } else if ((row.method != BYOD_METHOD_MAC || has_registry) &&
               !is_rule(row.method, row.successor)) {
      out.push_back({Severity::kError, "successor", row.place, row.rule,
                     "the successor " + Quoted(row.successor) + " is not a rule"});
    }
  }
}

}  // namespace byod::lint
