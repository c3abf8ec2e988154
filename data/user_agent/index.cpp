// SPDX-License-Identifier: Apache-2.0
// Taking rules into the index and out of it.
#include "data/user_agent/index.h"

#include <algorithm>
#include <new>

#include "data/containers/steps.h"
#include "data/user_agent/common_grams.h"
#include "data/user_agent/match_link.h"

namespace byod::data {
namespace {

/// A term that all browsers send counts as if this many alternatives used it.
constexpr uint32_t kCommonUses = 1000;

}  // namespace

// ------------------------------------------------------------------ terms

Term* UserAgentIndex::Intern(const Expression::Piece& piece) {
  const auto [text, length, hash] = piece;
  const auto* const slot = terms_.Find(hash, [&piece](const OpenTable::Slot& s) {
    const auto* const term = static_cast<const Term*>(s.item);
    return term->length == piece.length && std::memcmp(term->text(), piece.text, piece.length) == 0;
  });
  if (slot != nullptr) {
    auto* const term = static_cast<Term*>(slot->item);
    ++term->uses;
    return term;
  }

  if (!terms_.Reserve(1)) return nullptr;
  void* const memory = pool_.Get(Term::BytesFor(length));
  if (memory == nullptr) return nullptr;
  auto* const term = new (memory)
      Term{{}, nullptr, nullptr, hash, 1, static_cast<uint8_t>(length), 0, IsCommon(text, length)};
  std::memcpy(term->text(), text, length);
  term->text()[length] = '\0';
  terms_.Insert(hash, term, 0);
  return term;
}

void UserAgentIndex::Release(Term* term) {
  if (--term->uses != 0) return;
  terms_.Erase(*terms_.Find(term->hash, [&](const auto& slot) { return slot.item == term; }));
  pool_.Put(term, Term::BytesFor(term->length));
}

// ------------------------------------------------------------------ entries

Entry* UserAgentIndex::MakeEntry(ByodUserAgentRule& rule) {
  const Expression expression(rule.keyword);

  const size_t bytes = Entry::BytesFor(expression.alternative_count, expression.term_count);
  void* const memory = pool_.Get(bytes);
  if (memory == nullptr) return nullptr;
  std::memset(memory, 0, bytes);
  auto* const entry =
      new (memory) Entry{&rule, 0, static_cast<uint32_t>(expression.alternative_count),
                         static_cast<uint32_t>(expression.term_count)};
  if (entries_.Reserve(1) && anchors_.Reserve(expression.alternative_count) &&
      FillEntry(*entry, expression))
    return entry;
  FreeEntry(entry);
  return nullptr;
}

bool UserAgentIndex::FillEntry(Entry& entry, const Expression& expression) {
  auto** term = reinterpret_cast<Term**>(entry.alternatives() + entry.alternative_count);
  const auto* piece = expression.terms;
  for (uint32_t i = 0; i < entry.alternative_count; ++i) {
    Alternative& alternative = entry.alternatives()[i];
    alternative.terms = term;
    alternative.rule = entry.rule;
    for (; alternative.term_count < expression.term_counts[i]; ++alternative.term_count) {
      *term = Intern(*piece++);
      if (*term++ == nullptr) return false;
    }
  }
  return true;
}

/// Its alternatives are not anchored.
void UserAgentIndex::FreeEntry(Entry* entry) {
  for (uint32_t i = 0; i < entry->alternative_count; ++i) {
    const Alternative& alternative = entry->alternatives()[i];
    for (uint32_t t = 0; t < alternative.term_count; ++t)
      Release(alternative.terms[t]);
  }
  pool_.Put(entry, Entry::BytesFor(entry->alternative_count, entry->term_count));
}

// ------------------------------------------------------------------ anchors

/// The term that is met the least: used by the fewest alternatives and not what all browsers send.
Term* UserAgentIndex::ChooseAnchor(const Alternative& alternative) const {
  Term* best = nullptr;
  uint32_t least = UINT32_MAX;
  for (uint32_t i = 0; i < alternative.term_count; ++i) {
    Term* const term = alternative.terms[i];
    const uint32_t uses = term->uses + (term->common ? kCommonUses : 0);
    // The first term is taken, as nothing has so many uses.
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    if (uses > least || (uses == least && term->length <= best->length)) continue;
    least = uses;
    best = term;
  }
  return best;
}

/// That in which an alternative is, by its anchor.
AlternativeTree& UserAgentIndex::TreeOf(const Alternative& alternative) {
  return alternative.anchor != nullptr ? alternative.anchor->anchored : always_;
}

void UserAgentIndex::Anchor(Alternative& alternative) {
  alternative.anchor = ChooseAnchor(alternative);
  AlternativeTree& tree = TreeOf(alternative);
  if (tree.empty() && alternative.anchor != nullptr) anchors_.Insert(*alternative.anchor);
  tree.Insert(alternative);
}

void UserAgentIndex::Detach(Alternative& alternative) {
  AlternativeTree& tree = TreeOf(alternative);
  tree.Erase(alternative);
  if (tree.empty() && alternative.anchor != nullptr) anchors_.Erase(*alternative.anchor);
}

// ------------------------------------------------------------------ labels

namespace {

constexpr uint64_t kStep = uint64_t{1} << 32;  // between neighbours, where there is room

void SetLabel(Entry& entry, uint64_t label) {
  entry.label = label;
  for (uint32_t i = 0; i < entry.alternative_count; ++i)
    entry.alternatives()[i].label = label;
}

/// A label between two that leaves the most room for further ones: close by at the ends,
/// where there is room for 2^31 of them, in the middle elsewhere.
uint64_t Between(uint64_t low, uint64_t high) {
  const uint64_t gap = high - low;
  if (low == 0 && high == UINT64_MAX) return gap / 2;
  if (low == 0 && gap > 2 * kStep) return high - kStep;
  if (high == UINT64_MAX && gap > 2 * kStep) return low + kStep;
  return low + gap / 2;
}

}  // namespace

void UserAgentIndex::Label(size_t place) {
  const uint64_t low = place == 0 ? 0 : EntryAt(place - 1)->label;
  const uint64_t high = place + 1 == order_->size() ? UINT64_MAX : EntryAt(place + 1)->label;
  if (high - low < 2) return SpreadLabels(place);
  SetLabel(*EntryAt(place), Between(low, high));
}

/// Gives the entries around a place new labels, as many of them as it takes to have room for many
/// more. The order stays, so nothing moves.
void UserAgentIndex::SpreadLabels(size_t place) {
  constexpr uint64_t kRoom = uint64_t{1} << 16;
  for (size_t width = 16;; width *= 2) {
    CountStep();
    const size_t first = place > width ? place - width : 0;
    const size_t last = std::min(place + width, order_->size() - 1);
    const uint64_t low = first == 0 ? 0 : EntryAt(first - 1)->label;
    const uint64_t high = last + 1 == order_->size() ? UINT64_MAX : EntryAt(last + 1)->label;
    // All entries together have room enough, and the width doubles up to them: this ends.
    const uint64_t step = (high - low) / (last - first + 2);
    if (step < kRoom) continue;
    for (size_t i = first; i <= last; ++i) {
      CountStep();
      SetLabel(*EntryAt(i), low + step * (i - first + 1));
    }
    return;
  }
}

// ------------------------------------------------------------------ rules in and out

bool UserAgentIndex::Prepare(ByodUserAgentRule& rule) {
  prepared_ = MakeEntry(rule);
  return prepared_ != nullptr;
}

void UserAgentIndex::Commit(size_t place) {
  Entry& entry = *prepared_;
  prepared_ = nullptr;
  Label(place);
  TakeIn(entry);
}

/// The entry has its label.
void UserAgentIndex::TakeIn(Entry& entry) {
  entries_.Insert(HashOfAddress(entry.rule), &entry, 0);
  for (uint32_t i = 0; i < entry.alternative_count; ++i)
    Anchor(entry.alternatives()[i]);
}

void UserAgentIndex::Cancel() {
  FreeEntry(prepared_);
  prepared_ = nullptr;
}

const OpenTable::Slot* UserAgentIndex::SlotOf(const ByodUserAgentRule& rule) const {
  return entries_.Find(HashOfAddress(&rule), [&rule](const OpenTable::Slot& slot) {
    return static_cast<const Entry*>(slot.item)->rule == &rule;
  });
}

Entry* UserAgentIndex::EntryOf(const ByodUserAgentRule& rule) const {
  const OpenTable::Slot* const slot = SlotOf(rule);
  return slot != nullptr ? static_cast<Entry*>(slot->item) : nullptr;
}

void UserAgentIndex::Remove(Entry* entry) {
  if (entry == nullptr) return;
  for (uint32_t i = 0; i < entry->alternative_count; ++i)
    Detach(entry->alternatives()[i]);
  entries_.Erase(*SlotOf(*entry->rule));
  FreeEntry(entry);
}

void UserAgentIndex::Move(size_t from, size_t to) {
  Entry& entry = *EntryAt(from);
  // The anchors stay: only the order of the alternatives of each changes.
  for (uint32_t i = 0; i < entry.alternative_count; ++i)
    TreeOf(entry.alternatives()[i]).Erase(entry.alternatives()[i]);
  order_->Move(from, to);
  Label(to);
  for (uint32_t i = 0; i < entry.alternative_count; ++i)
    TreeOf(entry.alternatives()[i]).Insert(entry.alternatives()[i]);
}

bool UserAgentIndex::Rebuild() {
  for (size_t place = 0; place < order_->size(); ++place) {
    Entry* const entry = MakeEntry(*RuleOfMatchLink(order_->LinkAtIndex(place)));
    if (entry == nullptr) {
      Clear();
      return false;
    }
    order_->MarkAtIndex(place).entry = entry;
    SetLabel(*entry, (place + 1) * kStep);
    TakeIn(*entry);
  }
  return true;
}

void UserAgentIndex::Clear() {
  for (size_t place = 0; place < order_->size(); ++place) {
    // Those that are too large for the pool are given back one by one.
    if (const Entry* const entry = EntryAt(place))
      pool_.Put(EntryAt(place), Entry::BytesFor(entry->alternative_count, entry->term_count));
    order_->MarkAtIndex(place).entry = nullptr;
  }
  terms_.Clear();
  pool_.Clear();
  anchors_.Clear();
  entries_.Clear();
  always_ = {};
}

size_t UserAgentIndex::bytes() const {
  size_t bytes = terms_.bytes() + anchors_.bytes() + entries_.bytes();
  terms_.VisitAll([&](const OpenTable::Slot& slot) {
    bytes += Term::BytesFor(static_cast<const Term*>(slot.item)->length);
  });
  for (size_t place = 0; place < order_->size(); ++place) {
    const Entry& entry = *EntryAt(place);
    bytes += Entry::BytesFor(entry.alternative_count, entry.term_count);
  }
  return bytes;
}

}  // namespace byod::data
