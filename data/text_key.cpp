#include "data/text_key.h"

#include <algorithm>
#include <cstring>

#include "data/fold_case.h"

namespace byod::data {

namespace {

constexpr uint64_t kEach = 0x0101010101010101;

uint64_t LoadWord(const char* text) {
  uint64_t word;
  std::memcpy(&word, text, sizeof word);
  return word;
}

/// Fills whole blocks with a text. What is left of the last block is filled with bytes once more,
/// loaded as words: to wait for bytes that have just been stored would take longer than all else.
void FillBlocks(uint64_t* words, const char* text, size_t length) {
  if (length >= kBlockBytes) {
    for (size_t at = 0; at < length; at += kBlockBytes) {
      for (size_t i = 0; i < kBlockWords; ++i)
        *words++ = LoadWord(text + std::min(at, length - kBlockBytes) + i * sizeof *words);
    }
  } else if (length >= kBlockBytes / 2) {
    words[0] = LoadWord(text);
    words[1] = LoadWord(text + 8);
    words[2] = LoadWord(text + length - 16);
    words[3] = LoadWord(text + length - 8);
  } else if (length > 0) {
    std::fill_n(words, kBlockWords, ',' * kEach);
    std::memcpy(words, text, length);
  }
}

/// Moves the characters from ',' to ';' to 0 to 15 in the lower half of their byte, and 8 into the
/// upper half. A byte above 127 may spoil others.
uint64_t ToHalves(uint64_t bytes) {
  return bytes + (0x80 - ',') * kEach;
}

}  // namespace

bool TextKey::Make(const char* text) {
  const size_t length = std::strlen(text);
  if (length >= BYOD_RULETEXT_SIZE) return false;
  FillBlocks(words_, text, length);
  const uint64_t* const end = words_ + (length + kBlockBytes - 1) / kBlockBytes * kBlockWords;
  uint64_t bits = 0;
  uint64_t halves = 0;
  for (const uint64_t* word = words_; word != end; ++word) {
    bits |= *word;
    halves |= ToHalves(*word) ^ 0x80 * kEach;
  }
  const bool packed = (bits & 0x80 * kEach) == 0 && (halves & 0xF0 * kEach) == 0;
  kind_ = static_cast<uint16_t>(2 * length + packed);
  if (packed) {
    uint64_t* out = words_;
    for (const uint64_t* word = words_; word != end; word += 2)
      *out++ = (ToHalves(word[0]) & 0x0F * kEach) | (ToHalves(word[1]) & 0x0F * kEach) << 4;
  } else {
    for (uint64_t* word = words_; word != end; ++word)
      *word = FoldCase(*word);
  }
  return true;
}

uint32_t TextKey::HashOf(uint16_t kind, const uint64_t* words) {
  WordHash hash;
  const uint64_t* const end = words + BytesOf(kind) / sizeof *words;
  if (IsPacked(kind)) {
    for (; words != end; words += kBlockWords / 2) {
      const uint64_t block[kBlockWords] = {words[0], words[1], 0, 0};
      hash.AddBlock(block);
    }
  } else {
    for (; words != end; words += kBlockWords)
      hash.AddBlock(words);
  }
  return hash.Get();
}

}  // namespace byod::data
