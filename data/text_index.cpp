#include "data/text_index.h"

#include <cstring>
#include <new>

#include "data/fold_case.h"
#include "data/word_hash.h"

namespace byod::data {

namespace {

static_assert(BYOD_RULETEXT_SIZE + 32 <= BlockPool::kLargest, "the pool frees them all at once");

constexpr size_t kMostWords = BYOD_RULETEXT_SIZE / sizeof(uint64_t);

/// A text as the table keeps it, and its hash.
struct Folded {
  uint64_t words[kMostWords];
  size_t count = 0;
  uint32_t hash = 0;

  /// @return false for a text that is longer than that of any rule
  bool Fold(const char* text) {
    const size_t length = std::strlen(text);
    if (length >= BYOD_RULETEXT_SIZE) return false;
    count = (length + kBlockBytes - 1) / kBlockBytes * kBlockWords;
    for (size_t i = 1; i <= kBlockWords && count > 0; ++i)
      words[count - i] = 0;
    std::memcpy(words, text, length);
    WordHash mixed;
    for (size_t i = 0; i < count; i += kBlockWords) {
      for (size_t w = i; w < i + kBlockWords; ++w)
        words[w] = FoldCase(words[w]);
      mixed.AddBlock(words + i);
    }
    hash = mixed.Get();
    return true;
  }
};

}  // namespace

OpenTable::Slot* TextIndex::SlotOf(const char* text) const {
  Folded folded;
  if (!folded.Fold(text)) return nullptr;
  return texts_.Find(folded.hash, [&](const OpenTable::Slot& slot) {
    const Text& kept = *static_cast<const Text*>(slot.item);
    return slot.note == folded.count &&
           std::memcmp(kept.words(), folded.words, folded.count * sizeof folded.words[0]) == 0;
  });
}

void* TextIndex::Find(const char* text) const {
  const OpenTable::Slot* const slot = SlotOf(text);
  return slot != nullptr ? static_cast<const Text*>(slot->item)->newest : nullptr;
}

bool TextIndex::Prepare(const char* text) {
  DropPrepared();
  Folded folded;
  if (!folded.Fold(text) || !texts_.Reserve(1)) return false;
  void* const memory = pool_.Get(Text::BytesFor(folded.count));
  if (memory == nullptr) return false;
  prepared_ = new (memory) Text{nullptr, 0, static_cast<uint32_t>(folded.count)};
  std::memcpy(prepared_->words(), folded.words, folded.count * sizeof(uint64_t));
  return true;
}

void TextIndex::Insert(const char* text, void* rule) {
  ++rules_;
  if (const OpenTable::Slot* const slot = SlotOf(text)) {
    Text& kept = *static_cast<Text*>(slot->item);
    kept.newest = rule;
    ++kept.older;
    return;
  }
  prepared_->newest = rule;
  WordHash hash;
  for (size_t i = 0; i < prepared_->word_count; i += kBlockWords)
    hash.AddBlock(prepared_->words() + i);
  texts_.Insert(hash.Get(), prepared_, prepared_->word_count);
  prepared_ = nullptr;
}

void TextIndex::DropPrepared() {
  if (prepared_ != nullptr) pool_.Put(prepared_, prepared_->Bytes());
  prepared_ = nullptr;
}

void TextIndex::Drop(const OpenTable::Slot& slot) {
  pool_.Put(slot.item, static_cast<const Text*>(slot.item)->Bytes());
  texts_.Erase(slot);
}

void TextIndex::Clear() {
  texts_.Clear();
  pool_.Clear();
  *this = {};
}

}  // namespace byod::data
