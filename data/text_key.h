// What texts are compared by without regard to case: words instead of characters.
#ifndef BYOD_DATA_TEXT_KEY_H
#define BYOD_DATA_TEXT_KEY_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/word_hash.h"

namespace byod::data {

/**
 * A text of characters from ',' to ';' alone, as those of options are, has half a byte a character:
 *
 *     text          1  2  1  ,  3  ,  6
 *     half bytes    5  6  5  0  7  0 10      two to a byte, the second one from eight bytes on
 *
 * Any other text has its bytes, in lower case.
 */
class TextKey {
 public:
  /// @return false for a text that is longer than that of any rule
  bool Make(const char* text);

  /// Whether this is the key of the text with these words.
  bool Is(uint16_t kind, const uint64_t* words) const {
    if (kind != kind_) return false;
    uint64_t differing = 0;
    for (size_t i = 0; i < BytesOf(kind) / sizeof *words; ++i)
      differing |= words[i] ^ words_[i];
    return differing == 0;
  }

  uint16_t kind() const { return kind_; }
  const uint64_t* words() const { return words_; }
  uint32_t hash() const { return HashOf(kind_, words_); }

  /// How many bytes the words of a kind of text have.
  static size_t BytesOf(uint16_t kind) {
    const size_t blocks = (kind / 2u + kBlockBytes - 1) / kBlockBytes;
    return blocks * (IsPacked(kind) ? kBlockBytes / 2 : kBlockBytes);
  }

  static uint32_t HashOf(uint16_t kind, const uint64_t* words);

 private:
  static bool IsPacked(uint16_t kind) { return kind % 2 != 0; }

  uint64_t words_[BYOD_RULETEXT_SIZE / sizeof(uint64_t)];
  uint16_t kind_ = 0;  // twice its length, and one more if it is packed
};

}  // namespace byod::data

#endif  // BYOD_DATA_TEXT_KEY_H
