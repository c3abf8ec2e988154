// A hash table of numbers in little memory.
#ifndef BYOD_DATA_NUMBER_TABLE_H
#define BYOD_DATA_NUMBER_TABLE_H

#include <bit>
#include <cstddef>
#include <cstdint>

namespace byod::data {

/**
 * Open addressing in groups of a cache line. The highest bits of a hash name the group in which a
 * search begins; its lowest 16 bits stand beside the number, so that hardly ever a wrong number is
 * looked at. A group counts the numbers that found it full and went on: where there are none, a
 * search ends.
 *
 * What a number means is the user's; it is never 0. Room is made by Reserve alone.
 */
class NumberTable {
 public:
  /**
   * Makes room for more numbers.
   *
   * @param hash_of  (number) -> the hash it was inserted with
   * @return false without memory; nothing has changed then
   */
  template <typename HashOf>
  bool Reserve(size_t more, HashOf hash_of) {
    const size_t group_count = GroupsFor(size_ + more);
    if (group_count == group_count_) return true;
    NumberTable grown;
    if (!grown.Allocate(group_count)) return false;
    VisitAll([&](uint32_t number) { grown.Insert(hash_of(number), number); });
    Clear();
    *this = grown;
    return true;
  }

  /// Calls is_it(number) for those that may have a hash until it returns true.
  /// @return the number for which it did, or 0
  template <typename IsIt>
  uint32_t Find(uint32_t hash, IsIt is_it) const {
    if (size_ == 0) return 0;
    for (size_t home = Home(hash);; home = Next(home)) {
      const Group& group = groups_[home];
      uint32_t same = 0;
      for (uint32_t i = 0; i < kGroup; ++i)
        same |= uint32_t{group.tags[i] == static_cast<uint16_t>(hash)} << i;
      for (; same != 0; same &= same - 1) {
        const uint32_t number = group.numbers[std::countr_zero(same)];
        if (number != 0 && is_it(number)) return number;
      }
      if (group.went_on == 0) return 0;
    }
  }

  template <typename Visit>
  void VisitAll(Visit visit) const {
    for (size_t g = 0; g < group_count_; ++g) {
      for (const uint32_t number : groups_[g].numbers) {
        if (number != 0) visit(number);
      }
    }
  }

  /// Room is reserved.
  void Insert(uint32_t hash, uint32_t number);

  /// Takes out a number that is in the table, with the hash it was inserted with.
  void Erase(uint32_t hash, uint32_t number);

  /// Forgets all numbers and gives the memory back.
  void Clear();

 private:
  static constexpr size_t kGroup = 10;

  struct Group {
    uint32_t numbers[kGroup];  // 0: free
    uint16_t tags[kGroup];
    uint32_t went_on;
  };
  static_assert(sizeof(Group) == 64, "a cache line");

  size_t GroupsFor(size_t size) const;
  bool Allocate(size_t group_count);
  size_t Home(uint32_t hash) const { return static_cast<size_t>(uint64_t{hash} >> shift_); }
  size_t Next(size_t group) const { return (group + 1) & (group_count_ - 1); }

  Group* groups_ = nullptr;
  size_t group_count_ = 0;  // a power of two
  size_t size_ = 0;
  uint32_t shift_ = 32;  // less the bits of the number of groups
};

}  // namespace byod::data

#endif  // BYOD_DATA_NUMBER_TABLE_H
