// SPDX-License-Identifier: Apache-2.0
// Rules for texts by how they begin. The longest beginning that is known counts.
#ifndef BYOD_EVIDENCE_PREFIX_TABLE_H
#define BYOD_EVIDENCE_PREFIX_TABLE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "evidence/rule.h"

namespace byod::evidence {

class PrefixTable {
 public:
  /// @param rule  no other one has the same text, without regard to case
  void Add(Rule rule);

  /// To be called after the last Add.
  void Arrange();

  size_t size() const { return entries_.size(); }
  const Rule& operator[](size_t i) const { return entries_[i].rule; }

  /// Hands over each rule whose text begins another text, the longest first, until one is taken.
  /// @param take  bool(const Rule&), whether to stop
  template <typename Take>
  void Find(std::string_view text, Take take) const {
    const std::string folded = Folded(text);
    for (size_t i = LastNotBehind(folded); i != kNone; i = entries_[i].shorter) {
      if (folded.starts_with(entries_[i].folded) && take(entries_[i].rule)) return;
    }
  }

 private:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  struct Entry {
    Rule rule;
    std::string folded;
    size_t shorter = kNone;  // the longest other text that begins this one
  };

  size_t LastNotBehind(std::string_view folded) const;

  std::vector<Entry> entries_;  // by folded text
};

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_PREFIX_TABLE_H
