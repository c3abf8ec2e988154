// SPDX-License-Identifier: Apache-2.0
// Which rule is the first to match a User-Agent?
//
//   index/KIND/RULES      the library's answer
//   interface/KIND/RULES  the same asked through BYOD_data_GetDevTypeByUserAgent
//   hyperscan/KIND/RULES  Hyperscan finds the terms, conjunctions by hand
//   re2/KIND/RULES        RE2::Set finds the terms, conjunctions by hand
//   walk/KIND/RULES       every expression in turn
//   change/RULES          one rule added and deleted
//
// KIND is typical (strings as they come), nothing (no rule matches), common (only such terms occur
// as many rules hold). Every contender must give the walk's answer for every string.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <unordered_map>

#include "byod_data.h"
#include "data/internal.h"
#include "data/rule_store.h"
#include "data/user_agent/first_match.h"
#include "data/user_agent/match_link.h"
#include "first_match_contenders.h"
#include "ratio_report.h"
#include "real_strings.h"

namespace byod::bench {
namespace {

using data::FirstMatch;
using data::FirstMatchByWalking;
using data::RuleOfMatchLink;
using data::store;

constexpr size_t kSizes[] = {100, 1000, 10000};
constexpr size_t kQueries = 2000;
constexpr const char* kKinds[] = {"typical", "nothing", "common"};

void AddRule(const std::string& expression) {
  ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
  std::strncpy(rule->keyword, expression.c_str(), sizeof rule->keyword - 1);
  rule->predefined = BYOD_data_CreateDeviceInfo("Phone", "Vendor", "Mobile", "Android");
  Require(BYOD_AddUserAgentRule(rule) == 0, "a rule is not taken");
}

/// The rules of one size, in the store and in the contenders.
struct Case {
  std::vector<std::string> expressions;
  std::map<std::string, std::vector<std::string>> queries;  // by kind
  std::vector<std::string> in_match_order;
  std::unique_ptr<HyperscanMatcher> hyperscan;
  std::unique_ptr<Re2Matcher> re2;
  size_t index_bytes = 0;
};

std::map<size_t, Case> cases;

/// Makes the store hold the rules of one size.
void Load(size_t size) {
  static size_t loaded = 0;
  if (loaded == size) return;
  BYOD_data_GlobalInfoFini();
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  for (const std::string& expression : cases[size].expressions)
    AddRule(expression);
  loaded = size;
}

/// Breaks every occurrence of a term in a string.
void Break(std::string& ua, const std::string& term) {
  for (size_t at; (at = ua.find(term)) != std::string::npos;)
    ua[at + term.size() / 2] = term[term.size() / 2] == '_' ? '~' : '_';
}

std::vector<std::string> QueriesWithout(const std::vector<std::string>& user_agents,
                                        const std::vector<std::string>& terms) {
  std::vector<std::string> queries;
  for (size_t i = 0; queries.size() < kQueries; ++i) {
    std::string ua = user_agents[i % user_agents.size()];
    for (const std::string& term : terms)
      Break(ua, term);
    queries.push_back(ua);
  }
  return queries;
}

/// Strings as they come, but that no rule matches: the terms that make one match are broken.
std::vector<std::string> QueriesWithoutMatch(const std::vector<std::string>& user_agents) {
  std::vector<std::string> queries;
  for (size_t i = 0; queries.size() < kQueries; ++i) {
    std::string ua = user_agents[i % user_agents.size()];
    while (const ByodUserAgentRule* const rule = FirstMatchByWalking(ua.c_str())) {
      // Of every alternative the last term, mostly the model.
      for (std::string rest = rule->keyword; !rest.empty();) {
        const size_t bar = rest.find_last_of("|&");
        const std::string term = bar == std::string::npos ? rest : rest.substr(bar + 1);
        if (!term.empty() && ua.find(term) != std::string::npos) {
          Break(ua, term);
          if (byod_data_UserAgentMatch(ua.c_str(), rule->keyword) == 0) break;
        }
        rest.resize(bar == std::string::npos ? 0 : bar);
      }
    }
    queries.push_back(ua);
  }
  return queries;
}

void Prepare(size_t size, uint32_t seed) {
  const std::vector<std::string> user_agents = UserAgents(30000, seed);
  Case& c = cases[size];
  c.expressions = Expressions(user_agents, size, seed);
  Load(size);
  std::unordered_map<std::string, uint32_t> ranks;
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    c.in_match_order.push_back(RuleOfMatchLink(link)->keyword);
    ranks.try_emplace(c.in_match_order.back(), static_cast<uint32_t>(ranks.size()));
  }
  c.index_bytes = store.user_agent_index.bytes();
  c.hyperscan = std::make_unique<HyperscanMatcher>(c.in_match_order);
  c.re2 = std::make_unique<Re2Matcher>(c.in_match_order);

  c.queries["typical"].assign(user_agents.end() - kQueries, user_agents.end());
  c.queries["nothing"] = QueriesWithoutMatch(user_agents);
  // Rare is a term that less than a hundredth of the rules hold.
  std::unordered_map<std::string, size_t> uses;
  const Conjunctions all(c.in_match_order);
  std::vector<std::string> rare;
  for (const std::string& term : all.terms()) {
    size_t holders = 0;
    for (const std::string& expression : c.expressions)
      holders += expression.find(term) != std::string::npos;
    if (holders * 100 < size || holders < 2) rare.push_back(term);
  }
  c.queries["common"] = QueriesWithout(user_agents, rare);

