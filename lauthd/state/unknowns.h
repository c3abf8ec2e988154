// SPDX-License-Identifier: Apache-2.0
// The fingerprints with a part that no rule matched, for an administrator who looks for missing
// rules.
#ifndef LAUTHD_STATE_UNKNOWNS_H
#define LAUTHD_STATE_UNKNOWNS_H

#include <cstdint>
#include <list>
#include <string_view>
#include <unordered_map>
#include <vector>

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
    uint64_t number;  // no other entry has or had it
  };

  /// Records a fingerprint; when all places are taken, it replaces the one seen longest ago.
  /// Without memory the fingerprint is skipped and nothing changes.
  void Note(const ByodFingerPrint& fingerprint, uint32_t unmatched, uint64_t now);

  void Clear();

  /// Most recently seen first.
  const std::list<Entry>& entries() const { return entries_; }

  /// The numbers of all entries, most recently seen first. @throws std::bad_alloc
  std::vector<uint64_t> Numbers() const;

  /// @return null when the entry has been replaced
  const Entry* Find(uint64_t number) const;

  static constexpr size_t kRoom = 256;

 private:
  std::list<Entry> entries_;
  uint64_t last_number_ = 0;
  // Over the bytes of the fingerprints in the list.
  std::unordered_map<std::string_view, std::list<Entry>::iterator> index_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_UNKNOWNS_H
