#include "data/text_key.h"

#include <algorithm>
#include <cstring>

#include "data/fold_case.h"

namespace byod::data {

namespace {

constexpr uint64_t kEach = 0x0101010101010101;

/// Whether all bytes of some words are characters from ',' to ';'.
class OptionCharacters {
 public:
  void Add(uint64_t word) {
    bytes_ |= word;
    moved_ |= word + (0x80 - ',') * kEach;  // those are 0x80 to 0x8F now
  }

  /// A byte above 127 may have spoilt others when it was moved.
  bool Alone() const { return ((bytes_ & 0x80 * kEach) | (moved_ & 0x70 * kEach)) == 0; }

 private:
  uint64_t bytes_ = 0;
  uint64_t moved_ = 0;
};

/// The lower half of each byte tells the characters from ',' to ';' apart.
uint64_t Pack(uint64_t lower, uint64_t upper) {
  return (lower & 0x0F * kEach) | (upper & 0x0F * kEach) << 4;
}

}  // namespace

bool TextKey::Make(const char* text) {
  const size_t length = std::strlen(text);
  if (length >= BYOD_RULETEXT_SIZE) return false;
  char filled_up[sizeof(uint64_t)];
  if (length < sizeof filled_up) {
    std::memset(filled_up, ',', sizeof filled_up);
    std::copy_n(text, length, filled_up);
    text = filled_up;
  }
  // What would reach beyond the end is the last word once more: no byte outside of the text is
  // read, and no branch depends on where in a block the text ends.
  const size_t last = std::max(length, sizeof filled_up) - sizeof filled_up;
  const auto word_at = [=](size_t at) {
    uint64_t word;
    std::memcpy(&word, text + std::min(at, last), sizeof word);
    return word;
  };

  // As if it were an option's text. Nothing that is stored is loaded again: to wait for bytes that
  // have just been stored would take longer than all else.
  OptionCharacters characters;
  WordHash hash;
  uint64_t* out = words_;
  size_t at = 0;
  do {
    const uint64_t block[] = {word_at(at), word_at(at + 8), word_at(at + 16), word_at(at + 24)};
    for (const uint64_t word : block)
      characters.Add(word);
    out[0] = Pack(block[0], block[1]);
    out[1] = Pack(block[2], block[3]);
    hash.AddPair(out[0], out[1]);
    out += kBlockWords / 2;
    at += kBlockBytes;
  } while (at < length);
  kind_ = static_cast<uint16_t>(2 * length + 1);
  hash_ = hash.Get();
  if (characters.Alone()) return true;

  kind_ = static_cast<uint16_t>(2 * length);
  for (size_t i = 0; i < WordsOf(kind_); ++i)
    words_[i] = FoldCase(word_at(i * sizeof(uint64_t)));
  hash_ = HashOf(kind_, words_);
  return true;
}

uint32_t TextKey::HashOf(uint16_t kind, const uint64_t* words) {
  WordHash hash;
  for (size_t i = 0; i < WordsOf(kind); i += 2)
    hash.AddPair(words[i], words[i + 1]);
  return hash.Get();
}

}  // namespace byod::data
