// Rules by text without regard to case, beside the chains of a HASH_* table.
#ifndef BYOD_DATA_TEXT_INDEX_H
#define BYOD_DATA_TEXT_INDEX_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/block_pool.h"
#include "data/open_table.h"

namespace byod::data {

/**
 * Holds the newest rule of each text: the one that stands first in its chain. The chains of 1024
 * buckets grow long with many rules; this table does not. It has the texts in copies of its own,
 * close together, so that a search need not go to the rules.
 *
 * It keeps count of its rules. Where the count differs from the rule table's, other hands have
 * changed the chains, and they are to be asked.
 */
class TextIndex {
 public:
  /// Makes all that a rule with this text needs. @return false without memory; nothing has changed
  /// then
  bool Prepare(const char* text);

  /// Takes in the newest rule, whose text has been prepared last.
  void Insert(const char* text, void* rule);

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
    const OpenTable::Slot* const slot = SlotOf(text);
    if (slot == nullptr) return;
    Text& kept = *static_cast<Text*>(slot->item);
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

  /// Forgets all rules and gives the memory back.
  void Clear();

 private:
  /// A text in lower case, filled up with NUL to whole blocks of words, which follow it. Aligned as
  /// they are, also where a pointer is narrower.
  struct alignas(uint64_t) Text {
    void* newest;
    uint32_t older;  // how many rules the newest hides
    uint32_t word_count;

    size_t Bytes() const { return BytesFor(word_count); }
    static size_t BytesFor(size_t words) { return sizeof(Text) + words * sizeof(uint64_t); }

    uint64_t* words() { return reinterpret_cast<uint64_t*>(this + 1); }
    const uint64_t* words() const { return reinterpret_cast<const uint64_t*>(this + 1); }
  };
  static_assert(sizeof(Text) % alignof(uint64_t) == 0);

  OpenTable::Slot* SlotOf(const char* text) const;
  void DropPrepared();
  void Drop(const OpenTable::Slot& slot);

  BlockPool pool_;
  OpenTable texts_;  // a slot's note: the text's words
  Text* prepared_ = nullptr;
  uint32_t rules_ = 0;
};

}  // namespace byod::data

#endif  // BYOD_DATA_TEXT_INDEX_H
