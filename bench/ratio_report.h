// SPDX-License-Identifier: Apache-2.0
// Runs the registered benchmarks and prints how their times compare.
#ifndef BYOD_BENCH_RATIO_REPORT_H
#define BYOD_BENCH_RATIO_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

namespace byod::bench {

/// A line of the report: the time of one benchmark in times of another, or of a whole group: the
/// geometric mean of the ratios.
struct Ratio {
  struct Pair {
    std::string measured;  // names of benchmarks
    std::string against;   // empty: a nanosecond
  };
  std::string label;
  std::vector<Pair> pairs;
  double limit = 0;  // at most; 0 = reported only
};

/// A figure that is not a ratio of times.
struct Figure {
  std::string label;
  double value;
  double limit = 0;
};

/// The seed of this run: from the environment variable BYOD_BENCH_SEED, else 1.
uint32_t Seed();

/**
 * Runs every registered benchmark several times in mixed order and prints, besides the usual table,
 * a line for each ratio (of the medians) and figure:
 *
 *     RATIO <tab> label <tab> value <tab> limit or "-" <tab> ns <tab> ns against
 *     FIGURE <tab> label <tab> value <tab> limit or "-"
 *
 * @return the program's exit code
 */
int RunAndReport(int argc, char** argv, const std::vector<Ratio>& ratios,
                 const std::vector<Figure>& figures = {});

/// Ends the program with a message unless what is measured answers right.
void Require(bool condition, const std::string& message);

}  // namespace byod::bench

#endif  // BYOD_BENCH_RATIO_REPORT_H
