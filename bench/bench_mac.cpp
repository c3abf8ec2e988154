// SPDX-License-Identifier: Apache-2.0
// Which rule covers this MAC address?
//
//   words/RULES  BYOD_data_FindMacRule: the compare is one of 48-bit words
//   bytes/RULES  the same platform tree over the same rules, compared byte by byte
//
// RULES prefixes of the registry, or made-up ones; the addresses asked for lie under them, in
// random order, 46,000 of them. Both must find the rule that a std::map of prefixes names.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <random>

#include "byod_data.h"
#include "data/internal.h"
#include "data/rule_store.h"
#include "lauth_avl.h"
#include "ratio_report.h"

namespace byod::bench {
namespace {

constexpr size_t kSmall = 1000;
constexpr size_t kWhole = 46000;

struct Prefix {
  uint8_t mac[BYOD_MAC_SIZE] = {};
  uint8_t mask[BYOD_MAC_SIZE] = {};
};

/// Prefixes of 24, 28 and 36 bits from the registry's tables, where Debian installs them.
std::vector<Prefix> Registry() {
  std::vector<Prefix> prefixes;
  for (const char* const file : {"oui", "mam", "oui36", "iab"}) {
    std::ifstream in(std::string("/usr/share/ieee-data/") + file + ".csv");
    std::string line;
    while (std::getline(in, line)) {
      const size_t first = line.find(',') + 1;
      const size_t last = line.find(',', first);
      if (last == std::string::npos) continue;
      // Placeholders around the smaller blocks.
      if (line.find(",IEEE Registration Authority,", last) == last) continue;
      const std::string digits = line.substr(first, last - first);
      if (digits.find_first_not_of("0123456789ABCDEF") != std::string::npos) continue;
      Prefix prefix;
      for (size_t i = 0; i < digits.size() && i < 12; ++i) {
        const auto digit = static_cast<uint8_t>(std::stoi(digits.substr(i, 1), nullptr, 16));
        prefix.mac[i / 2] |= static_cast<uint8_t>(i % 2 == 0 ? digit << 4 : digit);
        prefix.mask[i / 2] |= static_cast<uint8_t>(i % 2 == 0 ? 0xF0 : 0x0F);
      }
      prefixes.push_back(prefix);
    }
  }
  return prefixes;
}

std::vector<Prefix> MadeUp(std::mt19937& random) {
  std::vector<Prefix> prefixes(kWhole);
  for (Prefix& prefix : prefixes) {
    for (int i = 0; i < 3; ++i) {
      prefix.mac[i] = static_cast<uint8_t>(random());
      prefix.mask[i] = 0xFF;
    }
  }
  return prefixes;
}

/// What a byte compare under the common mask is.
int CompareBytes(const void* a, const void* b) {
  const auto& x = *static_cast<const ByodMacRule*>(a);
  const auto& y = *static_cast<const ByodMacRule*>(b);
  uint8_t left[BYOD_MAC_SIZE];
  uint8_t right[BYOD_MAC_SIZE];
  for (size_t i = 0; i < BYOD_MAC_SIZE; ++i) {
    const auto mask = static_cast<uint8_t>(x.mask[i] & y.mask[i]);
    left[i] = x.mac[i] & mask;
    right[i] = y.mac[i] & mask;
  }
  return std::memcmp(left, right, sizeof left);
}

size_t loaded = 0;
std::vector<ByodMacRule> probes;

uint64_t Number(const uint8_t* bytes) {
  uint64_t number = 0;
  for (size_t i = 0; i < BYOD_MAC_SIZE; ++i)
    number = number << 8 | bytes[i];
  return number;
}

ByodMacRule* FindByWords(const ByodMacRule& probe) {
  return BYOD_data_FindMacRule(&probe);
}

ByodMacRule* FindByBytes(const ByodMacRule& probe) {
  return static_cast<ByodMacRule*>(AVL_Get(data::store.mac.tree, &probe, CompareBytes));
}

void Load(size_t size) {
  if (loaded == size) return;
  loaded = size;
  BYOD_data_GlobalInfoFini();
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  std::mt19937 random(Seed());
  std::vector<Prefix> prefixes = Registry();
  const bool real = prefixes.size() >= kWhole;
  if (!real) prefixes = MadeUp(random);
  std::shuffle(prefixes.begin(), prefixes.end(), random);
  ByodDeviceInfo info = {};
  std::strcpy(info.vendor, "Vendor");
  std::map<std::pair<uint64_t, uint64_t>, ByodMacRule*> by_mask;
  for (const Prefix& prefix : prefixes) {
    if (BYOD_data_GetMacRuleCount() == size) break;
    ByodMacRule probe = {};
    std::memcpy(probe.mac, prefix.mac, sizeof probe.mac);
    std::memcpy(probe.mask, prefix.mask, sizeof probe.mask);
    const uint32_t before = BYOD_data_GetMacRuleCount();
    BYOD_data_AddFileMacRule(&probe, &info);
    if (BYOD_data_GetMacRuleCount() == before) continue;  // overlaps another
    by_mask[{Number(probe.mask), Number(probe.mac)}] = BYOD_data_SetFindMacRule(&probe);
  }
  std::fprintf(stderr, "# %s prefixes, %u rules\n", real ? "the registry's" : "made-up",
               BYOD_data_GetMacRuleCount());
  // As many for few rules as for many, so that no branch predictor learns them by heart.
  std::vector<const ByodMacRule*> rules;
  for (const auto& [key, rule] : by_mask)
    rules.push_back(rule);
  probes.clear();
  while (probes.size() < kWhole) {
    const ByodMacRule* const rule = rules[random() % rules.size()];
    ByodMacRule probe = {};
    std::memset(probe.mask, 0xFF, sizeof probe.mask);
    for (size_t i = 0; i < BYOD_MAC_SIZE; ++i)
      probe.mac[i] = static_cast<uint8_t>(rule->mac[i] | (random() & ~rule->mask[i]));
    probes.push_back(probe);
    Require(by_mask.at({Number(rule->mask), Number(probe.mac) & Number(rule->mask)}) == rule &&
                FindByWords(probe) == rule && FindByBytes(probe) == rule,
            "a wrong rule");
  }
}

template <typename Ask>
void Run(benchmark::State& state, size_t size, Ask ask) {
  Load(size);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ask(probes[i]));
    if (++i == probes.size()) i = 0;
  }
}

int Main(int argc, char** argv) {
  std::vector<Ratio> ratios;
  for (const size_t size : {kSmall, kWhole}) {
    const std::string number = std::to_string(size);
    const auto with = [&](const std::string& who, auto ask) {
      benchmark::RegisterBenchmark((who + "/" + number).c_str(),
                                   [=](benchmark::State& state) { Run(state, size, ask); });
    };
    with("words", FindByWords);
    with("bytes", FindByBytes);
    ratios.push_back({"MAC: words / bytes, " + number + " rules",
                      {{"words/" + number, "bytes/" + number}},
                      size == kWhole ? 0.75 : 0});
  }
  ratios.push_back({"MAC: words at 46000 rules / at 1000", {{"words/46000", "words/1000"}}, 5});
  const int result = RunAndReport(argc, argv, ratios);
  BYOD_data_GlobalInfoFini();
  return result;
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  return byod::bench::Main(argc, argv);
}
