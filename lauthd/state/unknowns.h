// SPDX-License-Identifier: Apache-2.0
// The fingerprints with a part that no rule matched, for an administrator who looks for missing
// rules.
#ifndef LAUTHD_STATE_UNKNOWNS_H
#define LAUTHD_STATE_UNKNOWNS_H

#include <cstdint>
#include <list>
#include <string_view>
#include <unordered_map>

#include "byod_data.h"

namespace byod::lauthd {

class Unknowns {
 public:
  struct Entry {
    ByodFingerPrint fingerprint;
    uint32_t unmatched;  // when it was seen last: 1 << BYOD_METHOD_*
    uint64_t seen;
    uint64_t first_time;  // microseconds since 1970
    uint64_t last_time;
  };

  /// Records a fingerprint; when all places are taken, it replaces the one seen longest ago.
  /// Without memory the fingerprint is skipped and nothing changes.
  void Note(const ByodFingerPrint& fingerprint, uint32_t unmatched, uint64_t now);

  void Clear();

  /// Most recently seen first.
  const std::list<Entry>& entries() const { return entries_; }

  static constexpr size_t kRoom = 256;

 private:
  std::list<Entry> entries_;
  // Over the bytes of the fingerprints in the list.
  std::unordered_map<std::string_view, std::list<Entry>::iterator> index_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_UNKNOWNS_H
