// A hash of texts, for tables in memory: it differs between machines.
#ifndef BYOD_DATA_WORD_HASH_H
#define BYOD_DATA_WORD_HASH_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace byod::data {

/// Texts are hashed by blocks of so many words: few branches, whatever the length.
constexpr size_t kBlockWords = 4;
constexpr size_t kBlockBytes = kBlockWords * sizeof(uint64_t);

class WordHash {
 public:
  void AddPair(uint64_t first, uint64_t second) {
    Mix(first * 0x9E3779B97F4A7C15 + second * 0xC2B2AE3D27D4EB4F);
  }

  void AddBlock(const uint64_t* words) {
    Mix(words[0] * 0x9E3779B97F4A7C15 + words[1] * 0xC2B2AE3D27D4EB4F +
        words[2] * 0xD6E8FEB86659FD93 + words[3] * 0xA0761D6478BD642F);
  }

  uint32_t Get() const { return static_cast<uint32_t>(hash_ >> 32); }

 private:
  void Mix(uint64_t sum) {
    hash_ ^= sum;
    hash_ ^= hash_ >> 32;
    hash_ *= 0x9E3779B97F4A7C15;
  }

  uint64_t hash_ = 0;
};

inline uint32_t HashOfText(const char* text, size_t length) {
  WordHash hash;
  uint64_t block[kBlockWords];
  for (; length > kBlockBytes; text += kBlockBytes, length -= kBlockBytes) {
    std::memcpy(block, text, kBlockBytes);
    hash.AddBlock(block);
  }
  std::memset(block, 0, sizeof block);
  std::memcpy(block, text, length);
  hash.AddBlock(block);
  return hash.Get();
}

}  // namespace byod::data

#endif  // BYOD_DATA_WORD_HASH_H
