// SPDX-License-Identifier: Apache-2.0
#include "data/containers/text_index.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "data/containers/word_hash.h"
#include "data/fold_case.h"

namespace byod::data {

bool FoldedText::Make(const char* text) {
  constexpr size_t kWord = sizeof(uint64_t);
  const size_t length = std::strlen(text);
  if (length >= BYOD_RULETEXT_SIZE) return false;
  char filled_up[kWord] = {};
  if (length < kWord) {
    std::copy_n(text, length, filled_up);
    text = filled_up;
  }
  // What would reach beyond the end is the last word once more: no byte outside of the text is
  // read, and no branch depends on where in a block the text ends.
  const size_t last = std::max(length, kWord) - kWord;
  length_ = static_cast<uint32_t>(length);
  TextHash hash;
  const size_t count = WordsFor(length_);
  for (size_t block = 0; block < count; block += kBlockWords) {
    for (size_t i = block; i < block + kBlockWords; ++i) {
      uint64_t word;
      std::memcpy(&word, text + std::min(i * kWord, last), kWord);
      words_[i] = FoldCase(word);
      hash.Add(words_[i]);
    }
  }
  hash_ = hash.Get(length);
  return true;
}

const TextIndex::Slot* TextIndex::SlotOf(const FoldedText& text) const {
  return texts_.Find(text.hash(), [&text](const Slot& slot) {
    return slot.note == text.length() && text.HasWords(TextAt(slot).words());
  });
}

void* TextIndex::Find(const char* text) const {
  FoldedText folded;
  const Slot* const slot = folded.Make(text) ? SlotOf(folded) : nullptr;
  return slot != nullptr ? TextAt(*slot).newest : nullptr;
}

bool TextIndex::Prepare(const char* text) {
  DropFresh();
  FoldedText folded;
  if (!folded.Make(text)) return false;
  if (const Slot* const slot = SlotOf(folded)) {
    prepared_ = &TextAt(*slot);
    return true;
  }
  if (!texts_.Reserve(1)) return false;
  void* const memory = pool_.Get(Text::BytesFor(folded.length()));
  if (memory == nullptr) return false;
  fresh_ = new (memory) Text{nullptr, 0, folded.length()};
  fresh_hash_ = folded.hash();
  std::memcpy(fresh_->words(), folded.words(), FoldedText::BytesFor(folded.length()));
  return true;
}

void TextIndex::Insert(void* rule) {
  ++rules_;
  if (fresh_ == nullptr) {
    prepared_->newest = rule;
    ++prepared_->older;
    return;
  }
  fresh_->newest = rule;
  texts_.Insert(fresh_hash_, fresh_, fresh_->length);
  fresh_ = nullptr;
}

void TextIndex::DropFresh() {
  if (fresh_ != nullptr) pool_.Put(fresh_, Text::BytesFor(fresh_->length));
  fresh_ = nullptr;
}

void TextIndex::Drop(const Slot& slot) {
  Text& text = TextAt(slot);
  texts_.Erase(slot);
  pool_.Put(&text, Text::BytesFor(text.length));
}

void TextIndex::Clear() {
  texts_.Clear();
  pool_.Clear();
  *this = {};
}

}  // namespace byod::data
