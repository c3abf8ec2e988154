// SPDX-License-Identifier: Apache-2.0
#include "lint/shadows.h"

#include <algorithm>

namespace byod::lint {

void Shadows::Add(size_t rule, const Terms& terms) {
  const auto uses = [this](std::string_view term) {
    const auto filed = filed_.find(term);
    return filed == filed_.end() ? 0 : filed->second.size();
  };
  const std::string_view rarest = *std::ranges::min_element(terms, {}, uses);
  if (lengths_.size() <= rarest.size()) lengths_.resize(rarest.size() + 1);
  lengths_[rarest.size()] = true;
  filed_[rarest].push_back({count_++, rule, terms});
}

std::optional<size_t> Shadows::Find(const Terms& terms) const {
  const Filed* first = nullptr;
  for (const std::string_view term : terms) {
    const size_t longest = std::min(term.size() + 1, lengths_.size());
    for (size_t length = 1; length < longest; ++length) {
      if (!lengths_[length]) continue;
      for (size_t at = 0; at + length <= term.size(); ++at) {
        const auto filed = filed_.find(term.substr(at, length));
        if (filed == filed_.end()) continue;
        for (const Filed& candidate : filed->second) {
          if (first != nullptr && first->order <= candidate.order) break;
          if (Implies(terms, candidate.terms)) first = &candidate;
        }
      }
    }
  }
  if (first == nullptr) return std::nullopt;
  return first->rule;
}

}  // namespace byod::lint
