// SPDX-License-Identifier: Apache-2.0
// Rules by text without regard to case, beside the chains of a HASH_* table. docs/performance.md,
// "Option texts", has the reasons.
#ifndef BYOD_DATA_CONTAINERS_TEXT_INDEX_H
#define BYOD_DATA_CONTAINERS_TEXT_INDEX_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/containers/block_pool.h"
#include "data/containers/open_table.h"

namespace byod::data {

/// What texts are compared by: words of eight characters in lower case, by blocks of four.
class FoldedText {
 public:
  /// @return false for a text that is longer than that of any rule
  bool Make(const char* text);

  /// Whether another text of the same length has the same words.
  bool HasWords(const uint64_t* words) const {
    uint64_t differing = 0;
    for (size_t i = 0; i < WordsFor(length_); ++i)
      differing |= words[i] ^ words_[i];
    return differing == 0;
  }

  uint32_t length() const { return length_; }
  uint32_t hash() const { return hash_; }
  const uint64_t* words() const { return words_; }

  static size_t BytesFor(uint32_t length) { return WordsFor(length) * sizeof(uint64_t); }

 private:
  static constexpr size_t kBlockWords = 4;

  /// Whole blocks: fewer branches that could be guessed wrong.
  static size_t WordsFor(uint32_t length) {
    constexpr size_t kBlock = kBlockWords * sizeof(uint64_t);
    return length == 0 ? kBlockWords : (length + kBlock - 1) / kBlock * kBlockWords;
  }

  uint64_t words_[BYOD_RULETEXT_SIZE / sizeof(uint64_t)];
  uint32_t length_ = 0;
  uint32_t hash_ = 0;
};

/**
 * Holds the newest rule of each text: the one that stands first in its chain. The chains of 1024
 * buckets grow long with many rules; this table does not. It keeps its own copies of the texts,
 * close together, so that a search does not read the rules.
 *
 * It keeps count of its rules. Where the count differs from the rule table's, a caller has
 * changed the chains, and they must be searched instead.
 */
class TextIndex {
 public:
  /// Makes all that a rule with this text needs. @return false without memory; nothing has changed
  /// then
  bool Prepare(const char* text);

  /// Takes in the newest rule of the text that has been prepared last; none was taken out since.
  void Insert(void* rule);

  /// @return the newest rule with a text, or null
  void* Find(const char* text) const;

  /**
   * Takes out a rule that has left its chain.
   *
   * @param next_newest  (const char* text) -> the newest of the rules that remain, or null; asked
   *                     only if there is one
   */
  template <typename NextNewest>
  void Remove(const char* text, const void* rule, NextNewest next_newest) {
    FoldedText folded;
    const Slot* const slot = folded.Make(text) ? SlotOf(folded) : nullptr;
    if (slot == nullptr) return;
    Text& kept = TextAt(*slot);
    if (kept.older == 0 && kept.newest != rule) return;
    --rules_;
    if (kept.older == 0) return Drop(*slot);
    --kept.older;
    if (kept.newest != rule) return;
    kept.newest = next_newest(text);
    if (kept.newest == nullptr) Drop(*slot);
  }

  /// How many rules there are, those hidden behind newer ones too.
  uint32_t rules() const { return rules_; }

  /// Forgets all rules and releases the memory.
  void Clear();

 private:
  using Slot = OpenTable::Slot;

  /// A text's rules; the words of the text follow.
  struct alignas(uint64_t) Text {
    void* newest;
    uint32_t older;  // how many rules the newest hides
    uint32_t length;

    static size_t BytesFor(uint32_t length) { return sizeof(Text) + FoldedText::BytesFor(length); }

    uint64_t* words() { return reinterpret_cast<uint64_t*>(this + 1); }
  };

  static Text& TextAt(const Slot& slot) { return *static_cast<Text*>(slot.item); }
  const Slot* SlotOf(const FoldedText& text) const;
  void DropFresh();
  void Drop(const Slot& slot);

  BlockPool pool_;            // of texts
  OpenTable texts_;           // by hash; the note is the length
  Text* prepared_ = nullptr;  // the text that was prepared last, if it has rules
  Text* fresh_ = nullptr;     // that text, if it has none; not in the table yet
  uint32_t fresh_hash_ = 0;
  uint32_t rules_ = 0;
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_TEXT_INDEX_H
