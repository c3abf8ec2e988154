// What texts are compared by without regard to case: words instead of characters.
#ifndef BYOD_DATA_TEXT_KEY_H
#define BYOD_DATA_TEXT_KEY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/word_hash.h"

namespace byod::data {

/**
 * A text of characters from ',' to ';' alone, as those of options are, has half a byte a character:
 *
 *     text          1  2  1  ,  3  ,  6
 *     half bytes    1  2  1 12  3 12  6      two to a byte, the second one from eight bytes on
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
    for (size_t i = 0; i < WordsOf(kind); ++i)
      differing |= words[i] ^ words_[i];
    return differing == 0;
  }

  uint16_t kind() const { return kind_; }
  const uint64_t* words() const { return words_; }
  uint32_t hash() const { return hash_; }

  /// How many bytes the words of a kind of text have.
  static size_t BytesOf(uint16_t kind) { return WordsOf(kind) * sizeof(uint64_t); }

  static uint32_t HashOf(uint16_t kind, const uint64_t* words);

 private:
  static size_t WordsOf(uint16_t kind) {
    const size_t blocks = (std::max(kind / 2u, 1u) + kBlockBytes - 1) / kBlockBytes;
    return blocks * (kind % 2 != 0 ? kBlockWords / 2 : kBlockWords);
  }

  uint64_t words_[BYOD_RULETEXT_SIZE / sizeof(uint64_t)];
  uint32_t hash_ = 0;
  uint16_t kind_ = 0;  // twice its length, and one more if it is packed
};

}  // namespace byod::data

#endif  // BYOD_DATA_TEXT_KEY_H
