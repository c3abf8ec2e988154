// SPDX-License-Identifier: Apache-2.0
// Other ways to the first match of a User-Agent: general multi-pattern matchers that find the
// terms, and the conjunctions put together by hand behind them.
#ifndef BYOD_BENCH_FIRST_MATCH_CONTENDERS_H
#define BYOD_BENCH_FIRST_MATCH_CONTENDERS_H

#include <hs/hs.h>
#include <re2/set.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace byod::bench {

/**
 * Expressions in match order, taken apart into numbered terms. Every alternative hangs on the term
 * that the fewest alternatives hold, so that few alternatives are looked at for the terms found.
 */
class Conjunctions {
 public:
  static constexpr uint32_t kNone = UINT32_MAX;

  explicit Conjunctions(const std::vector<std::string>& expressions);

  const std::vector<std::string>& terms() const { return terms_; }
  size_t bytes() const;

  /// Begins with a string; Saw is then called for every term found, with or without repetition.
  void Begin() {
    ++round_;
    found_.clear();
  }
  void Saw(uint32_t term) {
    if (seen_[term] == round_) return;
    seen_[term] = round_;
    found_.push_back(term);
  }
  /// The rank of the first expression that matches, or kNone.
  uint32_t First() const;

 private:
  struct Alternative {
    uint32_t rank;
    uint32_t first_term;  // in others_
    uint32_t term_count;
  };

  std::vector<std::string> terms_;
  std::vector<std::vector<Alternative>> anchored_;  // by term, in match order
  std::vector<uint32_t> others_;
  uint32_t always_ = kNone;
  std::vector<uint32_t> seen_;
  std::vector<uint32_t> found_;
  uint32_t round_ = 0;
};

/// Hyperscan over the terms as literals.
class HyperscanMatcher {
 public:
  explicit HyperscanMatcher(const std::vector<std::string>& expressions);
  ~HyperscanMatcher();
  uint32_t First(const std::string& ua);
  size_t bytes() const;

 private:
  Conjunctions conjunctions_;
  hs_database_t* database_ = nullptr;
  hs_scratch_t* scratch_ = nullptr;
};

/// RE2::Set over the terms, quoted.
class Re2Matcher {
 public:
  explicit Re2Matcher(const std::vector<std::string>& expressions);
  uint32_t First(const std::string& ua);

 private:
  Conjunctions conjunctions_;
  std::unique_ptr<RE2::Set> set_;
  std::vector<int> matches_;
};

}  // namespace byod::bench

#endif  // BYOD_BENCH_FIRST_MATCH_CONTENDERS_H
