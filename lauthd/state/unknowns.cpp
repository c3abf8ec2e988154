// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/unknowns.h"

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
    fresh.push_front({fingerprint, unmatched, 1, now, now});
    index_.emplace(BytesOf(fresh.front().fingerprint), fresh.begin());
    // From here on nothing can fail: list and index always hold the same.
    entries_.splice(entries_.begin(), fresh);
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

}  // namespace byod::lauthd