  for (const auto& [kind, queries] : c.queries) {
    size_t found = 0;
    for (const std::string& ua : queries) {
      const ByodUserAgentRule* const walked = FirstMatchByWalking(ua.c_str());
      const uint32_t rank = walked != nullptr ? ranks.at(walked->keyword) : Conjunctions::kNone;
      found += walked != nullptr;
      Require(FirstMatch(ua.c_str()) == walked, "the index answers wrong: " + ua);
      Require(c.hyperscan->First(ua) == rank, "Hyperscan answers wrong: " + ua);
      Require(c.re2->First(ua) == rank, "RE2 answers wrong: " + ua);
    }
    std::fprintf(stderr, "# %zu rules, %s: %zu of %zu strings match\n", size, kind.c_str(), found,
                 queries.size());
    Require(kind != "nothing" || found == 0, "a string matches after all");
  }
}

template <typename Ask>
void Run(benchmark::State& state, size_t size, const std::string& kind, Ask ask) {
  Load(size);
  const std::vector<std::string>& queries = cases[size].queries[kind];
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ask(queries[i]));
    if (++i == queries.size()) i = 0;
  }
}

void Change(benchmark::State& state, size_t size) {
  Load(size);
  const std::vector<std::string> user_agents = UserAgents(30000, Seed() + 100);
  const std::vector<std::string> fresh = Expressions(user_agents, 1000, Seed() + 100);
  size_t i = 0;
  for (auto _ : state) {
    ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
    std::strncpy(rule->keyword, fresh[i].c_str(), sizeof rule->keyword - 1);
    BYOD_AddUserAgentRule(rule);
    BYOD_DeleteUserAgent(rule);
    if (++i == fresh.size()) i = 0;
  }
}

std::string Name(const std::string& who, const std::string& kind, size_t size) {
  return who + "/" + kind + "/" + std::to_string(size);
}

void Register(size_t size) {
  const auto add = [](const std::string& name, auto run) {
    benchmark::RegisterBenchmark(name.c_str(), run);
  };
  Case& c = cases[size];
  for (const std::string kind : kKinds) {
    const auto with = [&](const std::string& who, auto ask) {
      add(Name(who, kind, size), [=](benchmark::State& state) { Run(state, size, kind, ask); });
    };
    with("index", [](const std::string& ua) { return FirstMatch(ua.c_str()); });
    with("interface", [](const std::string& ua) {
      char type[BYOD_DEVNAME_SIZE];
      return BYOD_data_GetDevTypeByUserAgent(ua.c_str(), sizeof type, type);
    });
    with("hyperscan", [&c](const std::string& ua) { return c.hyperscan->First(ua); });
    with("re2", [&c](const std::string& ua) { return c.re2->First(ua); });
    with("walk", [](const std::string& ua) { return FirstMatchByWalking(ua.c_str()); });
  }
  add("change/" + std::to_string(size), [=](benchmark::State& state) { Change(state, size); });
}

int Main(int argc, char** argv) {
  std::vector<Ratio> ratios;
  std::vector<Figure> figures;
  Ratio all = {"UA first match: index / Hyperscan, nine cells", {}, 1.1};
  Ratio all_re2 = {"UA first match: index / RE2::Set, nine cells", {}, 0};
  for (const size_t size : kSizes) {
    Prepare(size, Seed());
    Register(size);
    const std::string rules = ", " + std::to_string(size) + " rules";
    for (const std::string kind : kKinds) {
      const std::string index = Name("index", kind, size);
      for (const std::string who : {"hyperscan", "re2"}) {
        ratios.push_back({"UA " + kind + ": index / " + who + rules,
                          {{index, Name(who, kind, size)}},
                          who == "hyperscan" ? 1.5 : 0});
      }
      all.pairs.push_back({index, Name("hyperscan", kind, size)});
      all_re2.pairs.push_back({index, Name("re2", kind, size)});
      const double at_10000 = kind == "nothing" ? 1.0 / 1000 : 1.0 / 75;
      ratios.push_back({"UA " + kind + ": index / walk" + rules,
                        {{index, Name("walk", kind, size)}},
                        size == 10000 && kind != "common" ? at_10000 : 0});
      ratios.push_back({"UA " + kind + ": interface / index" + rules,
                        {{Name("interface", kind, size), index}},
                        0});
    }
    ratios.push_back({"UA rule added and deleted, ns" + rules,
                      {{"change/" + std::to_string(size), ""}},
                      size == 10000 ? 10000.0 : 0});
    const auto& c = cases[size];
    figures.push_back(
        {"UA index memory / Hyperscan's" + rules,
         static_cast<double>(c.index_bytes) / static_cast<double>(c.hyperscan->bytes()), 2});
    figures.push_back({"UA index bytes a rule" + rules,
                       static_cast<double>(c.index_bytes) / static_cast<double>(size)});
  }
  const double growth[] = {5, 4, 2.5};
  for (size_t k = 0; k < 3; ++k) {
    ratios.push_back({std::string("UA ") + kKinds[k] + ": index at 10000 rules / at 100",
                      {{Name("index", kKinds[k], 10000), Name("index", kKinds[k], 100)}},
                      growth[k]});
  }
  ratios.insert(ratios.begin(), {all, all_re2});
  const int result = RunAndReport(argc, argv, ratios, figures);
  BYOD_data_GlobalInfoFini();
  return result;
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  return byod::bench::Main(argc, argv);
}
