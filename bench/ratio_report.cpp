// SPDX-License-Identifier: Apache-2.0
#include "ratio_report.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace byod::bench {
namespace {

/// Keeps the times of every repetition beside printing them.
class Collector : public benchmark::ConsoleReporter {
 public:
  Collector() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        // A benchmark that chose another time than the processor's says so.
        const bool own_time = !run.run_name.time_type.empty();
        times_[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/") +
               run.run_name.args]
            .push_back(own_time ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  double Median(const std::string& name) {
    if (name.empty()) return 1;
    const auto found = times_.find(name);
    Require(found != times_.end(), "no benchmark ran as " + name);
    std::vector<double>& times = found->second;
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }

  bool Ran(const std::string& name) const { return name.empty() || times_.count(name) != 0; }

 private:
  std::map<std::string, std::vector<double>> times_;
};

std::string Limit(double limit) {
  if (limit == 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%g", limit);
  return text;
}

}  // namespace

uint32_t Seed() {
  const char* const text = std::getenv("BYOD_BENCH_SEED");
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : 1;
}

void Require(bool condition, const std::string& message) {
  if (condition) return;
  std::fprintf(stderr, "bench: %s\n", message.c_str());
  std::exit(1);
}

int RunAndReport(int argc, char** argv, const std::vector<Ratio>& ratios,
                 const std::vector<Figure>& figures) {
#ifndef NDEBUG
  std::fprintf(stderr, "bench: built without optimisation; the times mean nothing\n");
#endif
  std::vector<char*> arguments = {argv[0]};
  std::string interleaved = "--benchmark_enable_random_interleaving=true";
  std::string repetitions = "--benchmark_repetitions=5";
  std::string least = "--benchmark_min_time=0.1";
  arguments.insert(arguments.end(), {interleaved.data(), repetitions.data(), least.data()});
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  for (const Ratio& ratio : ratios) {
    double logarithms = 0;
    double measured = 0;
    double against = 0;
    bool ran = true;
    for (const Ratio::Pair& pair : ratio.pairs) {
      ran = ran && collector.Ran(pair.measured) && collector.Ran(pair.against);
      if (!ran) break;
      measured = collector.Median(pair.measured);
      against = collector.Median(pair.against);
      logarithms += std::log(measured / against);
    }
    if (!ran) continue;  // left out by a filter on the command line
    const double value = std::exp(logarithms / static_cast<double>(ratio.pairs.size()));
    std::printf("RATIO\t%s\t%.4f\t%s", ratio.label.c_str(), value, Limit(ratio.limit).c_str());
    if (ratio.pairs.size() == 1) std::printf("\t%.0f\t%.0f", measured, against);
    std::printf("\n");
  }
  for (const Figure& figure : figures)
    std::printf("FIGURE\t%s\t%g\t%s\n", figure.label.c_str(), figure.value,
                Limit(figure.limit).c_str());
  benchmark::Shutdown();
  return 0;
}

}  // namespace byod::bench
