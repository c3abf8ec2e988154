// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/unknowns.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace byod::lauthd {
namespace {

std::string_view BytesOf(const ByodFingerPrint& fingerprint) {
  return {reinterpret_cast<const char*>(&fingerprint), sizeof fingerprint};
}

}  // namespace

void Unknowns::Note(const ByodFingerPrint& fingerprint, uint32_t unmatched, uint64_t now) {
  if (const auto found = index_.find(BytesOf(fingerprint)); found != index_.end()) {
    entries_.splice(entries_.begin(), entries_, found->second);
    ++found->second->seen;
    found->second->unmatched = unmatched;
    found->second->last_time = now;
    return;
  }
  try {
    std::list<Entry> fresh;
    fresh.push_front({fingerprint, unmatched, 1, now, now, last_number_ + 1});
    index_.emplace(BytesOf(fresh.front().fingerprint), fresh.begin());
    // From here on nothing can fail: list and index always hold the same.
    entries_.splice(entries_.begin(), fresh);
    ++last_number_;
  } catch (const std::bad_alloc&) {
    return;
  }
  if (entries_.size() <= kRoom) return;
  index_.erase(BytesOf(entries_.back().fingerprint));
  entries_.pop_back();
}

void Unknowns::Clear() {
  index_.clear();
  entries_.clear();
}

std::vector<uint64_t> Unknowns::Numbers() const {
  std::vector<uint64_t> numbers;
  numbers.reserve(entries_.size());
  std::ranges::transform(entries_, std::back_inserter(numbers), &Entry::number);
  return numbers;
}

const Unknowns::Entry* Unknowns::Find(uint64_t number) const {
  const auto found = std::ranges::find(entries_, number, &Entry::number);
  return found != entries_.end() ? &*found : nullptr;
}

}  // namespace byod::lauthd
