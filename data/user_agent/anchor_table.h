// SPDX-License-Identifier: Apache-2.0
// Where in a string one of many terms may occur: docs/performance.md, "User-Agent rules".
#ifndef BYOD_DATA_USER_AGENT_ANCHOR_TABLE_H
#define BYOD_DATA_USER_AGENT_ANCHOR_TABLE_H

#include <bit>
#include <cstddef>
#include <cstdint>

#include "data/containers/open_table.h"
#include "data/user_agent/entry.h"
#include "data/user_agent/gram.h"

namespace byod::data {

/**
 * A table of terms by a piece of each, its window, with filters in front.
 *
 * A window is eight bytes of a term, four of a term of four to seven bytes, all of a shorter one.
 * The last bytes of it are what a string is looked through for, at every other place alone:
 *
 *     term       S a m s u n g   S M - G 9 6 0 F
 *     window                     S M - G 9 6 0 F
 *     grams                              6 0 F         one of them begins at an even place,
 *                                      9 6 0           wherever the term stands
 *
 * Where a gram is met, the windows that may end there are looked for. Both are asked of filters of
 * bits first, so few places of a string lead to a slot of the table. Terms of up to three bytes are
 * looked for by pairs of bytes, at every other place, too.
 *
 * Terms with the same window, or with windows of one hash, are a list that begins in the table, so
 * that a term comes and goes in a few steps however many terms share its window.
 *
 * A filter may pass what the table does not hold any more: bits are shared, and they are set again
 * from scratch once many terms have left.
 */
class AnchorTable {
 public:
  using Slot = OpenTable::Slot;

  /// Makes room for more terms. @return false without memory; nothing has changed then
  bool Reserve(size_t more);

  /// Chooses the term's window and takes it in. Room is reserved.
  void Insert(Term& term);
  void Erase(const Term& term);
  void Clear();

  bool empty() const { return size_ == 0; }
  size_t bytes() const { return table_.bytes() + (gram_words_ + window_words_) * sizeof *grams_; }

  /// Whether a term's gram may begin with these three bytes; a fourth one does not count. As for
  /// the other filters, only for a table that has had room.
  bool MayBeGram(Gram gram) const { return Passes(grams_, gram_words_, HashOfThree(gram)); }

  /// Whether there are terms of up to three bytes; of this very length.
  bool AnyShort() const { return short_terms_[0] + short_terms_[1] + short_terms_[2] != 0; }
  bool AnyOfLength(size_t length) const { return short_terms_[length - 1] != 0; }

  /// Whether two bytes may belong to a term of up to three.
  bool MayBePair(char first, char second) const {
    return (first_[static_cast<uint8_t>(first)] & second_[static_cast<uint8_t>(second)]) != 0;
  }

  /// Whether a window of this hash may be that of a term.
  bool MayBeWindow(uint32_t hash) const { return Passes(windows_, window_words_, hash); }

  /// Has the processor fetch what VisitWindow of this hash will look at.
  void Prefetch(uint32_t hash) const { table_.Prefetch(hash); }

  /// Calls visit(term, note) for every term whose window has this hash.
  template <typename Visit>
  void VisitWindow(uint32_t hash, Visit visit) const {
    const Slot* const slot = FirstOf(hash);
    if (slot == nullptr) return;
    auto note = std::bit_cast<AnchorNote>(slot->note);
    const Term* term = static_cast<const Term*>(slot->item);
    visit(*term, note);
    while (note.MoreFollow()) {
      term = term->next_in_window;
      note = term->NoteOfAnchor();
      visit(*term, note);
    }
  }

 private:
  /// The slot of a window's first term, or null.
  Slot* FirstOf(uint32_t hash) const {
    return table_.Find(hash, [](const Slot&) { return true; });
  }
  static void SetFirst(Slot& slot, Term& term) {
    slot.item = &term;
    slot.note = std::bit_cast<uint32_t>(term.NoteOfAnchor());
  }

  static bool Passes(const uint32_t* words, size_t count, uint32_t hash) {
    return (words[hash & (count - 1)] >> (hash >> 27) & 1) != 0;
  }
  static void Pass(uint32_t* words, size_t count, uint32_t hash) {
    words[hash & (count - 1)] |= uint32_t{1} << (hash >> 27);
  }

  size_t CostOfGram(Gram gram) const;
  void ChooseWindow(Term& term) const;
  void Unlink(const Term& term);
  void FillFilters();
  void AddToFilters(const Term& term, uint32_t hash);
  void AddPair(size_t first, size_t second);

  OpenTable table_;  // the first term of each window, by the window's hash
  uint32_t* grams_ = nullptr;
  uint32_t* windows_ = nullptr;  // behind the grams, in the same memory
  size_t gram_words_ = 0;        // powers of two
  size_t window_words_ = 0;
  size_t size_ = 0;  // terms
  size_t left_ = 0;  // terms since the filters were filled
  size_t short_terms_[3] = {};
  // Of a pair, both bytes have the bit that the second one names.
  uint8_t first_[256] = {};
  uint8_t second_[256] = {};
};

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_ANCHOR_TABLE_H
