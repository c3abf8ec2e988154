// SPDX-License-Identifier: Apache-2.0
#include "data/user_agent/anchor_table.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "data/user_agent/common_grams.h"

namespace byod::data {

namespace {

// The filter of grams is asked at every other place of a string: it had better stay in the nearest
// cache. That of windows is asked for the few places that are left, and has to be right more often.
constexpr size_t kGramBitsPerSlot = 8;
constexpr size_t kWindowBitsPerSlot = 16;
constexpr size_t kMinBits = size_t{1} << 15;

constexpr size_t kGramWidth = 3;

size_t WordsFor(size_t capacity, size_t bits_per_slot) {
  return std::max(capacity * bits_per_slot, kMinBits) / 32;
}

/// A gram of a term and the byte behind it, its NUL at the latest: four bytes are loaded at once.
Gram GramAt(const char* text) {
  return LoadGram(text, sizeof(Gram));
}

/// Of the window that has been chosen for a term.
uint32_t HashOf(const Term& term) {
  const size_t width = term.WindowWidth();
  return HashOfWindow(LoadWindow(term.text() + term.window_end - width, width));
}

}  // namespace

bool AnchorTable::Reserve(size_t more) {
  // Every lookup passes here, and one that meets a full group goes on to another cache line: of
  // this table no more than half is filled.
  const size_t room = more + (table_.size() + more) / 4;
  const size_t capacity = table_.CapacityFor(room);
  const size_t gram_words = WordsFor(capacity, kGramBitsPerSlot);
  const size_t window_words = WordsFor(capacity, kWindowBitsPerSlot);
  if (gram_words == gram_words_ && window_words == window_words_) return table_.Reserve(room);
  auto* const words =
      static_cast<uint32_t*>(std::malloc((gram_words + window_words) * sizeof *grams_));
  if (words == nullptr) return false;
  if (!table_.Reserve(room)) {
    std::free(words);
    return false;
  }
  std::free(grams_);
  grams_ = words;
  gram_words_ = gram_words;
  windows_ = words + gram_words;
  window_words_ = window_words;
  FillFilters();
  return true;
}

void AnchorTable::Insert(Term& term) {
  ChooseWindow(term);
  if (term.length < kGramWidth + 1) ++short_terms_[term.length - 1];
  const uint32_t hash = HashOf(term);
  ++size_;
  AddToFilters(term, hash);
  term.previous_in_window = nullptr;
  term.next_in_window = nullptr;
  Slot* const slot = FirstOf(hash);
  if (slot == nullptr) {
    return table_.Insert(hash, &term, std::bit_cast<uint32_t>(term.NoteOfAnchor()));
  }
  term.next_in_window = static_cast<Term*>(slot->item);
  term.next_in_window->previous_in_window = &term;
  SetFirst(*slot, term);
}

void AnchorTable::Erase(const Term& term) {
  Unlink(term);
  --size_;
  if (term.length < kGramWidth + 1) --short_terms_[term.length - 1];
  // As many lookups with some bits too many are paid for as it takes to put right all bits.
  constexpr size_t kMinLeft = 64;
  if (++left_ > size_ / 2 + kMinLeft) FillFilters();
}

void AnchorTable::Unlink(const Term& term) {
  Term* const next = term.next_in_window;
  Term* const previous = term.previous_in_window;
  if (next != nullptr) next->previous_in_window = previous;
  if (previous != nullptr) previous->next_in_window = next;
  // What the first term's note says is in the table.
  Slot* const slot = FirstOf(HashOf(term));
  if (slot->item == &term && next == nullptr) return table_.Erase(*slot);
  SetFirst(*slot, slot->item == &term ? *next : *static_cast<Term*>(slot->item));
}

void AnchorTable::Clear() {
  table_.Clear();
  std::free(grams_);
  *this = {};
}

// ------------------------------------------------------------------ windows

/// What one of a window's last two grams costs each lookup, more or less. @param gram  and a byte
size_t AnchorTable::CostOfGram(Gram gram) const {
  constexpr size_t kCommonGram = 1000;
  // Places with a gram that some other term has pass the filter anyhow.
  if (MayBeGram(gram)) return 0;
  return IsCommonGram(FirstThree(gram)) ? kCommonGram : 1;
}

void AnchorTable::ChooseWindow(Term& term) const {
  constexpr size_t kCommonWindow = 10000;
  constexpr size_t kPiece = 4;
  const size_t width = term.WindowWidth();
  term.window_end = term.length;
  if (width == term.length) return;
  // From the end: versions and model numbers differ there.
  size_t least = SIZE_MAX;
  size_t piece = term.length - kPiece + 1;  // the pieces from here on have been looked at
  size_t rare = SIZE_MAX;                   // the first of them that is not common
  size_t last_gram = CostOfGram(GramAt(term.text() + term.length - kGramWidth));
  for (size_t end = term.length; end >= width && least > 0; --end) {
    while (piece > end - width) {
      if (!IsCommonGram(LoadGram(term.text() + --piece, kPiece))) rare = piece;
    }
    const bool common = rare > end - kPiece;
    const size_t gram_before = CostOfGram(GramAt(term.text() + end - kGramWidth - 1));
    const size_t cost = gram_before + last_gram + (common ? kCommonWindow : 0);
    last_gram = gram_before;
    if (cost >= least) continue;
    least = cost;
    term.window_end = static_cast<uint8_t>(end);
  }
}

// ------------------------------------------------------------------ filters

void AnchorTable::FillFilters() {
  std::fill_n(grams_, gram_words_ + window_words_, 0);
  std::fill_n(first_, sizeof first_, uint8_t{0});
  std::fill_n(second_, sizeof second_, uint8_t{0});
  left_ = 0;
  table_.VisitAll([this](const Slot& slot) {
    for (auto* term = static_cast<const Term*>(slot.item); term != nullptr;
         term = term->next_in_window)
      AddToFilters(*term, slot.hash);
  });
}

/// @param hash  of the term's window
void AnchorTable::AddToFilters(const Term& term, uint32_t hash) {
  Pass(windows_, window_words_, hash);
  const char* const text = term.text();
  if (term.length > kGramWidth) {
    const char* const last = text + term.window_end - kGramWidth;
    Pass(grams_, gram_words_, HashOfThree(GramAt(last - 1)));
    Pass(grams_, gram_words_, HashOfThree(GramAt(last)));
    return;
  }
  // At an even place stands the term's first byte or, before it, some other byte.
  const auto byte = [text](size_t i) -> size_t { return static_cast<uint8_t>(text[i]); };
  if (term.length == 3) {
    AddPair(byte(0), byte(1));
    return AddPair(byte(1), byte(2));
  }
  if (term.length == 2) AddPair(byte(0), byte(1));
  for (size_t other = 0; other < 256; ++other) {
    AddPair(other, byte(0));
    if (term.length == 1) AddPair(byte(0), other);
  }
}

void AnchorTable::AddPair(size_t first, size_t second) {
  const auto bit = static_cast<uint8_t>(1 << second % 8);
  first_[first] |= bit;
  second_[second] |= bit;
}

}  // namespace byod::data
