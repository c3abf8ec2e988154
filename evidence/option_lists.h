// SPDX-License-Identifier: Apache-2.0
// Known DHCP option lists that resemble another list.
//
// Clients of one family ask for almost the same options in almost the same order, and a new version
// asks for one more. How much two lists resemble each other is the share of options that they have
// in common in the same order: twice the length of their longest common subsequence by the sum of
// their lengths, in percent.
#ifndef BYOD_EVIDENCE_OPTION_LISTS_H
#define BYOD_EVIDENCE_OPTION_LISTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "evidence/rule.h"

namespace byod::evidence {

/// What the lists say that resemble a list most.
struct Nearest {
  double similarity = 0;  ///< in percent; 0 = there is no such list
  const Rule* rule = nullptr;
  /// By field; empty where they say nothing, or not the same.
  std::array<std::string_view, kFieldCount> values;
};

/// The numbers of a list, "1,3,6", that was checked.
std::vector<uint8_t> OptionsOf(std::string_view text);

/// Of lists of up to 64 options, twice the length of the longest common subsequence in percent of
/// the sum of both lengths.
double SimilarityOf(std::span<const uint8_t> a, std::span<const uint8_t> b);

class OptionLists {
 public:
  /// @param rule  its text is a list, "1,3,6"; one above 64 options is not taken
  void Add(Rule rule);

  /// To be called after the last Add.
  void Arrange();

  size_t size() const { return lists_.size(); }

  /// @return nothing for a list that is known itself, since its own rule has answered
  Nearest Find(std::span<const uint8_t> options, double min_similarity) const;

 private:
  struct List {
    Rule rule;
    std::vector<uint8_t> options;
  };

  /// What most lists are passed over by.
  struct Outline {
    uint64_t signature;
    size_t size;
  };

  static void Take(const List& list, double similarity, Nearest& nearest);

  std::vector<List> lists_;  // by length
  std::vector<Outline> outlines_;
};

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_OPTION_LISTS_H
