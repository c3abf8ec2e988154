// SPDX-License-Identifier: Apache-2.0
// How long does it take to load ten thousand User-Agent rules?
//
//   add/RULES       BYOD_AddUserAgentRule for rules that are made already
//   multiset/RULES  the same names, as strings, into one std::multiset
//   walk/RULES      two sorted lists filled with searches that walk from the head at each probe
//
// The lists that add builds must be those of walk, link for link.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "byod_data.h"
#include "data/rule_store.h"
#include "data/user_agent/match_link.h"
#include "ratio_report.h"
#include "real_strings.h"

namespace byod::bench {
namespace {

constexpr size_t kRules = 10000;

std::vector<std::string> names;

ByodUserAgentRule* NewRule(const std::string& name) {
  ByodUserAgentRule* const rule = BYOD_data_AllocUserAgentRule();
  std::strncpy(rule->keyword, name.c_str(), sizeof rule->keyword - 1);
  return rule;
}

/// A list kept by searches by halves in which every probe walks from the head.
template <typename Compare>
void InsertByWalking(ByodLink*& head, size_t count, ByodLink& link, Compare compare) {
  if (head == nullptr) return data::LinkAt(head, link);
  ByodLink* probed = nullptr;
  int c = 0;
  for (size_t first = 1, last = count; first <= last;) {
    const size_t middle = (first + last) / 2;
    probed = head;
    for (size_t i = 1; i < middle; ++i)
      probed = probed->next;
    c = compare(*probed);
    if (c == 0) break;
    if (c < 0) {
      last = middle - 1;
    } else {
      first = middle + 1;
    }
  }
  data::LinkAt(c < 0 ? *probed->prev : probed->next, link);
}

const ByodUserAgentRule* RuleOfListLink(const ByodLink* link) {
  return reinterpret_cast<const ByodUserAgentRule*>(reinterpret_cast<const char*>(link) -
                                                    offsetof(ByodUserAgentRule, list_link));
}

struct WalkedLists {
  ByodLink* list = nullptr;
  ByodLink* match_list = nullptr;
  std::vector<ByodUserAgentRule*> rules;

  ~WalkedLists() {
    for (ByodUserAgentRule* const rule : rules)
      BYOD_data_FreeUserAgentRule(rule);
  }

  void Add(ByodUserAgentRule* rule) {
    InsertByWalking(list, rules.size(), rule->list_link, [&](const ByodLink& link) {
      return std::strcmp(rule->keyword, RuleOfListLink(&link)->keyword);
    });
    InsertByWalking(match_list, rules.size(), rule->match_link, [&](ByodLink& link) {
      const size_t length = std::strlen(rule->keyword);
      const size_t other = std::strlen(data::RuleOfMatchLink(&link)->keyword);
      return (length < other) - (length > other);
    });
    rules.push_back(rule);
  }
};

std::vector<ByodUserAgentRule*> NewRules() {
  std::vector<ByodUserAgentRule*> rules;
  for (const std::string& name : names)
    rules.push_back(NewRule(name));
  return rules;
}

void Check() {
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  WalkedLists walked;
  for (size_t i = 0; i < 3000; ++i) {
    walked.Add(NewRule(names[i]));
    Require(BYOD_AddUserAgentRule(NewRule(names[i])) == 0, "a rule is not taken");
  }
  const ByodLink* one = walked.list;
  const ByodLink* other = *BYOD_data_GetUserAgentRuleList();
  for (; one != nullptr && other != nullptr; one = one->next, other = other->next)
    Require(std::strcmp(RuleOfListLink(one)->keyword, RuleOfListLink(other)->keyword) == 0,
            "the list in byte order is another");
  ByodLink* match = walked.match_list;
  ByodLink* indexed = *BYOD_data_GetUserAgentRuleMatchList();
  for (; match != nullptr && indexed != nullptr; match = match->next, indexed = indexed->next)
    Require(std::strcmp(data::RuleOfMatchLink(match)->keyword,
                        data::RuleOfMatchLink(indexed)->keyword) == 0,
            "the match list is another");
  Require(one == other && match == indexed, "the lists' lengths differ");
  BYOD_data_GlobalInfoFini();
}

void Add(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
    const std::vector<ByodUserAgentRule*> rules = NewRules();
    state.ResumeTiming();
    for (ByodUserAgentRule* const rule : rules)
      BYOD_AddUserAgentRule(rule);
    state.PauseTiming();
    BYOD_data_GlobalInfoFini();
    state.ResumeTiming();
  }
}

void Multiset(benchmark::State& state) {
  for (auto _ : state) {
    std::multiset<std::string> set;
    for (const std::string& name : names)
      set.insert(name);
    state.PauseTiming();
    set.clear();
    state.ResumeTiming();
  }
}

void Walk(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    WalkedLists lists;
    const std::vector<ByodUserAgentRule*> rules = NewRules();
    state.ResumeTiming();
    for (ByodUserAgentRule* const rule : rules)
      lists.Add(rule);
    state.PauseTiming();
    lists.~WalkedLists();
    new (&lists) WalkedLists;
    state.ResumeTiming();
  }
}

int Main(int argc, char** argv) {
  names = Expressions(UserAgents(30000, Seed()), kRules, Seed());
  Check();
  const std::string number = std::string(1, '/') + std::to_string(kRules);
  benchmark::RegisterBenchmark(("add" + number).c_str(), Add);
  benchmark::RegisterBenchmark(("multiset" + number).c_str(), Multiset);
  benchmark::RegisterBenchmark(("walk" + number).c_str(), Walk)->Iterations(1);
  return RunAndReport(
      argc, argv,
      {{"list load: add / walk, 10000 rules", {{"add" + number, "walk" + number}}, 0.01},
       {"list load: add / std::multiset, 10000 rules",
        {{"add" + number, "multiset" + number}},
        4}});
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  return byod::bench::Main(argc, argv);
}
