// SPDX-License-Identifier: Apache-2.0
// What stands beside the links of the sorted lists, for RankedList.
#ifndef BYOD_DATA_CONTAINERS_LIST_MARKS_H
#define BYOD_DATA_CONTAINERS_LIST_MARKS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "net/byte_order.h"

namespace byod::data {

/// In byte order of texts: a text's first bytes. Where they differ, the texts do in the same way.
class TextMark {
 public:
  static constexpr bool kIsWholeKey = false;

  TextMark() = default;
  explicit TextMark(const char* text) {
    std::memcpy(words_, text, strnlen(text, sizeof words_));
    for (uint64_t& word : words_)
      word = net::BigEndian(word);
  }

  int Compare(const TextMark& other) const {
    const size_t i = words_[0] == other.words_[0] ? 1 : 0;
    return (words_[i] > other.words_[i]) - (words_[i] < other.words_[i]);
  }

 private:
  uint64_t words_[2] = {};
};

struct Entry;

/// Longest first.
struct LengthMark {
  static constexpr bool kIsWholeKey = true;

  size_t length = 0;       // of the expression
  Entry* entry = nullptr;  // what the index of terms keeps of the rule

  int Compare(const LengthMark& other) const {
    return (length < other.length) - (length > other.length);
  }
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_LIST_MARKS_H
