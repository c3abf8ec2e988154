// SPDX-License-Identifier: Apache-2.0
// What does evidence add to an identification?
//
//   complete      all fields are known
//   name          a host name that a pattern matches
//   strange-name  a host name that none matches
//   class         a vendor class
//   list          an option list that is in no rule, like one that is
//   strange-list  an option list like no other
//   brand         the vendor of an address, and nothing else
//   all           a strange name, class and list together, so that each kind is tried
//   mixed         one of the others after the other
//
// With the rules of the catalogue. What fills each terminal's category is checked before.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "evidence/evidence.h"
#include "ratio_report.h"

namespace byod::bench {
namespace {

using namespace byod::evidence;

struct Case {
  const char* name;
  Texts known;
  std::string_view host_name;
  std::string_view vendor_class;
  std::vector<uint8_t> options;
  const char* category_by;  // empty = nothing
};

const std::vector<Case>& Cases() {
  static const std::vector<uint8_t> strange_list = {200, 3, 77, 6, 9, 15, 201, 1, 44, 33};
  static const std::vector<Case> cases = {
      {"complete", {"Apple", "Mobile", "iOS", "Apple iPhone"}, "Toms-iPhone", "", {1, 3}, ""},
      {"name", {"", "", "", ""}, "Marias-iPhone-13-Pro", "", {}, "host-name"},
      {"strange-name", {"", "", "", ""}, "brmz-k2-07-qqva.example", "", {}, ""},
      {"class", {"", "", "", ""}, "", "Cisco Systems, Inc. IP Phone CP-8841", {}, "vendor-class"},
      {"list",
       {"", "", "", ""},
       "",
       "",
       {1, 3, 6, 15, 26, 28, 51, 58, 59, 43, 114, 160},
       "option-list"},
      {"strange-list", {"", "", "", ""}, "", "", strange_list, ""},
      {"brand", {"Nintendo", "", "", ""}, "", "", {}, "brand"},
      {"all", {"", "", "", ""}, "brmz-k2-07-qqva.example", "unheard-of 1.0", strange_list, ""}};
  return cases;
}

const Evidence& Rules() {
  static const Evidence rules = [] {
    rulefiles::Diagnostics diagnostics([](const rulefiles::Diagnostic& diagnostic) {
      std::fprintf(stderr, "%s\n", ToString(diagnostic).c_str());
      std::exit(1);
    });
    return Evidence::Load({BYOD_BENCH_RULES}, diagnostics);
  }();
  return rules;
}

Fillings FillCase(const Case& it) {
  Traces traces;
  traces.host_name = it.host_name;
  traces.vendor_class = it.vendor_class;
  traces.options = it.options;
  return Rules().Fill(it.known, traces);
}

void Check() {
  for (const Case& it : Cases()) {
    const Filling category = FillCase(it)[kCategory];
    const std::string by{category.IsSet() ? NameOf(category.kind) : ""};
    Require(by == it.category_by, std::string{it.name} + ": category by \"" + by + "\"");
  }
}

void RunCase(benchmark::State& state, const Case& it) {
  for (auto _ : state)
    benchmark::DoNotOptimize(FillCase(it));
}

void RunMixed(benchmark::State& state) {
  size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(FillCase(Cases()[next]));
    next = next + 1 < Cases().size() ? next + 1 : 0;
  }
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  using namespace byod::bench;
  constexpr double kMaxNs = 2000;  // beside an identification
  Check();
  std::vector<Ratio> times;
  const auto limit = [&](const char* name) {
    times.push_back({std::string{"evidence, "} + name + ", ns", {{name, ""}}, kMaxNs});
  };
  for (const Case& it : Cases()) {
    benchmark::RegisterBenchmark(it.name, &RunCase, it);
    limit(it.name);
  }
  benchmark::RegisterBenchmark("mixed", &RunMixed);
  limit("mixed");
  return RunAndReport(argc, argv, times);
}
