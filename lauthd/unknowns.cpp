#include "lauthd/unknowns.h"

#include <cstring>

namespace byod::lauthd {
namespace {

std::string_view BytesOf(const ByodFingerPrint& fingerprint) {
  return {reinterpret_cast<const char*>(&fingerprint), sizeof fingerprint};
}

}  // namespace

void Unknowns::Note(const ByodFingerPrint& fingerprint, uint64_t now) {
  if (const auto found = index_.find(BytesOf(fingerprint)); found != index_.end()) {
    entries_.splice(entries_.begin(), entries_, found->second);
    ++found->second->seen;
    found->second->last_time = now;
    return;
  }
  if (entries_.size() == kRoom) {
    index_.erase(BytesOf(entries_.back().fingerprint));
    entries_.pop_back();
  }
  entries_.push_front({fingerprint, 1, now, now});
  index_.emplace(BytesOf(entries_.front().fingerprint), entries_.begin());
}

void Unknowns::Clear() {
  index_.clear();
  entries_.clear();
}

}  // namespace byod::lauthd
