// SPDX-License-Identifier: Apache-2.0
// A hash of texts, for tables in memory: it differs between machines and between processes.
// docs/performance.md, "Option texts", has the reasons.
#ifndef BYOD_DATA_CONTAINERS_WORD_HASH_H
#define BYOD_DATA_CONTAINERS_WORD_HASH_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "byod_data.h"

namespace byod::data {

/**
 * The random key of all hashes: without it colliding texts cannot be computed. Nothing that a
 * caller sees depends on it: the tables find rules, and lists and chains keep their order.
 */
struct HashKey {
  uint64_t words[BYOD_RULETEXT_SIZE / sizeof(uint64_t)];  // one for each word of a text
  uint64_t length;                                        // these three are odd
  uint64_t sum;
  uint64_t window;
};

extern HashKey hash_key;

/// Draws the key once in a process, from what the kernel gave it at its start. All tables are
/// empty.
void DrawHashKey();

/**
 * The words of a text, each added to its own key, are multiplied half by half and summed. Two
 * texts of one length have equal sums for one key in 2^32, whatever the texts are; texts of
 * different lengths have them even less often, as the length is added times a key. A product with
 * an odd key spreads the sums evenly over the upper bits.
 */
class TextHash {
 public:
  void Add(uint64_t word) {
    const uint64_t key = *key_++;
    const auto lower = static_cast<uint32_t>(word) + static_cast<uint32_t>(key);
    const auto upper = static_cast<uint32_t>(word >> 32) + static_cast<uint32_t>(key >> 32);
    sum_ += uint64_t{lower} * upper;
  }

  uint32_t Get(size_t length) const {
    return static_cast<uint32_t>((sum_ + length * hash_key.length) * hash_key.sum >> 32);
  }

 private:
  const uint64_t* key_ = hash_key.words;
  uint64_t sum_ = 0;
};

/// @param length  less than that of a rule's field
inline uint32_t HashOfText(const char* text, size_t length) {
  TextHash hash;
  uint64_t word;
  size_t at = 0;
  for (; at + sizeof word <= length; at += sizeof word) {
    std::memcpy(&word, text + at, sizeof word);
    hash.Add(word);
  }
  if (at < length) {
    word = 0;
    std::memcpy(&word, text + at, length - at);
    hash.Add(word);
  }
  return hash.Get(length);
}

/// For priorities and for what is found by its address.
inline uint32_t HashOfAddress(const void* address) {
  uint64_t number = reinterpret_cast<uintptr_t>(address) * hash_key.length;
  number ^= number >> 32;
  return static_cast<uint32_t>(number * hash_key.sum >> 32);
}

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_WORD_HASH_H
