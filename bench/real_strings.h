// SPDX-License-Identifier: Apache-2.0
// What the benchmarks are run on: strings of real terminals where a corpus is at hand, and rules
// made of them.
#ifndef BYOD_BENCH_REAL_STRINGS_H
#define BYOD_BENCH_REAL_STRINGS_H

#include <cstdint>
#include <string>
#include <vector>

namespace byod::bench {

/**
 * The first column of a file of the corpus: of the folder that the environment variable BYOD_CORPUS
 * names, else of shared/corpus beside the source tree.
 *
 * @param file  such as "useragents.tsv"
 * @return the distinct texts in the order of the file; empty if there is no such file
 */
std::vector<std::string> ReadCorpus(const std::string& file);

/// Up to 255 characters each, at least count of them: the corpus, else made up.
std::vector<std::string> UserAgents(size_t count, uint32_t seed);

/// Distinct option list texts: those of the corpus first, then variations of them.
std::vector<std::string> OptionTexts(size_t count, uint32_t seed);

/// Distinct expressions: model names that stand in few of the strings, alone, together with a word
/// that stands in many, or as alternatives; and a few of common words only.
std::vector<std::string> Expressions(const std::vector<std::string>& user_agents, size_t count,
                                     uint32_t seed);

}  // namespace byod::bench

#endif  // BYOD_BENCH_REAL_STRINGS_H
