// SPDX-License-Identifier: Apache-2.0
// Which rule has this DHCP option 55 text?
//
//   index/RULES  BYOD_data_FindDhcpOptionRule
//   absl/RULES   absl::flat_hash_map from std::string to the rule, without folding case
//   chain/RULES  HASH_Find along the chains of 1024 buckets
//
// Every contender is asked with the same NUL-terminated text, in random order, all of them. Every
// contender must find the very rule.
#include <absl/container/flat_hash_map.h>
#include <absl/strings/string_view.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "byod_data.h"
#include "data/fold_case.h"
#include "data/rule_store.h"
#include "ratio_report.h"
#include "real_strings.h"

namespace byod::bench {
namespace {

constexpr size_t kSizes[] = {1000, 10000, 100000};

constexpr size_t kQuestions = 100000;

size_t loaded = 0;
// In the order of asking, one behind the other: whoever asks has just written the text, so it is
// in the cache.
std::string questions;
absl::flat_hash_map<std::string, ByodDhcpOptionRule*> map;

ByodDhcpOptionRule* FindInMap(const char* text) {
  const auto found = map.find(absl::string_view(text));
  return found != map.end() ? found->second : nullptr;
}

ByodDhcpOptionRule* FindInChain(const char* text) {
  const auto differs = [](const void* rule, const void* key) -> int {
    return !EqualWithoutCase(static_cast<const ByodDhcpOptionRule*>(rule)->text,
                             static_cast<const char*>(key));
  };
  return static_cast<ByodDhcpOptionRule*>(
      HASH_Find(data::HashOf(data::store.dhcp.hash), text, differs));
}

void Load(size_t size) {
  if (loaded == size) return;
  loaded = size;
  BYOD_data_GlobalInfoFini();
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  map = {};
  const std::vector<std::string> texts = OptionTexts(size, Seed());
  ByodDeviceInfo info = {};
  std::strcpy(info.name, "Phone");
  for (const std::string& text : texts) {
    BYOD_data_AddFileDhcpOptionRule(text.c_str(), &info);
    map[text] = BYOD_data_FindDhcpOptionRule(text.c_str());
  }
  Require(BYOD_data_GetDhcpOptionRuleCount() == size, "a rule is not taken");
  for (const std::string& text : texts) {
    const ByodDhcpOptionRule* const rule = BYOD_data_FindDhcpOptionRule(text.c_str());
    Require(rule != nullptr && rule->text == text, "a wrong rule for " + text);
    Require(FindInMap(text.c_str()) == rule && FindInChain(text.c_str()) == rule,
            "another rule for " + text);
  }
  // As many questions for few rules as for many, so that no branch predictor learns them by heart.
  std::mt19937 random(Seed());
  questions.clear();
  for (size_t i = 0; i < kQuestions; ++i)
    questions += texts[random() % texts.size()] + '\0';
  Require(BYOD_data_FindDhcpOptionRule("1,2,3,0") == nullptr, "a rule for nothing");
}

template <typename Ask>
void Run(benchmark::State& state, size_t size, Ask ask) {
  Load(size);
  size_t at = 0;
  for (auto _ : state) {
    // The next question hangs on the answer, so that what is timed is one search, and not how many
    // of them the processor does side by side.
    auto* answer = ask(questions.data() + at);
    benchmark::DoNotOptimize(answer);
    at = questions.find('\0', at) + 1 + (answer == nullptr);
    if (at == questions.size()) at = 0;
  }
}

int Main(int argc, char** argv) {
  std::vector<Ratio> ratios;
  for (const size_t size : kSizes) {
    const std::string number = std::to_string(size);
    const auto with = [&](const std::string& who, auto ask) {
      benchmark::RegisterBenchmark((who + "/" + number).c_str(),
                                   [=](benchmark::State& state) { Run(state, size, ask); });
    };
    with("index", BYOD_data_FindDhcpOptionRule);
    with("absl", FindInMap);
    with("chain", FindInChain);
    ratios.push_back({"option text: index / absl::flat_hash_map, " + number + " rules",
                      {{"index/" + number, "absl/" + number}},
                      1.5});
    ratios.push_back({"option text: index / chain, " + number + " rules",
                      {{"index/" + number, "chain/" + number}},
                      0});
  }
  ratios.push_back(
      {"option text: index at 100000 rules / at 1000", {{"index/100000", "index/1000"}}, 5});
  const int result = RunAndReport(argc, argv, ratios);
  BYOD_data_GlobalInfoFini();
  return result;
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  return byod::bench::Main(argc, argv);
}
