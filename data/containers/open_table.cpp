// SPDX-License-Identifier: Apache-2.0
#include "data/containers/open_table.h"

#include <bit>
#include <cstdlib>
#include <cstring>

namespace byod::data {

namespace {
constexpr size_t kMinCapacity = 16;
constexpr size_t kCacheLine = 64;
}  // namespace

size_t OpenTable::CapacityFor(size_t more) const {
  // Never much more than half full, so that few items leave their group.
  size_t capacity = capacity_ == 0 ? kMinCapacity : capacity_;
  while (capacity / 8 * 5 < size_ + more)  // the array doubles
    capacity *= 2;
  return capacity;
}

bool OpenTable::Reserve(size_t more) {
  const size_t capacity = CapacityFor(more);
  if (capacity == capacity_) return true;
  auto* const slots = static_cast<Slot*>(std::aligned_alloc(kCacheLine, capacity * sizeof(Slot)));
  if (slots == nullptr) return false;
  std::memset(slots, 0, capacity * sizeof(Slot));

  OpenTable grown;
  grown.slots_ = slots;
  grown.capacity_ = capacity;
  grown.shift_ = 32 - static_cast<uint32_t>(std::countr_zero(capacity / kGroup));
  VisitAll([&](const Slot& slot) { grown.Insert(slot.hash, slot.item, slot.note); });
  std::free(slots_);
  *this = grown;
  return true;
}

void OpenTable::Insert(uint32_t hash, void* item, uint32_t note) {
  size_t i = Home(hash);
  while (slots_[i].item != nullptr) {  // some slot is free
    CountStep();
    i = Next(i);
  }
  slots_[i] = {item, hash, note};
  ++size_;
}

void OpenTable::Erase(const Slot& slot) {
  auto hole = static_cast<size_t>(&slot - slots_);
  // What stands behind the hole moves into it, unless it would leave its home behind. What stands
  // in the same group may always do so, so the hole ends up behind it. Some slot is free: this
  // ends.
  for (size_t i = Next(hole); slots_[i].item != nullptr; i = Next(i)) {
    CountStep();
    const size_t from_home = (i - Home(slots_[i].hash)) & (capacity_ - 1);
    const size_t from_hole = (i - hole) & (capacity_ - 1);
    if (from_home < from_hole) continue;
    slots_[hole] = slots_[i];
    hole = i;
  }
  slots_[hole] = {};
  --size_;
}

void OpenTable::Clear() {
  std::free(slots_);
  *this = {};
}

}  // namespace byod::data
