// SPDX-License-Identifier: Apache-2.0
// Texts that many records share, each stored once.
#ifndef LAUTHD_STATIONS_TEXT_POOL_H
#define LAUTHD_STATIONS_TEXT_POOL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "lauthd/stations/chain_index.h"
#include "lauthd/stations/keyed_hash.h"

namespace byod::lauthd {

/// Names a text of a pool. 0 = the empty text.
using TextId = uint32_t;

class TextPool {
 public:
  TextPool() : index_(*this) {}
  TextPool(const TextPool&) = delete;
  TextPool& operator=(const TextPool&) = delete;

  static constexpr size_t kMaxLength = UINT16_MAX;

  /// Takes a reference, to be released once. @param text  at most kMaxLength bytes
  /// @throws std::bad_alloc, with nothing changed
  TextId Acquire(std::string_view text);
  /// Takes another reference to a text that is referred to.
  TextId Share(TextId id);
  void Release(TextId id);

  /// Makes `id` refer to another text. @throws std::bad_alloc, with nothing changed
  void Assign(TextId& id, std::string_view text);

  /// @return the id of a text; kNoElement for one that is not in the pool
  TextId Find(std::string_view text) const;

  /// @return the text, with a NUL behind it unless it is empty; valid as long as it is referred to
  std::string_view Text(TextId id) const;

  size_t size() const { return index_.size(); }

  // For the index.
  uint32_t& Next(uint32_t number) { return entries_[number].next; }
  uint64_t HashOf(uint32_t number) const;

 private:
  struct Entry {
    std::unique_ptr<char[]> text;
    uint32_t references = 0;
    uint32_t next = kNoElement;  // in its chain, or of the free ones
    uint16_t length = 0;
  };

  uint32_t FreeNumber();

  KeyedHash hash_;
  std::vector<Entry> entries_;  // text `id` is at id - 1
  uint32_t free_ = kNoElement;
  ChainIndex<TextPool> index_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_TEXT_POOL_H
