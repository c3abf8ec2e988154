#include "data/gram_table.h"

#include <bit>
#include <cstdlib>

namespace byod::data {

namespace {

constexpr size_t kBitsPerSlot = 16;
constexpr size_t kLeastBits = size_t{1} << 15;

size_t BitsFor(size_t capacity) {
  return capacity * kBitsPerSlot < kLeastBits ? kLeastBits : capacity * kBitsPerSlot;
}

}  // namespace

bool GramTable::Reserve(size_t more) {
  const size_t bits = BitsFor(table_.CapacityFor(more));
  if (bits == FilterWords() * 32) return table_.Reserve(more);
  auto* const filter = static_cast<uint32_t*>(std::calloc(bits / 32, sizeof(uint32_t)));
  if (filter == nullptr) return false;
  if (!table_.Reserve(more)) {
    std::free(filter);
    return false;
  }
  std::free(filter_);
  filter_ = filter;
  shift_ = 32 - static_cast<uint32_t>(std::countr_zero(bits));
  table_.VisitAll([this](const Slot& slot) { Set(slot.hash); });
  return true;
}

void GramTable::Set(uint32_t hash) {
  const uint32_t bit = hash >> shift_;
  filter_[bit / 32] |= uint32_t{1} << bit % 32;
}

void GramTable::Insert(Gram gram, void* item, uint32_t note) {
  table_.Insert(HashOfGram(gram), item, note);
  Set(HashOfGram(gram));
}

void GramTable::Erase(Gram gram, const void* item, uint32_t note) {
  const uint32_t hash = HashOfGram(gram);
  table_.Erase(
      *table_.Find(hash, [&](const Slot& s) { return s.item == item && s.note == note; }));
  const uint32_t bit = hash >> shift_;
  bool shared = false;
  table_.VisitRun(hash, [&](const Slot& s) { shared |= s.hash >> shift_ == bit; });
  if (!shared) filter_[bit / 32] &= ~(uint32_t{1} << bit % 32);
}

size_t GramTable::Count(Gram gram) const {
  size_t count = 0;
  if (!filter().Passes(HashOfGram(gram))) return count;
  VisitGram(gram, [&](const Slot&) { ++count; });
  return count;
}

void GramTable::Clear() {
  table_.Clear();
  std::free(filter_);
  *this = {};
}

}  // namespace byod::data
