// SPDX-License-Identifier: Apache-2.0
#include "evidence/prefix_table.h"

#include <algorithm>
#include <utility>

namespace byod::evidence {

void PrefixTable::Add(Rule rule) {
  std::string folded = Folded(rule.text);
  entries_.push_back({std::move(rule), std::move(folded)});
}

// All texts that begin a text stand before it. The one directly before it either begins it, or
// shares with it the texts that do.
void PrefixTable::Arrange() {
  std::ranges::sort(entries_, {}, &Entry::folded);
  for (size_t i = 1; i < entries_.size(); ++i) {
    size_t shorter = i - 1;
    while (shorter != kNone && !entries_[i].folded.starts_with(entries_[shorter].folded))
      shorter = entries_[shorter].shorter;
    entries_[i].shorter = shorter;
  }
}

/// @return the last entry that is not behind a text in byte order, or kNone
size_t PrefixTable::LastNotBehind(std::string_view folded) const {
  const auto behind = std::ranges::upper_bound(entries_, folded, {}, &Entry::folded);
  return behind == entries_.begin() ? kNone : static_cast<size_t>(behind - entries_.begin()) - 1;
}

}  // namespace byod::evidence
