// SPDX-License-Identifier: Apache-2.0
#include "data/containers/word_hash.h"

#include <sys/auxv.h>

namespace byod::data {

namespace {

/// A sequence of numbers that look random (SplitMix64).
class Sequence {
 public:
  constexpr explicit Sequence(uint64_t state) : state_(state) {}

  constexpr uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15;
    uint64_t number = state_;
    number = (number ^ number >> 30) * 0xBF58476D1CE4E5B9;
    number = (number ^ number >> 27) * 0x94D049BB133111EB;
    return number ^ number >> 31;
  }

 private:
  uint64_t state_;
};

constexpr HashKey MakeHashKey(uint64_t one, uint64_t other) {
  Sequence first(one);
  Sequence second(other);
  HashKey key = {};
  for (uint64_t& word : key.words)
    word = first.Next() ^ second.Next();
  key.length = (first.Next() ^ second.Next()) | 1;
  key.sum = (first.Next() ^ second.Next()) | 1;
  key.window = (first.Next() ^ second.Next()) | 1;
  return key;
}

}  // namespace

constinit HashKey hash_key = MakeHashKey(1, 2);

void DrawHashKey() {
  static bool drawn = false;
  if (drawn) return;
  drawn = true;
  // Sixteen bytes that no other process knows, without a system call.
  const auto* const random = reinterpret_cast<const void*>(getauxval(AT_RANDOM));
  if (random == nullptr) return;
  uint64_t seeds[2];
  std::memcpy(seeds, random, sizeof seeds);
  hash_key = MakeHashKey(seeds[0], seeds[1]);
}

}  // namespace byod::data
