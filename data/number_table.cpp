#include "data/number_table.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

namespace byod::data {

size_t NumberTable::GroupsFor(size_t size) const {
  // Never much more than three quarters full, so that few numbers leave their group.
  size_t group_count = std::max(group_count_, size_t{2});
  while (group_count * (kGroup / 2) * 3 / 2 < size)
    group_count *= 2;
  return group_count;
}

bool NumberTable::Allocate(size_t group_count) {
  groups_ = static_cast<Group*>(std::aligned_alloc(sizeof(Group), group_count * sizeof(Group)));
  if (groups_ == nullptr) return false;
  std::memset(groups_, 0, group_count * sizeof(Group));
  group_count_ = group_count;
  shift_ = 32 - static_cast<uint32_t>(std::countr_zero(group_count));
  return true;
}

void NumberTable::Insert(uint32_t hash, uint32_t number) {
  for (size_t home = Home(hash);; home = Next(home)) {
    Group& group = groups_[home];
    const auto* const free = std::find(group.numbers, group.numbers + kGroup, 0u);
    if (free == group.numbers + kGroup) {
      ++group.went_on;
      continue;
    }
    const auto i = static_cast<size_t>(free - group.numbers);
    group.numbers[i] = number;
    group.tags[i] = static_cast<uint16_t>(hash);
    ++size_;
    return;
  }
}

void NumberTable::Erase(uint32_t hash, uint32_t number) {
  for (size_t home = Home(hash);; home = Next(home)) {
    Group& group = groups_[home];
    auto* const found = std::find(group.numbers, group.numbers + kGroup, number);
    if (found == group.numbers + kGroup) {
      --group.went_on;
      continue;
    }
    *found = 0;
    --size_;
    return;
  }
}

void NumberTable::Clear() {
  std::free(groups_);
  *this = {};
}

}  // namespace byod::data
