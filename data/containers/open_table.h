// SPDX-License-Identifier: Apache-2.0
// A hash table in one array, for what is found by a 32-bit hash. docs/performance.md, "Option
// texts", has the reasons.
#ifndef BYOD_DATA_CONTAINERS_OPEN_TABLE_H
#define BYOD_DATA_CONTAINERS_OPEN_TABLE_H

#include <bit>
#include <cstddef>
#include <cstdint>

#include "data/containers/steps.h"

namespace byod::data {

/**
 * Open addressing: the highest bits of a hash name a group of four slots, a cache line where
 * pointers have 64 bits. An item stands in the first slot from there on that was free. So free
 * slots are the last of their group, and a search looks at four hashes at once. The items are not
 * owned.
 *
 * Several items may have one hash, but a search and a change take a step for each of them: users
 * keep this rare.
 *
 * Every search ends: it goes from group to group, around the whole array, up to one with a free
 * slot. Reserve leaves at least three eighths of the slots free, whatever came and went, and
 * nothing is left behind in a slot that has become free.
 *
 * Room is made by Reserve alone, so that a change which needs several tables can make sure of all
 * its memory before it begins.
 */
class OpenTable {
 public:
  struct Slot {
    void* item;  // null: free
    uint32_t hash;
    uint32_t note;  // the user's
  };

  /// Makes room for more items. @return false without memory; nothing has changed then
  bool Reserve(size_t more);

  /// The capacity with room for more items, as Reserve would make it.
  size_t CapacityFor(size_t more) const;

  /// Calls visit for the slots with a hash, one after the other, until it returns true.
  /// @return the slot for which it did, or null; borrowed until the next change
  template <typename Visit>
  Slot* Find(uint32_t hash, Visit visit) const {
    if (size_ == 0) return nullptr;
    for (size_t home = Home(hash);; home = (home + kGroup) & (capacity_ - 1)) {
      CountStep();
      Slot* const group = slots_ + home;
      uint32_t same = 0;
      for (uint32_t i = 0; i < kGroup; ++i)
        same |= uint32_t{group[i].hash == hash} << i;
      for (; same != 0; same &= same - 1) {
        Slot& slot = group[std::countr_zero(same)];
        if (slot.item != nullptr && visit(static_cast<const Slot&>(slot))) return &slot;
      }
      if (group[kGroup - 1].item == nullptr) return nullptr;
    }
  }

  /// Has the processor fetch the slots that a Find of this hash looks at first.
  void Prefetch(uint32_t hash) const { __builtin_prefetch(slots_ + Home(hash)); }

  /// Calls visit for every item.
  template <typename Visit>
  void VisitAll(Visit visit) const {
    for (size_t i = 0; i < capacity_; ++i) {
      if (slots_[i].item != nullptr) visit(static_cast<const Slot&>(slots_[i]));
    }
  }

  /// Room is reserved.
  void Insert(uint32_t hash, void* item, uint32_t note);

  /// Takes out what a slot of this table holds.
  void Erase(const Slot& slot);

  /// Forgets all items and gives the memory back.
  void Clear();

  size_t size() const { return size_; }
  size_t bytes() const { return capacity_ * sizeof(Slot); }

 private:
  static constexpr size_t kGroup = 4;

  size_t Home(uint32_t hash) const { return (hash >> shift_) * kGroup; }
  size_t Next(size_t i) const { return (i + 1) & (capacity_ - 1); }

  Slot* slots_ = nullptr;
  size_t capacity_ = 0;  // a power of two
  size_t size_ = 0;
  uint32_t shift_ = 31;  // 32 less the bits of the number of groups
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_OPEN_TABLE_H
